// SPDX-License-Identifier: Apache-2.0
// Reading rules, fingerprints and attributes out of messages. The limits of every element are in
// element_limits_test.cpp.
#include <gtest/gtest.h>

#include <string>

#include "byod_tlv.h"
#include "support/decoders.h"
#include "support/message.h"
#include "support/plain_decoder.h"
#include "support/platform_faults.h"

namespace {

using namespace support;

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint8_t kMac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
constexpr uint8_t kMask[6] = {0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00};

struct Decode : testing::Test {
  void SetUp() override { PlatformFaults::Reset(); }
};

const Decoder& Named(const std::string& name) {
  for (const Decoder& decoder : AllDecoders()) {
    if (decoder.name == name) return decoder;
  }
  ADD_FAILURE() << name;
  return AllDecoders()[0];
}

std::string Address(const uint8_t (&bytes)[6]) {
  return std::string(reinterpret_cast<const char*>(bytes), 6);
}

// ---- whole messages

TEST_F(Decode, FingerPrintIsReadFromItsThreeElements) {
  ByodFingerPrint fp = {};
  const Message msg(
      {Number(1, 2), Number(2, 3), Bytes(14, "\x01\x03\x06"), Text(5, "Mozilla"), Bytes(6, kMac)});
  EXPECT_EQ(BYOD_tlv_GetFingerPrint(msg.get(), &fp), 0u);
  EXPECT_EQ(fp.option_length, 3u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(fp.options), 4), std::string("\x01\x03\x06\0", 4));
  EXPECT_STREQ(fp.user_agent, "Mozilla");
  EXPECT_EQ(Address(fp.mac), Address(kMac));
}

TEST_F(Decode, OptionListOf300BytesLeavesLengthZeroAndTheDecodeGoesOn) {
  ByodFingerPrint fp = {};
  fp.option_length = 9;
  const Message msg({Bytes(14, std::string(300, 'x')), Text(5, "after")});
  EXPECT_EQ(BYOD_tlv_GetFingerPrint(msg.get(), &fp), 0u);
  EXPECT_EQ(fp.option_length, 0u);
  EXPECT_STREQ(fp.user_agent, "after");
}

TEST_F(Decode, OptionListWhoseCopyFailsLeavesLengthZeroAndTheDecodeGoesOn) {
  ByodFingerPrint fp = {};
  fp.option_length = 9;
  const Message msg({Bytes(14, "\x01\x03"), Text(5, "after")});
  PlatformFaults::Fail(PlatformFaults::kGetValue, 1, 77);
  EXPECT_EQ(BYOD_tlv_GetFingerPrint(msg.get(), &fp), 0u);
  EXPECT_EQ(fp.option_length, 0u);
  EXPECT_STREQ(fp.user_agent, "after");
}

TEST_F(Decode, UserAgentOf256BytesIsAcceptedAnd257Fail) {
  ByodFingerPrint fp = {};
  EXPECT_EQ(BYOD_tlv_GetFingerPrint(Message({Text(5, std::string(255, 'u'))}).get(), &fp), 0u);
  EXPECT_EQ(std::string(fp.user_agent), std::string(255, 'u'));
  EXPECT_EQ(BYOD_tlv_GetFingerPrint(Message({Text(5, std::string(256, 'u'))}).get(), &fp), kFailed);
}

TEST_F(Decode, NameOf129BytesFailsAttributeOf65FailsAnd64IsAccepted) {
  ByodTextRuleShowRec rec;
  uint32_t origin;
  uint16_t word;
  const auto decode = [&](const Element& element) {
    return BYOD_tlv_GetUserAgentRuleAllInfo(Message({element}).get(), &origin, &word, &rec);
  };
  EXPECT_EQ(decode(Text(8, std::string(127, 'n'))), 0u);
  EXPECT_EQ(decode(Text(8, std::string(128, 'n'))), kFailed);
  for (const uint16_t type : {uint16_t{16}, uint16_t{17}, uint16_t{18}}) {
    EXPECT_EQ(decode(Text(type, std::string(63, 'a'))), 0u);
    EXPECT_EQ(decode(Text(type, std::string(64, 'a'))), kFailed);
  }
}

TEST_F(Decode, AddressOf4BytesOverwritesOnlyTheFirstFour) {
  ByodMacRule rule = {};
  std::memset(rule.mac, 0xEE, sizeof rule.mac);
  const Message msg({Bytes(6, "\x01\x02\x03\x04")});
  EXPECT_EQ(BYOD_tlv_GetMacAddrAndMask(msg.get(), &rule), 0u);
  EXPECT_EQ(Address(rule.mac), std::string("\x01\x02\x03\x04\xEE\xEE"));
}

TEST_F(Decode, MacRuleAllInfoPutsAddressIntoTheRuleAndTheRestIntoTheRecord) {
  uint32_t origin = 9;
  uint16_t word = 9;
  ByodMacRuleShowRec rec;
  ByodMacRule rule;
  std::memset(&rec, 0xA5, sizeof rec);
  std::memset(static_cast<void*>(&rule), 0xA5, sizeof rule);
  const Message msg({Number(12, 0), Number(3, 1), Number(21, 0x10001), Bytes(6, kMac),
                     Bytes(7, kMask), Text(8, "Printer"), Text(16, "ACME"), Text(18, "printer"),
                     Text(17, "RTOS")});
  EXPECT_EQ(BYOD_tlv_GetMacRuleAllInfo(msg.get(), &origin, &word, &rec, &rule), 0u);
  EXPECT_EQ(origin, 1u);
  EXPECT_EQ(word, 1u);
  EXPECT_EQ(Address(rule.mac), Address(kMac));
  EXPECT_EQ(Address(rec.mask), Address(kMask));
  EXPECT_EQ(Address(rule.mask), std::string(6, '\0'));
  EXPECT_EQ(rule.configured, nullptr);
  EXPECT_EQ(std::string(rec.mac_text, 15), std::string(15, '\0'));
  EXPECT_STREQ(rec.info.name, "Printer");
  EXPECT_STREQ(rec.info.vendor, "ACME");
  EXPECT_STREQ(rec.info.category, "printer");
  EXPECT_STREQ(rec.info.os, "RTOS");
}

// ---- the scan

TEST_F(Decode, LaterElementOfATypeOverwritesAnEarlierOne) {
  uint32_t origin = 0;
  char buf[384] = {};
  const Message msg({Text(5, "a longer first one"), Number(3, 1), Text(5, "second"), Number(3, 2)});
  EXPECT_EQ(BYOD_tlv_GetUserAgentRule(msg.get(), &origin, buf), 0u);
  EXPECT_STREQ(buf, "second");
  EXPECT_EQ(buf[7], 'r');  // behind the text
  EXPECT_EQ(origin, 2u);
}

TEST_F(Decode, FailureEndsTheScanAndKeepsWhatWasStored) {
  for (const Decoder& decoder : AllDecoders()) {
    if (decoder.first_only) continue;
    SCOPED_TRACE(decoder.name);
    const Destination *first = nullptr, *faulty = nullptr;
    for (const Destination& to : decoder.takes) {
      if (to.kind != Kind::kText && to.kind != Kind::kAddress) continue;
      (first == nullptr ? first : faulty) = &to;
    }
    if (faulty == nullptr) faulty = first;
    const std::vector<Element> elements = {Bytes(first->type, std::string("ab\0", 3)),
                                           Bytes(faulty->type, std::string(faulty->size + 1, 'z')),
                                           Bytes(first->type, std::string("cd\0", 3))};
    Records records, expected;
    EXPECT_EQ(decoder.decode(Message(elements).get(), records), kFailed);
    EXPECT_EQ(PlainDecode(decoder, {{first->type, std::string("ab\0", 3)}}, expected), 0u);
    EXPECT_TRUE(records == expected);
  }
}

TEST_F(Decode, FailedCopyOfAnAddressReturnsTheContainersOwnCode) {
  int seen = 0;
  for (const Decoder& decoder : AllDecoders()) {
    for (const Destination& to : decoder.takes) {
      if (to.kind != Kind::kAddress) continue;
      SCOPED_TRACE(decoder.name);
      Records records;
      PlatformFaults::Fail(PlatformFaults::kGetValue, 1, 0x77);
      EXPECT_EQ(decoder.decode(Message({Bytes(to.type, kMac)}).get(), records), 0x77u);
      ++seen;
    }
  }
  EXPECT_EQ(seen, 9);
}

TEST_F(Decode, FailedCopyOfATextIsTheLibrarysFailure) {
  int seen = 0;
  for (const Decoder& decoder : AllDecoders()) {
    for (const Destination& to : decoder.takes) {
      if (to.kind != Kind::kText) continue;
      SCOPED_TRACE(decoder.name);
      Records records;
      PlatformFaults::Fail(PlatformFaults::kGetValue, 1, 0x77);
      EXPECT_EQ(decoder.decode(Message({Text(to.type, "x")}).get(), records), kFailed);
      ++seen;
    }
  }
  EXPECT_EQ(seen, 31);
}

// Every n-th copy fails in turn; what stood before the fault is stored, and nothing behind it.
TEST_F(Decode, EachFailedCopyInTurnLeavesWhatStoodBeforeIt) {
  for (const Decoder& decoder : AllDecoders()) {
    SCOPED_TRACE(decoder.name);
    std::vector<Element> elements;
    std::vector<PlainElement> plain;
    std::vector<Kind> kinds;
    for (const Destination& to : decoder.takes) {
      if (to.kind == Kind::kNumber || to.kind == Kind::kWord) continue;
      elements.push_back(Bytes(to.type, std::string("abc\0", 4)));
      plain.push_back({to.type, elements.back().bytes});
      kinds.push_back(to.kind);
    }
    for (size_t n = 0; n < elements.size(); ++n) {
      if (kinds[n] == Kind::kOption55) continue;  // its own tests above
      const Message msg(elements);
      Records records, expected;
      PlatformFaults::Reset();
      PlatformFaults::Fail(PlatformFaults::kGetValue, static_cast<int>(n) + 1, 0x77);
      EXPECT_EQ(decoder.decode(msg.get(), records), kinds[n] == Kind::kText ? kFailed : 0x77u);
      PlainDecode(decoder, {plain.begin(), plain.begin() + static_cast<ptrdiff_t>(n)}, expected);
      EXPECT_TRUE(records == expected) << n;
    }
  }
}

TEST_F(Decode, TextsOfTheCallersCapacityUseIt) {
  char text[8] = {};
  uint32_t kind = 0;
  const Message msg({Number(19, 2), Text(5, "1234567"), Text(4, "1234567")});
  EXPECT_EQ(BYOD_tlv_GetAgentDeviceAttr(msg.get(), 8, text, &kind), 0u);
  EXPECT_EQ(BYOD_tlv_GetAgentDeviceAttr(msg.get(), 7, text, &kind), kFailed);
  EXPECT_EQ(BYOD_tlv_GetDhcpDeviceAttr(msg.get(), 8, text, &kind), 0u);
  EXPECT_EQ(BYOD_tlv_GetDhcpDeviceAttr(msg.get(), 7, text, &kind), kFailed);
  EXPECT_STREQ(text, "1234567");
  EXPECT_EQ(kind, 2u);
}

// ---- one attribute

TEST_F(Decode, MissingAttributeSucceedsAndChangesNothing) {
  for (const uint32_t kind : {1u, 2u, 3u}) {
    ByodDeviceInfo info, before;
    std::memset(&info, 0xA5, sizeof info);
    before = info;
    EXPECT_EQ(BYOD_tlv_GetDevAttr(Message({Text(8, "name")}).get(), kind, &info), 0u);
    EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0);
  }
}

TEST_F(Decode, FirstOfTwoAttributesCounts) {
  ByodDeviceInfo info = {};
  EXPECT_EQ(BYOD_tlv_GetDevAttr(Message({Text(16, "one"), Text(16, "two")}).get(), 1, &info), 0u);
  EXPECT_STREQ(info.vendor, "one");
  EXPECT_EQ(BYOD_tlv_GetDevAttr(Message({Text(18, "one"), Text(18, std::string(99, 'x'))}).get(), 2,
                                &info),
            0u);
  EXPECT_STREQ(info.category, "one");
}

TEST_F(Decode, AttributeOfAnotherKindFailsAlsoWhenTheMessageIsEmpty) {
  ByodDeviceInfo info = {};
  const Message msg({Text(16, "v"), Text(17, "o"), Text(18, "c")});
  for (const uint32_t kind : {0u, 4u, 16u, 0xFFFFFFFFu}) {
    EXPECT_EQ(BYOD_tlv_GetDevAttr(msg.get(), kind, &info), kFailed) << kind;
    EXPECT_EQ(BYOD_tlv_GetDevAttr(Message().get(), kind, &info), kFailed) << kind;
  }
  EXPECT_EQ(info.vendor[0], '\0');
}

// ---- null arguments

TEST_F(Decode, NullOutputFailsWhereItIsCheckedAndWritesNothing) {
  const Message msg({Number(3, 1), Bytes(6, kMac), Number(19, 1)});
  Records r;
  const Records before;
  EXPECT_EQ(BYOD_tlv_GetMacAddrAndMask(msg.get(), nullptr), kFailed);
  EXPECT_EQ(BYOD_tlv_GetMacRule(msg.get(), nullptr, &r.mac_rec, &r.rule), kFailed);
  EXPECT_EQ(BYOD_tlv_GetMacRule(msg.get(), &r.origin, nullptr, &r.rule), kFailed);
  EXPECT_EQ(BYOD_tlv_GetMacRule(msg.get(), &r.origin, &r.mac_rec, nullptr), kFailed);
  EXPECT_EQ(BYOD_tlv_GetUserAgentRule(msg.get(), nullptr, r.rule_and_name), kFailed);
  EXPECT_EQ(BYOD_tlv_GetUserAgentRule(msg.get(), &r.origin, nullptr), kFailed);
  EXPECT_EQ(BYOD_tlv_GetDhcpOptionRule(msg.get(), nullptr, r.rule_and_name), kFailed);
  EXPECT_EQ(BYOD_tlv_GetDhcpOptionRule(msg.get(), &r.origin, nullptr), kFailed);
  EXPECT_EQ(BYOD_tlv_GetMacDevicetAttr(msg.get(), nullptr, &r.info, &r.rule), kFailed);
  EXPECT_EQ(BYOD_tlv_GetMacDevicetAttr(msg.get(), &r.kind, nullptr, &r.rule), kFailed);
  EXPECT_EQ(BYOD_tlv_GetMacDevicetAttr(msg.get(), &r.kind, &r.info, nullptr), kFailed);
  EXPECT_EQ(BYOD_tlv_GetDevAttri(msg.get(), nullptr), kFailed);
  EXPECT_EQ(BYOD_tlv_GetDevAttr(msg.get(), 1, nullptr), kFailed);
  EXPECT_EQ(BYOD_tlv_GetMacRuleAllInfo(msg.get(), nullptr, &r.word, &r.mac_rec, &r.rule), kFailed);
  EXPECT_EQ(BYOD_tlv_GetMacRuleAllInfo(msg.get(), &r.origin, &r.word, &r.mac_rec, nullptr),
            kFailed);
  EXPECT_EQ(BYOD_tlv_GetUserAgentRuleAllInfo(msg.get(), nullptr, &r.word, &r.text_rec), kFailed);
  EXPECT_EQ(BYOD_tlv_GetUserAgentRuleAllInfo(msg.get(), &r.origin, &r.word, nullptr), kFailed);
  EXPECT_EQ(BYOD_tlv_GetDhcpOptionRuleAllInfo(msg.get(), nullptr, &r.word, &r.text_rec), kFailed);
  EXPECT_EQ(BYOD_tlv_GetDhcpOptionRuleAllInfo(msg.get(), &r.origin, &r.word, nullptr), kFailed);
  EXPECT_TRUE(r == before);
}

TEST_F(Decode, SecondWordMayBeMissingWhenTheMessageHasNone) {
  uint32_t origin = 0;
  ByodTextRuleShowRec rec;
  EXPECT_EQ(BYOD_tlv_GetUserAgentRuleAllInfo(Message({Number(3, 1)}).get(), &origin, nullptr, &rec),
            0u);
  EXPECT_EQ(origin, 1u);
}

TEST_F(Decode, DecodersNeitherMakeNorDestroyAMessage) {
  for (const Decoder& decoder : AllDecoders()) {
    const Message msg({Number(3, 1), Bytes(6, kMac), Text(5, "x"), Text(16, "v")});
    Records records;
    decoder.decode(msg.get(), records);
  }
  EXPECT_EQ(PlatformFaults::Made(), 0);
  EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
}

TEST_F(Decode, TableNamesAllThirteenDecoders) {
  EXPECT_EQ(AllDecoders().size(), 15u);  // one of them stands there once for each attribute
  EXPECT_EQ(Named("GetMacRuleAllInfo").takes.size(), 8u);
}

}  // namespace
