// SPDX-License-Identifier: Apache-2.0
// A database in memory, empty rule tables, and one sample rule of each kind.
#ifndef BYOD_TESTS_DB_RULE_RECORDS_H
#define BYOD_TESTS_DB_RULE_RECORDS_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "byod_data.h"
#include "byod_db.h"
#include "support/golden.h"
#include "support/memory_dbm.h"

namespace rule_records {

using namespace support;
using Calls = std::vector<DbmCall>;

inline constexpr uint32_t kFailed = 0x40010001u;
inline constexpr uint8_t kMac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
inline constexpr uint8_t kMask[6] = {0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00};
inline constexpr uint8_t kFullMask[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
inline const std::string kMacKey = Key("BYOD_MacRules"), kAgentKey = Key("BYOD_UserAgentRules"),
                         kOptionKey = Key("BYOD_DhcpOptionRules");

struct Fixture : testing::Test {
  void SetUp() override {
    MemoryDbm::Reset();
    ASSERT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
    BYOD_db_OpenCfgDBM();
    MemoryDbm::TakeCalls();
  }
  void TearDown() override {
    BYOD_db_CloseCfgDBM();
    BYOD_data_GlobalInfoFini();
    EXPECT_EQ(MemoryDbm::OpenIterators(), 0);
  }

  ByodDeviceInfo info = {"Printer", "ACME", "printer", "RTOS"};
  ByodDeviceInfo other = {"other", "other", "other", "other"};

  ByodMacRule Mac() {
    ByodMacRule rule = {};
    rule.origin = 1;
    rule.modified = 1;
    std::memcpy(rule.mac, kMac, 6);
    std::memcpy(rule.mask, kMask, 6);
    rule.predefined = &other;
    rule.configured = &info;
    return rule;
  }
  ByodUserAgentRule Agent() {
    ByodUserAgentRule rule = {};
    std::strcpy(rule.keyword, "iPhone OS&&Mobile");
    rule.predefined = &other;
    rule.configured = &info;
    return rule;
  }
  ByodDhcpOptionRule Option() {
    ByodDhcpOptionRule rule = {};
    std::strcpy(rule.text, "1,3,6,15");
    rule.predefined = &other;
    rule.configured = &info;
    return rule;
  }
};

inline std::string Bytes(const void* record, size_t size) {
  return {static_cast<const char*>(record), size};
}

inline std::string Golden(const std::string& name) {
  return ReadGolden("records.txt").at(name);
}

}  // namespace rule_records

#endif  // BYOD_TESTS_DB_RULE_RECORDS_H
