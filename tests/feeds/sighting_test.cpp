// SPDX-License-Identifier: Apache-2.0
#include "feeds/sighting.h"

#include <gmock/gmock.h>

#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace byod::feeds {
namespace {

std::string TextOf(const Sighting& sighting, uint64_t dropped = 0) {
  return std::string(Datagram(sighting, dropped).text());
}

/// The datagram of a text, without what stands around it.
std::string Encoded(std::string_view user_agent) {
  Sighting sighting;
  sighting.user_agent = user_agent;
  std::string text = TextOf(sighting);
  constexpr std::string_view kBefore = "{\"user_agent\":\"", kAfter = "\"}";
  EXPECT_TRUE(text.starts_with(kBefore) && text.ends_with(kAfter)) << text;
  text.erase(text.size() - kAfter.size());
  text.erase(0, kBefore.size());
  return text;
}

TEST(Sighting, EveryFieldHasItsKeyInAFixedOrder) {
  const uint8_t options[] = {1, 121, 3, 255, 0};
  Sighting sighting;
  sighting.feed = "dnsmasq";
  sighting.mac = "00:16:aa:00:00:01";
  sighting.ip = "192.0.2.10";
  sighting.event = "lease";
  sighting.lease_end = 1763805600;
  sighting.time_us = 1763802000000042;
  sighting.options = options;
  sighting.user_agent = "curl/8";
  sighting.vendor_class = "MSFT 5.0";
  sighting.host_name = "pc-7";
  sighting.access_device = "sw1";
  sighting.port = "ge-0/0/1";
  sighting.session = "8A";
  EXPECT_EQ(TextOf(sighting, 3),
            R"({"feed":"dnsmasq","mac":"00:16:aa:00:00:01","ip":"192.0.2.10","event":"lease",)"
            R"("lease_end":1763805600,"time":1763802000.000042,"dropped":3,)"
            R"("options":[1,121,3,255,0],"user_agent":"curl/8","vendor_class":"MSFT 5.0",)"
            R"("host_name":"pc-7","access_device":"sw1","port":"ge-0/0/1","session":"8A"})");
}

TEST(Sighting, WhatWasNotSeenHasNoKey) {
  EXPECT_EQ(TextOf({}), "{}");
  Sighting sighting;
  sighting.feed = "x";
  sighting.lease_end = -1;
  EXPECT_EQ(TextOf(sighting), R"({"feed":"x"})");
}

TEST(Sighting, QuotesAndControlBytesAreEscaped) {
  EXPECT_EQ(Encoded(R"(a"b\c/d)"), R"(a\"b\\c/d)");
  EXPECT_EQ(Encoded(std::string_view("\0\x01\t\n\x1f\x7f", 6)),
            R"(\u0000\u0001\u0009\u000a\u001f\u007f)");
}

TEST(Sighting, Utf8IsKeptAndOtherBytesBecomeTheCharacterOfTheirNumber) {
  EXPECT_EQ(Encoded("B\u00fcro \u20ac \U0001F4F1"), "B\u00fcro \u20ac \U0001F4F1");
  EXPECT_EQ(Encoded("B\xfcro"), R"(B\u00fcro)");
  EXPECT_EQ(Encoded("\xff\x80"), R"(\u00ff\u0080)");
  EXPECT_EQ(Encoded("\xe2\x82"), R"(\u00e2\u0082)");            // cut off
  EXPECT_EQ(Encoded("\xc0\xaf"), R"(\u00c0\u00af)");            // longer than needed
  EXPECT_EQ(Encoded("\xe0\x9f\xbf"), R"(\u00e0\u009f\u00bf)");  // the same
  EXPECT_EQ(Encoded("\xf0\x8f\xbf\xbf"), R"(\u00f0\u008f\u00bf\u00bf)");
  EXPECT_EQ(Encoded("\xed\xa0\x80"), R"(\u00ed\u00a0\u0080)");  // half of a pair
  EXPECT_EQ(Encoded("\xf4\x90\x80\x80"), R"(\u00f4\u0090\u0080\u0080)");
  EXPECT_EQ(Encoded("\xf5\x80\x80\x80"), R"(\u00f5\u0080\u0080\u0080)");
}

TEST(Sighting, TextsAreCutAtTheirLimitAndNotInsideACharacter) {
  EXPECT_EQ(Encoded(std::string(255, 'a')), std::string(255, 'a'));
  EXPECT_EQ(Encoded(std::string(256, 'a')), std::string(255, 'a'));
  EXPECT_EQ(Encoded(std::string(253, 'a') + "\u00fcb"), std::string(253, 'a') + "\u00fc");
  EXPECT_EQ(Encoded(std::string(254, 'a') + "\u00fcb"), std::string(254, 'a'));
  EXPECT_EQ(Encoded(std::string(252, 'a') + "\U0001F4F1"), std::string(252, 'a'));
  EXPECT_EQ(Encoded(std::string(254, 'a') + "\xfc\xfc"), std::string(254, 'a') + R"(\u00fc)");
}

TEST(Sighting, APlaceThatIsTooLongIsLeftOut) {
  Sighting sighting;
  const std::string most(kMaxPlace, 'p'), more(kMaxPlace + 1, 'p');
  sighting.port = most;
  sighting.session = more;
  EXPECT_EQ(TextOf(sighting), R"({"port":")" + most + R"("})");
}

TEST(Sighting, OnlyTheFirst255OptionsAreSent) {
  std::vector<uint8_t> options(300);
  std::iota(options.begin(), options.end(), uint8_t{0});
  Sighting sighting;
  sighting.options = options;
  const std::string text = TextOf(sighting);
  EXPECT_TRUE(text.ends_with(",253,254]}")) << text;
}

TEST(Sighting, AFieldThatDoesNotFitIsLeftOutWhole) {
  const std::string longest(255, '\x01');  // 1530 bytes each
  const std::vector<uint8_t> options(255, 200);
  Sighting sighting;
  sighting.feed = "kea";
  sighting.mac = "00:16:aa:00:00:01";
  sighting.options = options;
  sighting.user_agent = longest;
  sighting.vendor_class = longest;
  sighting.host_name = longest;
  sighting.port = "7";
  const std::string text = TextOf(sighting);
  EXPECT_LE(text.size(), kMaxDatagram);
  EXPECT_THAT(text, testing::HasSubstr("\"user_agent\":\"\\u0001"));
  EXPECT_THAT(text, testing::Not(testing::HasSubstr("host_name")));
  EXPECT_TRUE(text.ends_with(R"(,"port":"7"})")) << text;
}

TEST(Sighting, WhateverTheBytesTheDatagramIsOneObjectOfAtMost4096) {
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    std::string texts[6];
    for (std::string& text : texts) {
      text.resize(random() % 400);
      const unsigned kinds = 1U << random() % 9;
      for (char& byte : text)
        byte = static_cast<char>(random() % 256 % (kinds + 32));
    }
    std::vector<uint8_t> options(random() % 300, uint8_t(random()));
    Sighting sighting{"f",      texts[0], texts[1], "lease",  1,        1,       options,
                      texts[2], texts[3], texts[4], texts[5], texts[1], texts[2]};
    const std::string text = TextOf(sighting, random());
    ASSERT_LE(text.size(), kMaxDatagram);
    ASSERT_TRUE(text.starts_with("{\"feed\":\"f\",") && text.ends_with('}')) << text;
    size_t quotes = 0;
    for (size_t at = 0; at < text.size(); ++at) {
      if (text[at] == '\\') {
        ++at;
      } else {
        quotes += text[at] == '"';
      }
      ASSERT_GE(static_cast<uint8_t>(text[at]), 0x20);
    }
    ASSERT_EQ(quotes % 2, 0U) << text;
  }
}

}  // namespace
}  // namespace byod::feeds
