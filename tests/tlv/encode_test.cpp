// SPDX-License-Identifier: Apache-2.0
// Putting fingerprints, rules and attributes into messages.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "byod_tlv.h"
#include "support/message.h"
#include "support/platform_faults.h"

namespace {

using namespace support;
using Elements = std::vector<Element>;

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint8_t kMac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
constexpr uint8_t kMask[6] = {0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00};

struct Encode : testing::Test {
  void SetUp() override { PlatformFaults::Reset(); }
};

ByodDeviceInfo Info(const char* name, const char* vendor, const char* category, const char* os) {
  ByodDeviceInfo info = {};
  std::strcpy(info.name, name);
  std::strcpy(info.vendor, vendor);
  std::strcpy(info.category, category);
  std::strcpy(info.os, os);
  return info;
}

ByodMacRule MacRule() {
  ByodMacRule rule = {};
  rule.origin = 1;
  rule.modified = 0xFFFE;
  std::memcpy(rule.mac, kMac, 6);
  std::memcpy(rule.mask, kMask, 6);
  return rule;
}

ByodUserAgentRule UserAgentRule(const char* keyword) {
  ByodUserAgentRule rule = {};
  rule.origin = 0x80000000u;
  rule.modified = 1;
  std::strcpy(rule.keyword, keyword);
  return rule;
}

ByodDhcpOptionRule DhcpOptionRule(const char* text) {
  ByodDhcpOptionRule rule = {};
  rule.modified = 7;
  std::strcpy(rule.text, text);
  return rule;
}

ByodFingerPrint FingerPrint(const std::string& options, const std::string& user_agent) {
  ByodFingerPrint fp = {};
  fp.option_length = static_cast<uint32_t>(options.size());
  std::memcpy(fp.options, options.data(), options.size());
  std::strcpy(fp.user_agent, user_agent.c_str());
  std::memcpy(fp.mac, kMac, 6);
  return fp;
}

Elements FingerPrintElements(const ByodFingerPrint& fp, uint32_t kind) {
  const Message msg = Message::Take(BYOD_tlv_EncapFingerPrint(&fp, kind));
  EXPECT_NE(msg.get(), 0u);
  return msg.elements();
}

// ---- fingerprints

TEST_F(Encode, FingerPrintQueryHasOperationKindOptionsUserAgentAndAddress) {
  EXPECT_EQ(FingerPrintElements(FingerPrint("\x01\x03\x06", "Mozilla"), 13),
            (Elements{Number(1, 2), Number(2, 13), Bytes(14, "\x01\x03\x06"), Text(5, "Mozilla"),
                      Bytes(6, kMac)}));
}

TEST_F(Encode, FingerPrintWithoutOptionsAndUserAgentIsTypes1And2And6) {
  EXPECT_EQ(FingerPrintElements(ByodFingerPrint{}, 3),
            (Elements{Number(1, 2), Number(2, 3), Bytes(6, std::string(6, '\0'))}));
}

TEST_F(Encode, OptionsAreSentByTheirLengthAndNotByTheirFirstByte) {
  EXPECT_EQ(
      FingerPrintElements(FingerPrint(std::string("\0\0", 2), ""), 3),
      (Elements{Number(1, 2), Number(2, 3), Bytes(14, std::string("\0\0", 2)), Bytes(6, kMac)}));
  ByodFingerPrint fp = FingerPrint("\x01", "");
  fp.option_length = 0;
  EXPECT_EQ(FingerPrintElements(fp, 3), (Elements{Number(1, 2), Number(2, 3), Bytes(6, kMac)}));
}

// The length is cut to 16 bits and then to the list's 255 bytes.
TEST_F(Encode, OptionsAreNeverReadPastTheList) {
  const struct {
    uint32_t length;
    size_t sent;
  } cases[] = {{254, 254},   {255, 255},   {256, 255},       {65535, 255},
               {0x10000, 0}, {0x10003, 3}, {0xFFFFFFFF, 255}};
  for (const auto& c : cases) {
    ByodFingerPrint fp = FingerPrint(std::string(255, 'o'), "");
    std::memset(fp.user_agent, 0, sizeof fp.user_agent);
    fp.option_length = c.length;
    EXPECT_EQ(
        FingerPrintElements(fp, 3),
        (Elements{Number(1, 2), Number(2, 3), Bytes(14, std::string(c.sent, 'o')), Bytes(6, kMac)}))
        << c.length;
  }
}

TEST_F(Encode, LongestUserAgentIsSentWithItsNul) {
  EXPECT_EQ(FingerPrintElements(FingerPrint("", std::string(255, 'u')), 12)[2],
            Text(5, std::string(255, 'u')));
}

TEST_F(Encode, FingerPrintQueryIsDestroyedWhenAnyAppendFails) {
  const ByodFingerPrint fp = FingerPrint("\x01", "Mozilla");
  for (int n = 1; n <= 5; ++n) {
    PlatformFaults::Reset();
    PlatformFaults::Fail(PlatformFaults::kAppend, n, 1);
    EXPECT_EQ(BYOD_tlv_EncapFingerPrint(&fp, 3), 0u) << n;
    EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kAppend), 5) << n;
    EXPECT_EQ(PlatformFaults::Made(), 1) << n;
    EXPECT_TRUE(PlatformFaults::Alive().empty()) << n;
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0) << n;
  }
}

TEST_F(Encode, FingerPrintQueryThatCannotBeMadeIsNone) {
  const ByodFingerPrint fp = FingerPrint("\x01", "Mozilla");
  PlatformFaults::Fail(PlatformFaults::kCreate, 1, 0);
  EXPECT_EQ(BYOD_tlv_EncapFingerPrint(&fp, 3), 0u);
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kAppend), 0);
  EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
}

// ---- plain rules

TEST_F(Encode, PlainMacRuleIsOriginAddressMaskAndName) {
  const ByodMacRule rule = MacRule();
  const Message msg;
  EXPECT_EQ(BYOD_tlv_EncapMacRule(msg.get(), "Printer", &rule), 0u);
  EXPECT_EQ(msg.elements(),
            (Elements{Number(3, 1), Bytes(6, kMac), Bytes(7, kMask), Text(8, "Printer")}));
}

TEST_F(Encode, PlainTextRulesAreOriginTextAndName) {
  const ByodUserAgentRule agent = UserAgentRule("iPhone&&Mobile");
  const ByodDhcpOptionRule option = DhcpOptionRule("1,3,6");
  const Message first, second;
  EXPECT_EQ(BYOD_tlv_EncapUserAgentRule(first.get(), "Phone", &agent), 0u);
  EXPECT_EQ(first.elements(),
            (Elements{Number(3, 0x80000000u), Text(5, "iPhone&&Mobile"), Text(8, "Phone")}));
  EXPECT_EQ(BYOD_tlv_EncapDhcpOptionRule(second.get(), "Phone", &option), 0u);
  EXPECT_EQ(second.elements(), (Elements{Number(3, 0), Text(4, "1,3,6"), Text(8, "Phone")}));
}

TEST_F(Encode, NullNameIsLeftOutAndAnEmptyOneIsSent) {
  const ByodMacRule mac = MacRule();
  const ByodUserAgentRule agent = UserAgentRule("a");
  const ByodDhcpOptionRule option = DhcpOptionRule("1");
  const Message none[3], empty[3];
  EXPECT_EQ(BYOD_tlv_EncapMacRule(none[0].get(), nullptr, &mac), 0u);
  EXPECT_EQ(BYOD_tlv_EncapUserAgentRule(none[1].get(), nullptr, &agent), 0u);
  EXPECT_EQ(BYOD_tlv_EncapDhcpOptionRule(none[2].get(), nullptr, &option), 0u);
  EXPECT_EQ(BYOD_tlv_EncapMacRule(empty[0].get(), "", &mac), 0u);
  EXPECT_EQ(BYOD_tlv_EncapUserAgentRule(empty[1].get(), "", &agent), 0u);
  EXPECT_EQ(BYOD_tlv_EncapDhcpOptionRule(empty[2].get(), "", &option), 0u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NE(none[i].elements().back().type, 8) << i;
    EXPECT_EQ(empty[i].elements().back(), Bytes(8, std::string(1, '\0'))) << i;
  }
}

TEST_F(Encode, EmptyRuleTextIsLeftOut) {
  const ByodUserAgentRule agent = UserAgentRule("");
  const ByodDhcpOptionRule option = DhcpOptionRule("");
  const Message msg;
  EXPECT_EQ(BYOD_tlv_EncapUserAgentRule(msg.get(), "n", &agent), 0u);
  EXPECT_EQ(BYOD_tlv_EncapDhcpOptionRule(msg.get(), nullptr, &option), 0u);
  EXPECT_EQ(BYOD_tlv_EncapUserAgentRuleAllInfo(msg.get(), &agent, 2), 0u);
  EXPECT_EQ(BYOD_tlv_EncapDhcpOptionRuleAllInfo(msg.get(), &option, 2), 0u);
  EXPECT_EQ(msg.elements(),
            (Elements{Number(3, 0x80000000u), Text(8, "n"), Number(3, 0), Number(3, 0x80000000u),
                      Number(21, 1), Number(3, 0), Number(21, 7)}));
}

TEST_F(Encode, NameIsNotCheckedAgainstTheReceiversLimit) {
  const ByodMacRule rule = MacRule();
  const Message msg;
  EXPECT_EQ(BYOD_tlv_EncapMacRule(msg.get(), std::string(500, 'n').c_str(), &rule), 0u);
  EXPECT_EQ(msg.elements().back(), Text(8, std::string(500, 'n')));
}

TEST_F(Encode, LengthOfATextIsCutTo16Bits) {
  const ByodMacRule rule = MacRule();
  const Message wrapped, beyond;
  EXPECT_EQ(BYOD_tlv_EncapMacRule(wrapped.get(), std::string(65535, 'n').c_str(), &rule), 0u);
  EXPECT_EQ(wrapped.elements().back(), Bytes(8, ""));
  EXPECT_EQ(BYOD_tlv_EncapMacRule(beyond.get(), std::string(65538, 'n').c_str(), &rule), 0u);
  EXPECT_EQ(beyond.elements().back(), Bytes(8, "nnn"));
}

// ---- rules with all their information

struct Informed {
  ByodDeviceInfo own = Info("A", "V", "", "");
  ByodDeviceInfo modified = Info("", "W", "", "X");
};

TEST_F(Encode, AllInfoMacRuleOfMode0IsTypes3And21And6And7) {
  Informed informed;
  ByodMacRule rule = MacRule();
  rule.predefined = &informed.own;
  rule.configured = &informed.modified;
  for (const uint32_t mode : {0u, 3u, 0xFFFFFFFFu}) {
    const Message msg;
    EXPECT_EQ(BYOD_tlv_EncapMacRuleAllInfo(msg.get(), &rule, mode), 0u);
    EXPECT_EQ(msg.elements(),
              (Elements{Number(3, 1), Number(21, 0xFFFE), Bytes(6, kMac), Bytes(7, kMask)}));
  }
}

TEST_F(Encode, AllInfoOfMode2MergesAndOfMode1SendsTheModificationAlone) {
  Informed informed;
  ByodMacRule mac = MacRule();
  ByodUserAgentRule agent = UserAgentRule("key");
  ByodDhcpOptionRule option = DhcpOptionRule("1,3");
  mac.predefined = agent.predefined = option.predefined = &informed.own;
  mac.configured = agent.configured = option.configured = &informed.modified;
  const Elements keys[3] = {{Number(3, 1), Number(21, 0xFFFE), Bytes(6, kMac), Bytes(7, kMask)},
                            {Number(3, 0x80000000u), Number(21, 1), Text(5, "key")},
                            {Number(3, 0), Number(21, 7), Text(4, "1,3")}};
  for (const uint32_t mode : {1u, 2u}) {
    const Message msgs[3];
    EXPECT_EQ(BYOD_tlv_EncapMacRuleAllInfo(msgs[0].get(), &mac, mode), 0u);
    EXPECT_EQ(BYOD_tlv_EncapUserAgentRuleAllInfo(msgs[1].get(), &agent, mode), 0u);
    EXPECT_EQ(BYOD_tlv_EncapDhcpOptionRuleAllInfo(msgs[2].get(), &option, mode), 0u);
    for (int i = 0; i < 3; ++i) {
      Elements expected = keys[i];
      if (mode == 2) expected.push_back(Text(8, "A"));
      expected.push_back(Text(16, "W"));
      expected.push_back(Text(17, "X"));
      EXPECT_EQ(msgs[i].elements(), expected) << i << " mode " << mode;
    }
  }
}

TEST_F(Encode, MergedInformationSendsNameVendorAndOsAndNoCategory) {
  const Informed informed;
  const Message msg;
  EXPECT_EQ(BYOD_tlv_EncapDevInfoMerged(msg.get(), &informed.own, &informed.modified), 0u);
  EXPECT_EQ(msg.elements(), (Elements{Text(8, "A"), Text(16, "W"), Text(17, "X")}));
}

TEST_F(Encode, MergedOrderIsNameVendorCategoryOs) {
  const ByodDeviceInfo own = Info("n", "v", "c", "o"), modified = Info("N", "V", "C", "O");
  const Message a, b, c, d;
  EXPECT_EQ(BYOD_tlv_EncapDevInfoMerged(a.get(), &own, nullptr), 0u);
  EXPECT_EQ(a.elements(), (Elements{Text(8, "n"), Text(16, "v"), Text(18, "c"), Text(17, "o")}));
  EXPECT_EQ(BYOD_tlv_EncapDevInfoMerged(b.get(), nullptr, &modified), 0u);
  EXPECT_EQ(b.elements(), (Elements{Text(8, "N"), Text(16, "V"), Text(18, "C"), Text(17, "O")}));
  EXPECT_EQ(BYOD_tlv_EncapDevInfoMerged(c.get(), &own, &modified), 0u);
  EXPECT_EQ(c.elements(), b.elements());
  EXPECT_EQ(BYOD_tlv_EncapDevInfoMerged(d.get(), nullptr, nullptr), 0u);
  EXPECT_EQ(d.elements(), Elements{});
}

TEST_F(Encode, ModificationAloneHasCategoryBeforeVendor) {
  const ByodDeviceInfo info = Info("n", "v", "c", "o"), some = Info("", "", "c", "");
  const Message full, part, none;
  EXPECT_EQ(BYOD_tlv_EncapDevInfoOnly(full.get(), &info), 0u);
  EXPECT_EQ(full.elements(), (Elements{Text(8, "n"), Text(18, "c"), Text(16, "v"), Text(17, "o")}));
  EXPECT_EQ(BYOD_tlv_EncapDevInfoOnly(part.get(), &some), 0u);
  EXPECT_EQ(part.elements(), (Elements{Text(18, "c")}));
  EXPECT_EQ(BYOD_tlv_EncapDevInfoOnly(none.get(), nullptr), 0u);
  EXPECT_EQ(none.elements(), Elements{});
}

// ---- one attribute

TEST_F(Encode, SingleAttributeIsSentByItsKindAlsoWhenEmpty) {
  const ByodDeviceInfo info = Info("n", "v", "c", "o"), empty = Info("n", "", "", "");
  const struct {
    uint32_t kind;
    Element sent;
  } cases[] = {{1, Text(16, "v")}, {2, Text(18, "c")}, {3, Text(17, "o")}};
  for (const auto& c : cases) {
    const Message msg, none;
    EXPECT_EQ(BYOD_tlv_EncapDevAttr(msg.get(), c.kind, &info), 0u);
    EXPECT_EQ(msg.elements(), Elements{c.sent});
    EXPECT_EQ(BYOD_tlv_EncapDevAttr(none.get(), c.kind, &empty), 0u);
    EXPECT_EQ(none.elements(), Elements{Text(c.sent.type, "")});
  }
}

TEST_F(Encode, SingleAttributeOfAnotherKindFailsAndLeavesTheMessageUnchanged) {
  const ByodDeviceInfo info = Info("n", "v", "c", "o");
  const Message msg({Number(19, 4)});
  for (const uint32_t kind : {0u, 4u, 0xFFFFFFFFu}) {
    EXPECT_EQ(BYOD_tlv_EncapDevAttr(msg.get(), kind, &info), kFailed) << kind;
  }
  for (const uint32_t kind : {0u, 1u, 2u, 3u, 4u}) {
    EXPECT_EQ(BYOD_tlv_EncapDevAttr(msg.get(), kind, nullptr), kFailed) << kind;
  }
  EXPECT_EQ(msg.elements(), Elements{Number(19, 4)});
}

TEST_F(Encode, FailedAppendOfASingleAttributeIsTheLibrarysFailure) {
  const ByodDeviceInfo info = Info("n", "v", "c", "o");
  for (const uint32_t kind : {1u, 2u, 3u}) {
    const Message msg;
    PlatformFaults::Fail(PlatformFaults::kAppend, 1, 0x77);
    EXPECT_EQ(BYOD_tlv_EncapDevAttr(msg.get(), kind, &info), kFailed) << kind;
  }
}

// ---- failures of every append of every encoder

TEST_F(Encode, EveryAppendIsMadeAndItsFailuresAreCombinedByOr) {
  ByodDeviceInfo own = Info("n", "v", "c", "o");
  ByodMacRule mac = MacRule();
  ByodUserAgentRule agent = UserAgentRule("key");
  ByodDhcpOptionRule option = DhcpOptionRule("1,3");
  mac.predefined = agent.predefined = option.predefined = &own;
  mac.configured = agent.configured = option.configured = &own;
  const std::vector<std::pair<int, std::function<uint32_t(uint32_t)>>> encoders = {
      {4, [&](uint32_t m) { return BYOD_tlv_EncapMacRule(m, "n", &mac); }},
      {3, [&](uint32_t m) { return BYOD_tlv_EncapUserAgentRule(m, "n", &agent); }},
      {3, [&](uint32_t m) { return BYOD_tlv_EncapDhcpOptionRule(m, "n", &option); }},
      {4, [&](uint32_t m) { return BYOD_tlv_EncapMacRuleAllInfo(m, &mac, 0); }},
      {8, [&](uint32_t m) { return BYOD_tlv_EncapMacRuleAllInfo(m, &mac, 1); }},
      {8, [&](uint32_t m) { return BYOD_tlv_EncapMacRuleAllInfo(m, &mac, 2); }},
      {7, [&](uint32_t m) { return BYOD_tlv_EncapUserAgentRuleAllInfo(m, &agent, 1); }},
      {7, [&](uint32_t m) { return BYOD_tlv_EncapUserAgentRuleAllInfo(m, &agent, 2); }},
      {7, [&](uint32_t m) { return BYOD_tlv_EncapDhcpOptionRuleAllInfo(m, &option, 1); }},
      {7, [&](uint32_t m) { return BYOD_tlv_EncapDhcpOptionRuleAllInfo(m, &option, 2); }},
      {4, [&](uint32_t m) { return BYOD_tlv_EncapDevInfoMerged(m, &own, nullptr); }},
      {4, [&](uint32_t m) { return BYOD_tlv_EncapDevInfoOnly(m, &own); }},
  };
  for (size_t e = 0; e < encoders.size(); ++e) {
    const auto& [appends, encode] = encoders[e];
    for (int n = 1; n <= appends; ++n) {
      SCOPED_TRACE(testing::Message() << "encoder " << e << ", append " << n);
      PlatformFaults::Reset();
      PlatformFaults::Fail(PlatformFaults::kAppend, n, 0x20);
      PlatformFaults::Fail(PlatformFaults::kAppend, appends, 0x03);
      const Message msg;
      EXPECT_EQ(encode(msg.get()), n == appends ? 0x03u : 0x23u);
      EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kAppend), appends);
      EXPECT_EQ(msg.elements().size(), static_cast<size_t>(appends - (n == appends ? 1 : 2)));
      EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
    }
  }
}

}  // namespace
