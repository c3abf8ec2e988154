// SPDX-License-Identifier: Apache-2.0
// Where every field stands, as other machines' code and stored data rely on it.
#include <gtest/gtest.h>
#include <sys/types.h>
#include <time.h>

#include <cstddef>

#include "byod_data.h"
#include "byod_order.h"

namespace {

constexpr size_t kPointer = sizeof(void*);

constexpr size_t AlignedToPointer(size_t offset) {
  return (offset + kPointer - 1) / kPointer * kPointer;
}

TEST(RecordLayout, FingerPrintIsPacked) {
  EXPECT_EQ(sizeof(ByodFingerPrint), 521u);
  EXPECT_EQ(offsetof(ByodFingerPrint, option_length), 0u);
  EXPECT_EQ(offsetof(ByodFingerPrint, options), 4u);
  EXPECT_EQ(offsetof(ByodFingerPrint, user_agent), 259u);
  EXPECT_EQ(offsetof(ByodFingerPrint, mac), 515u);
}

TEST(RecordLayout, DeviceInfoIsItsFourTexts) {
  EXPECT_EQ(sizeof(ByodDeviceInfo), 320u);
  EXPECT_EQ(offsetof(ByodDeviceInfo, name), 0u);
  EXPECT_EQ(offsetof(ByodDeviceInfo, vendor), 128u);
  EXPECT_EQ(offsetof(ByodDeviceInfo, category), 192u);
  EXPECT_EQ(offsetof(ByodDeviceInfo, os), 256u);
}

TEST(RecordLayout, DeviceAttributeIsVendorCategoryOs) {
  EXPECT_EQ(sizeof(ByodDeviceAttribute), 192u);
  EXPECT_EQ(offsetof(ByodDeviceAttribute, vendor), 0u);
  EXPECT_EQ(offsetof(ByodDeviceAttribute, category), 64u);
  EXPECT_EQ(offsetof(ByodDeviceAttribute, os), 128u);
}

TEST(RecordLayout, MacRuleBeginsWithTheTreeNode) {
  EXPECT_EQ(offsetof(ByodMacRule, node), 0u);
  EXPECT_EQ(offsetof(ByodMacRule, origin), 3 * kPointer);
  EXPECT_EQ(offsetof(ByodMacRule, modified), 3 * kPointer + 4);
  EXPECT_EQ(offsetof(ByodMacRule, mac), 3 * kPointer + 6);
  EXPECT_EQ(offsetof(ByodMacRule, mask), 3 * kPointer + 12);
  const size_t infos = AlignedToPointer(3 * kPointer + 18);
  EXPECT_EQ(offsetof(ByodMacRule, predefined), infos);
  EXPECT_EQ(offsetof(ByodMacRule, configured), infos + kPointer);
  EXPECT_EQ(sizeof(ByodMacRule), infos + 2 * kPointer);
}

TEST(RecordLayout, UserAgentRuleBeginsWithThreeLinks) {
  EXPECT_EQ(offsetof(ByodUserAgentRule, hash_link), 0u);
  EXPECT_EQ(offsetof(ByodUserAgentRule, list_link), 2 * kPointer);
  EXPECT_EQ(offsetof(ByodUserAgentRule, match_link), 4 * kPointer);
  EXPECT_EQ(offsetof(ByodUserAgentRule, origin), 6 * kPointer);
  EXPECT_EQ(offsetof(ByodUserAgentRule, modified), 6 * kPointer + 4);
  EXPECT_EQ(offsetof(ByodUserAgentRule, keyword), 6 * kPointer + 6);
  const size_t infos = AlignedToPointer(6 * kPointer + 6 + 256);
  EXPECT_EQ(offsetof(ByodUserAgentRule, predefined), infos);
  EXPECT_EQ(offsetof(ByodUserAgentRule, configured), infos + kPointer);
}

TEST(RecordLayout, DhcpOptionRuleBeginsWithTwoLinks) {
  EXPECT_EQ(offsetof(ByodDhcpOptionRule, hash_link), 0u);
  EXPECT_EQ(offsetof(ByodDhcpOptionRule, list_link), 2 * kPointer);
  EXPECT_EQ(offsetof(ByodDhcpOptionRule, origin), 4 * kPointer);
  EXPECT_EQ(offsetof(ByodDhcpOptionRule, modified), 4 * kPointer + 4);
  EXPECT_EQ(offsetof(ByodDhcpOptionRule, text), 4 * kPointer + 6);
  const size_t infos = AlignedToPointer(4 * kPointer + 6 + 256);
  EXPECT_EQ(offsetof(ByodDhcpOptionRule, predefined), infos);
  EXPECT_EQ(offsetof(ByodDhcpOptionRule, configured), infos + kPointer);
}

TEST(RecordLayout, TablesBeginWithTheirCounts) {
  EXPECT_EQ(offsetof(ByodDhcpOptionTable, rule_count), 0u);
  EXPECT_EQ(offsetof(ByodDhcpOptionTable, custom_count), 4u);
  EXPECT_EQ(offsetof(ByodDhcpOptionTable, hash), 8u);
  EXPECT_EQ(offsetof(ByodDhcpOptionTable, list), 8 + kPointer);
  EXPECT_EQ(offsetof(ByodUserAgentTable, hash), 8u);
  EXPECT_EQ(offsetof(ByodUserAgentTable, list), 8 + kPointer);
  EXPECT_EQ(offsetof(ByodUserAgentTable, match_list), 8 + 2 * kPointer);
  EXPECT_EQ(offsetof(ByodMacTable, tree), 8u);
}

TEST(RecordLayout, StoredRecordsHaveNoPadding) {
  EXPECT_EQ(sizeof(ByodMacRuleShowRec), 341u);
  EXPECT_EQ(offsetof(ByodMacRuleShowRec, mac_text), 0u);
  EXPECT_EQ(offsetof(ByodMacRuleShowRec, mask), 15u);
  EXPECT_EQ(offsetof(ByodMacRuleShowRec, info), 21u);
  EXPECT_EQ(sizeof(ByodTextRuleShowRec), 576u);
  EXPECT_EQ(offsetof(ByodTextRuleShowRec, text), 0u);
  EXPECT_EQ(offsetof(ByodTextRuleShowRec, info), 256u);
}

TEST(RecordLayout, OrderIsThreeWords) {
  EXPECT_EQ(sizeof(ByodOrder), 12u);
}

TEST(Codes, HaveTheirValues) {
  EXPECT_EQ(BYOD_ERR_FAILED, 0x40010001);
  EXPECT_EQ(BYOD_ERR_NOCHANGE, 0x40010006);
  EXPECT_EQ(BYOD_ERR_CONTINUE, 0x40010009);
  EXPECT_EQ(BYOD_ERR_RULE_LIMIT, 0x2001000C);
  EXPECT_EQ(BYOD_METHOD_DHCP, 0);
  EXPECT_EQ(BYOD_METHOD_USERAGENT, 1);
  EXPECT_EQ(BYOD_METHOD_MAC, 2);
  EXPECT_EQ(BYOD_ATTR_VENDOR, 1);
  EXPECT_EQ(BYOD_ATTR_CATEGORY, 2);
  EXPECT_EQ(BYOD_ATTR_OS, 3);
  EXPECT_EQ(BYOD_RULE_PREDEFINED, 0);
  EXPECT_EQ(BYOD_RULE_CUSTOM, 1);
  EXPECT_EQ(BYOD_TERMINAL_PC, 1);
  EXPECT_EQ(BYOD_TERMINAL_MOBILE, 2);
  EXPECT_EQ(BYOD_TERMINAL_TABLET, 3);
  EXPECT_EQ(BYOD_TERMINAL_UNKNOWN, 4);
}

// Where they are narrower, looking at a file with a high inode number fails with EOVERFLOW.
TEST(System, FilesAndTimesAreCountedIn64Bits) {
  EXPECT_EQ(sizeof(off_t), 8u);
  EXPECT_EQ(sizeof(ino_t), 8u);
  EXPECT_EQ(sizeof(time_t), 8u);
}

}  // namespace
