// SPDX-License-Identifier: Apache-2.0
// Every encoder and every operation on nested messages, with each allocation failing in turn: a
// failure is reported, nothing is left, and what was appended before stays whole.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "lauth_tlv.h"
#include "support/failing_allocator.h"
#include "support/message.h"
#include "support/platform_faults.h"

namespace {

using namespace support;
using Elements = std::vector<Element>;

constexpr uint32_t kFailed = 0x40010001u;

// Texts long enough that a message has to grow for them.
ByodDeviceInfo Info() {
  ByodDeviceInfo info = {};
  std::memset(info.name, 'n', sizeof info.name - 1);
  std::memset(info.vendor, 'v', sizeof info.vendor - 1);
  std::memset(info.category, 'c', sizeof info.category - 1);
  std::memset(info.os, 'o', sizeof info.os - 1);
  return info;
}

struct Encoder {
  const char* name;
  std::function<uint32_t(uint32_t msg)> encode;
};

void PrintTo(const Encoder& encoder, std::ostream* out) {
  *out << encoder.name;
}

std::vector<Encoder> Encoders() {
  static ByodDeviceInfo info = Info();
  static ByodMacRule mac = {};
  static ByodUserAgentRule agent = {};
  static ByodDhcpOptionRule option = {};
  std::memset(agent.keyword, 'k', sizeof agent.keyword - 1);
  std::memset(option.text, '1', sizeof option.text - 1);
  mac.configured = agent.configured = option.configured = &info;
  static const uint32_t order[3] = {2, 1, 0};
  return {
      {"EncapErrCode", [](uint32_t m) { return BYOD_tlv_EncapErrCode(m, 1); }},
      {"EncapOrder", [](uint32_t m) { return BYOD_tlv_EncapOrder(m, order); }},
      {"EncapMacRule", [](uint32_t m) { return BYOD_tlv_EncapMacRule(m, info.name, &mac); }},
      {"EncapUserAgentRule",
       [](uint32_t m) { return BYOD_tlv_EncapUserAgentRule(m, info.name, &agent); }},
      {"EncapDhcpOptionRule",
       [](uint32_t m) { return BYOD_tlv_EncapDhcpOptionRule(m, info.name, &option); }},
      {"EncapMacRuleAllInfo", [](uint32_t m) { return BYOD_tlv_EncapMacRuleAllInfo(m, &mac, 2); }},
      {"EncapUserAgentRuleAllInfo",
       [](uint32_t m) { return BYOD_tlv_EncapUserAgentRuleAllInfo(m, &agent, 1); }},
      {"EncapDhcpOptionRuleAllInfo",
       [](uint32_t m) { return BYOD_tlv_EncapDhcpOptionRuleAllInfo(m, &option, 2); }},
      {"EncapDevInfoMerged",
       [](uint32_t m) { return BYOD_tlv_EncapDevInfoMerged(m, &info, nullptr); }},
      {"EncapDevInfoOnly", [](uint32_t m) { return BYOD_tlv_EncapDevInfoOnly(m, &info); }},
      {"EncapDevAttr", [](uint32_t m) { return BYOD_tlv_EncapDevAttr(m, 1, &info); }},
  };
}

struct CodecAllocations : testing::TestWithParam<Encoder> {};

INSTANTIATE_TEST_SUITE_P(All, CodecAllocations, testing::ValuesIn(Encoders()),
                         [](const auto& info) { return std::string(info.param.name); });

// Fills a message until it has to grow, so that the encoder's first append is among those that
// allocate.
TEST_P(CodecAllocations, FailedAppendIsReportedAndLeavesOutOnlyItsOwnElement) {
  Elements whole;
  {
    const Message msg;
    ASSERT_EQ(GetParam().encode(msg.get()), 0u);
    whole = msg.elements();
  }
  int failures = 0;
  for (size_t filler = 0; filler < 512; filler += 37) {
    const Elements before = {Bytes(999, std::string(filler, 'f'))};
    for (uint32_t n = 1;; ++n) {
      ASSERT_LT(n, 100u);
      const Message msg(before);
      FailingAllocation failing(n);
      const uint32_t status = GetParam().encode(msg.get());
      const bool failed = failing.Failed();
      failing.Disarm();
      const Elements after = msg.elements();
      ASSERT_GE(after.size(), 1u);
      EXPECT_EQ(after[0], before[0]);
      if (!failed) {
        EXPECT_EQ(status, 0u);
        EXPECT_EQ(after.size(), whole.size() + 1);
        break;
      }
      ++failures;
      EXPECT_NE(status, 0u);
      EXPECT_EQ(after.size(), whole.size());
    }
  }
  // Messages keep the memory of earlier ones; where nothing had to grow, nothing could fail.
  RecordProperty("failures", failures);
}

TEST(NestedAllocations, PuttingFailsAndLeavesBothMessagesAsTheyWere) {
  const Elements inner = {Bytes(1, std::string(5000, 'i'))};
  const Message sub(inner);
  int failures = 0;
  for (uint32_t n = 1;; ++n) {
    ASSERT_LT(n, 100u);
    const Message msg({Number(12, 0)});
    FailingAllocation failing(n);
    const uint32_t status = BYOD_tlv_PutSubTlv(msg.get(), 100, sub.get());
    const bool failed = failing.Failed();
    failing.Disarm();
    EXPECT_EQ(sub.elements(), inner);
    if (!failed) {
      EXPECT_EQ(status, 0u);
      break;
    }
    if (n == 1) {
      EXPECT_EQ(status, kFailed);  // the buffer is the library's own
    }
    EXPECT_NE(status, 0u);
    EXPECT_EQ(msg.elements(), (Elements{Number(12, 0)}));
    ++failures;
  }
  EXPECT_GE(failures, 1);
}

TEST(NestedAllocations, TakingFailsWithNoneAndLeavesNothing) {
  const Message msg({Nested(100, {Bytes(1, std::string(5000, 'i'))})});
  const uintptr_t at = TLV_GetFirst(msg.get());
  int failures = 0;
  for (uint32_t n = 1;; ++n) {
    ASSERT_LT(n, 100u);
    PlatformFaults::Reset();
    FailingAllocation failing(n);
    const uint32_t sub = BYOD_tlv_GetSubTlv(msg.get(), at);
    const bool failed = failing.Failed();
    failing.Disarm();
    const Message taken = Message::Take(sub);
    if (!failed) {
      EXPECT_NE(sub, 0u);
      break;
    }
    EXPECT_EQ(sub, 0u);
    EXPECT_TRUE(PlatformFaults::Alive().empty());
    ++failures;
  }
  EXPECT_GE(failures, 1);
}

TEST(FingerPrintAllocations, QueryThatRunsOutOfMemoryIsNoneAndDestroyed) {
  ByodFingerPrint fp = {};
  fp.option_length = 255;
  std::memset(fp.user_agent, 'u', 255);
  for (uint32_t n = 1;; ++n) {
    ASSERT_LT(n, 100u);
    PlatformFaults::Reset();
    FailingAllocation failing(n);
    const Message query = Message::Take(BYOD_tlv_EncapFingerPrint(&fp, 3));
    const bool failed = failing.Failed();
    failing.Disarm();
    if (!failed) {
      EXPECT_NE(query.get(), 0u);
      break;
    }
    EXPECT_EQ(query.get(), 0u);
    EXPECT_TRUE(PlatformFaults::Alive().empty());
  }
}

}  // namespace
