#include "byodctl/text/event_text.h"

#include <nlohmann/json.hpp>

#include "byodctl/text/display_text.h"

namespace byod::ctl {

std::string ToString(const Event& event) {
  std::string line = event.time + ' ' + event.what;
  const auto put = [&](const char* name, const std::string& value) {
    if (value.empty()) return;
    line += ' ' + std::string{name} + '=' + nlohmann::json(Printable(value)).dump();
  };
  put("mac", event.fingerprint.mac);
  if (IsLocallyAdministered(event.fingerprint.mac)) line += " (locally administered)";
  put("address", event.address);
  put("options", event.fingerprint.options);
  put("user-agent", event.fingerprint.user_agent);
  line += event.is_identified ? " ->" : " -> unknown";
  put("vendor", event.answer.vendor);
  put("category", event.answer.category);
  put("os", event.answer.os);
  put("name", event.answer.name);
  return line;
}

}  // namespace byod::ctl
