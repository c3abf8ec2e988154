// SPDX-License-Identifier: Apache-2.0
// A terminal of which everything is known, rules for it in every table, and what is logged when it
// is identified.
#ifndef BYOD_TESTS_SUPPORT_IDENTIFICATION_FIXTURE_H
#define BYOD_TESTS_SUPPORT_IDENTIFICATION_FIXTURE_H

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "support/log_capture.h"
#include "support/rule_store_fixture.h"

namespace byod::test {

inline ByodDeviceAttribute KnownAttributes(const std::string& vendor = "",
                                           const std::string& category = "",
                                           const std::string& os = "") {
  ByodDeviceAttribute attr = {};
  Fill(attr.vendor, vendor);
  Fill(attr.category, category);
  Fill(attr.os, os);
  return attr;
}

constexpr char kUserAgent[] = "Mozilla/5.0 (iPhone; Mobile)";
constexpr char kMac[] = "00:11:22:33:44:aa";

class IdentificationTest : public RuleStoreTest {
 protected:
  /// A terminal that has everything.
  IdentificationTest() {
    const uint8_t options[] = {1, 3, 6};
    std::memcpy(fp_.options, options, sizeof options);
    fp_.option_length = sizeof options;
    Fill(fp_.user_agent, kUserAgent);
    const Mac mac = MacOf(kMac);
    std::memcpy(fp_.mac, mac.data(), sizeof fp_.mac);
  }

  static void DhcpRule(const ByodDeviceInfo& info) {
    BYOD_data_AddFileDhcpOptionRule("1,3,6", &info);
  }
  static void UserAgentRule(const ByodDeviceInfo& info, const char* keyword = "iPhone") {
    BYOD_data_AddFileAgentRule(keyword, &info);
  }
  static void MacRule(const ByodDeviceInfo& info, const char* mac = "00:11:22:00:00:00") {
    const ByodMacRule probe = Probe(mac, kPrefixMask);
    BYOD_data_AddFileMacRule(&probe, &info);
  }
  static void SetOrder(uint32_t first, uint32_t second, uint32_t third) {
    const ByodOrder order = {{first, second, third}};
    BYOD_order_SetOrder(&order);
  }

  std::string Attributes(ByodDeviceAttribute attr = {}) {
    const uint32_t result = BYOD_data_GetDeviceAttributeByFingerPrint(&fp_, &attr);
    return (result == 0 ? "" : result == kFailed ? "failed " : "? ") + InfoText(attr);
  }
  std::string Type(uint32_t size = 128) {
    return Asked(size, BYOD_data_GetDeviceTypeByFingerPrint);
  }
  std::string Vendor(uint32_t size = 128) {
    return Asked(size, BYOD_data_GetDeviceVendorByFingerPrint);
  }

  ByodFingerPrint fp_ = {};
  LogCapture log_;

 private:
  template <typename Ask>
  std::string Asked(uint32_t size, Ask ask) {
    const std::unique_ptr<char[]> out(new char[size]);
    std::memset(out.get(), 'x', size);
    const uint32_t result = ask(&fp_, size, out.get());
    return (result == 0         ? ""
            : result == kFailed ? "failed "
                                : "? ") +
           std::string(out.get(), strnlen(out.get(), size));
  }
};

// What is logged of the terminal, by method.
inline std::string AttributeLine(uint32_t method, const std::string& attributes) {
  static const std::string kThrough[] = {
      "2 Identified endpoint attributes through DHCP Option 55 fingerprint: Fingerprint=1,3,6, ",
      "2 Identified endpoint attributes through HTTP user agent fingerprint: "
      "Fingerprint=Mozilla/5.0 (iPhone; Mobile), ",
      "2 Identified endpoint attributes through the endpoint MAC address: "
      "MAC address=00:11:22:33:44:aa, "};
  const size_t category = attributes.find('/') + 1, os = attributes.find('/', category) + 1;
  return kThrough[method] + "device vendor=" + attributes.substr(0, category - 1) +
         ", device category=" + attributes.substr(category, os - 1 - category) +
         ", device OS=" + attributes.substr(os) + ".";
}

inline std::string TypeLine(uint32_t method, const std::string& type) {
  static const std::string kBy[] = {" by using DhcpOption55 information 1,3,6.",
                                    " by using HttpUseragent information Mozilla/5.0 (iPhone; "
                                    "Mobile).",
                                    " by using MAC address (00:11:22:33:44:aa)."};
  return "2 Identified the terminal type as " + type + kBy[method];
}

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_IDENTIFICATION_FIXTURE_H
