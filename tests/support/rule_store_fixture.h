// SPDX-License-Identifier: Apache-2.0
// What the tests of the identification core begin with: an empty store, and short ways to write
// addresses, rules and device info.
#ifndef BYOD_TESTS_SUPPORT_RULE_STORE_FIXTURE_H
#define BYOD_TESTS_SUPPORT_RULE_STORE_FIXTURE_H

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "byod_data.h"
#include "byod_order.h"
#include "net/free_deleter.h"

namespace byod::test {

constexpr uint32_t kFailed = BYOD_ERR_FAILED;
constexpr uint32_t kRuleLimit = BYOD_ERR_RULE_LIMIT;

/// An empty store without a limit, and the default order.
class RuleStoreTest : public ::testing::Test {
 protected:
  RuleStoreTest() {
    EXPECT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
    BYOD_order_Init();
  }
  ~RuleStoreTest() override {
    BYOD_data_GlobalInfoFini();
    BYOD_order_Fini();
  }

  /// Starts again with a limit.
  static void Reopen(uint32_t limit) {
    BYOD_data_GlobalInfoFini();
    ASSERT_EQ(BYOD_data_GlobalInfoInit(limit), 0u);
  }
};

using Mac = std::array<uint8_t, 6>;

inline Mac MacOf(const char* text) {
  Mac mac = {};
  const int count = std::sscanf(text, "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx", &mac[0], &mac[1],
                                &mac[2], &mac[3], &mac[4], &mac[5]);
  EXPECT_EQ(count, 6) << text;
  return mac;
}

inline ByodMacRule Probe(const Mac& mac, const Mac& mask) {
  ByodMacRule probe = {};
  std::memcpy(probe.mac, mac.data(), sizeof probe.mac);
  std::memcpy(probe.mask, mask.data(), sizeof probe.mask);
  return probe;
}

/// What is asked for one terminal's address, or with another mask for a rule's.
inline ByodMacRule Probe(const char* mac, const char* mask = "FF:FF:FF:FF:FF:FF") {
  return Probe(MacOf(mac), MacOf(mask));
}

constexpr char kPrefixMask[] = "FF:FF:FF:00:00:00";

/// Fills a text field to its very width if need be, so that it may lack its NUL.
template <size_t Size>
void Fill(char (&field)[Size], const std::string& text) {
  ASSERT_LE(text.size(), Size);
  std::memset(field, 0, Size);
  std::memcpy(field, text.data(), text.size());
}

inline ByodDeviceInfo Info(const std::string& name, const std::string& vendor = "",
                           const std::string& category = "", const std::string& os = "") {
  ByodDeviceInfo info = {};
  Fill(info.name, name);
  Fill(info.vendor, vendor);
  Fill(info.category, category);
  Fill(info.os, os);
  return info;
}

inline ByodDeviceInfo* NewInfo(const std::string& name, const std::string& vendor = "",
                               const std::string& category = "", const std::string& os = "") {
  return BYOD_data_CreateDeviceInfo(name.c_str(), vendor.c_str(), category.c_str(), os.c_str());
}

/// An information as "name/vendor/category/os"; "-" for none.
inline std::string InfoText(const ByodDeviceInfo* info) {
  if (info == nullptr) return "-";
  return std::string(info->name) + "/" + info->vendor + "/" + info->category + "/" + info->os;
}

inline std::string InfoText(const ByodDeviceAttribute& attr) {
  return std::string(attr.vendor) + "/" + attr.category + "/" + attr.os;
}

using OwnedInfo = std::unique_ptr<ByodDeviceInfo, net::FreeDeleter>;

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_RULE_STORE_FIXTURE_H
