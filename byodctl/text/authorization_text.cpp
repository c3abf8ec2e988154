// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/authorization_text.h"

#include <vector>

namespace byod::ctl {

std::string AuthorizationText(const std::optional<AuthorizationSet>& set) {
  std::string text;
  if (!set) return text;
  for (const auto& [name, value] : set->attributes) {
    if (!text.empty()) text += ' ';
    text.append(name).append(1, '=').append(value);
  }
  return text;
}

Json AttributesJson(const AuthorizationSet& set) {
  Json attributes = Json::EmptyObject();
  for (const auto& [name, value] : set.attributes) {
    std::vector<std::string> values;
    for (const auto& [other, another] : set.attributes) {
      if (other == name) values.push_back(another);
    }
    attributes.Set(name, values.size() == 1 ? Json(value) : Json(values));
  }
  return attributes;
}

Json AuthorizationJson(const AuthorizationSet& set) {
  return {{"group", set.group}, {"type", set.type}, {"attributes", AttributesJson(set)}};
}

}  // namespace byod::ctl
