// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/identification_fields.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "byod_tlv.h"
#include "net/mac_text.h"
#include "protocol/extensions.h"

namespace byod::ctl {

FingerprintText FingerprintIn(const Fields& fields) {
  FingerprintText text;
  const std::string mac = fields.Bytes(BYOD_TLV_MAC);
  if (mac.size() == BYOD_MAC_SIZE) {
    net::MacAddress address;
    std::memcpy(address.data(), mac.data(), address.size());
    text.mac = net::ToString(address);
  }
  const std::string options = fields.Bytes(BYOD_TLV_OPTION55);
  text.options = OptionsText({reinterpret_cast<const uint8_t*>(options.data()), options.size()});
  text.user_agent = fields.Text(BYOD_TLV_USERAGENT);
  return text;
}

Answer AnswerIn(const Fields& fields) {
  return {fields.Text(BYOD_TLV_VENDOR),
          fields.Text(BYOD_TLV_DEVTYPE),
          fields.Text(BYOD_TLV_OS),
          fields.Text(BYOD_TLV_DEVNAME),
          {},
          {}};
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

std::string TimeText(uint64_t microseconds) {
  const auto seconds = static_cast<time_t>(microseconds / 1000000);
  tm parts = {};
  char text[64] = "-";
  if (gmtime_r(&seconds, &parts) == nullptr) return text;
  const size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03uZ",
                static_cast<unsigned>(microseconds / 1000 % 1000));
  return text;
}

}  // namespace byod::ctl
