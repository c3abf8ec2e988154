// An object a line, for programs.
#ifndef BYODCTL_TEXT_JSON_LINE_H
#define BYODCTL_TEXT_JSON_LINE_H

#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

namespace byod::ctl {

using Json = nlohmann::ordered_json;

/// Texts from outside need not be UTF-8, but JSON is.
inline std::string JsonLine(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

inline void WriteJsonLine(const Json& object) {
  std::cout << JsonLine(object);
}

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_JSON_LINE_H
