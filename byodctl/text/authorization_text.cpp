#include "byodctl/text/authorization_text.h"

#include "byod_tlv.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

/// The only value of a name is a string, several are an array of them.
void AddValue(Json& values, const std::string& value) {
  if (values.is_null()) {
    values = value;
    return;
  }
  if (!values.is_array()) values = Json::array({values});
  values.push_back(value);
}

}  // namespace

std::string AuthorizationText(const std::optional<AuthorizationSet>& set) {
  std::string text;
  if (!set) return text;
  for (const auto& [name, value] : set->attributes) {
    if (!text.empty()) text += ' ';
    text.append(name).append(1, '=').append(value);
  }
  return text;
}

Json AuthorizationJson(const AuthorizationSet& set) {
  Json attributes = Json::object();
  for (const auto& [name, value] : set.attributes)
    AddValue(attributes[name], value);
  return {{"group", set.group}, {"type", set.type}, {"attributes", attributes}};
}

AuthorizationSet AuthorizationIn(const Fields& fields) {
  AuthorizationSet set{fields.Text(BYOD_EXT_GROUP), fields.Text(BYOD_TLV_DEVTYPE), {}};
  std::string name;
  fields.ForEach([&](uint16_t type, const std::string& text) {
    if (type == BYOD_EXT_ATTR_NAME) name = text;
    if (type == BYOD_EXT_ATTR_VALUE) set.attributes.emplace_back(name, text);
  });
  return set;
}

}  // namespace byod::ctl
