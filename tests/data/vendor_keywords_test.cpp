// SPDX-License-Identifier: Apache-2.0
// The built-in keywords from which a vendor is derived.
#include <gtest/gtest.h>

#include <string>

#include "support/rule_store_fixture.h"

namespace {

using namespace byod::test;

struct Row {
  const char* keyword;
  const char* vendor;
};

constexpr Row kRows[] = {
    {"samsung", "Samsung"},
    {"galaxy", "Samsung"},
    {"apple", "Apple"},
    {"mac os x", "Apple"},
    {"iphone", "Apple"},
    {"ipod", "Apple"},
    {"ipad", "Apple"},
    {"xbox", "Microsoft"},
    {"windows", "PC"},
    {"cisco", "Cisco"},
    {"blackberry", "BlackBerry"},
    {"nokia", "Nokia"},
    {"lumia", "Nokia"},
    {"meego", "Nokia"},
    {"sony", "Sony"},
    {"playstation", "Sony"},
    {"ps vita", "Sony"},
    {"nexus", "Google"},
    {"lg", "LG"},
    {"ally", "LG"},
    {"optimus big", "LG"},
    {"optimus chat", "LG"},
    {"d-link", "PC"},
    {"htc", "HTC"},
    {"desire hd", "HTC"},
    {"moto", "Moto"},
    {"atrix", "Moto"},
    {"xoom", "Moto"},
    {"droid razr hd", "Moto"},
    {"xiaomi", "Xiaomi"},
    {"lenovo", "Lenovo"},
    {"meizu", "Meizu"},
    {"oneplus", "OnePlus"},
    {"smartisan", "Smartisan"},
    {"letv", "Letv"},
    {"zte", "ZTE"},
    {"bbk", "BBK"},
    {"oppo", "OPPO"},
    {"vivo", "VIVO"},
    {"lemobile", "Letv"},
    {"atheros", "PC"},
    {"netgear", "PC"},
    {"asustek", "PC"},
    {"broadcom", "PC"},
    {"tp-link", "PC"},
    {"intel", "PC"},
};
static_assert(std::size(kRows) == 46);

class VendorKeywords : public RuleStoreTest {
 protected:
  VendorKeywords() {
    const ByodDeviceInfo info = Info("type");
    BYOD_data_AddFileDhcpOptionRule("1", &info);
    rule_ = BYOD_data_FindDhcpOptionRule("1");
    fp_.option_length = 1;
    fp_.options[0] = 1;
  }

  std::string VendorOf(const std::string& type) {
    Fill(rule_->predefined->name, type);
    char vendor[64] = "";
    EXPECT_EQ(BYOD_data_GetDeviceVendorByFingerPrint(&fp_, sizeof vendor, vendor), 0u) << type;
    return vendor;
  }

  ByodFingerPrint fp_ = {};
  ByodDhcpOptionRule* rule_;
};

std::string UpperCase(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

TEST_F(VendorKeywords, NameTheirVendorsWhereverAndInWhateverCaseTheyStand) {
  for (const auto& [keyword, vendor] : kRows) {
    EXPECT_EQ(VendorOf(keyword), vendor);
    EXPECT_EQ(VendorOf(UpperCase(keyword)), vendor);
    EXPECT_EQ(VendorOf(std::string("# ") + keyword + " 9"), vendor);
    EXPECT_EQ(VendorOf(std::string(120 - std::strlen(keyword), '#') + keyword), vendor);
  }
}

TEST_F(VendorKeywords, NameNobodyWhenALetterIsMissing) {
  for (const auto& [keyword, vendor] : kRows) {
    const std::string whole = keyword;
    EXPECT_EQ(VendorOf(whole.substr(1)), "unknown") << keyword;
    EXPECT_EQ(VendorOf(whole.substr(0, whole.size() - 1)), "unknown") << keyword;
  }
}

// For two rows the earlier one wins, wherever its keyword stands.
TEST_F(VendorKeywords, AreTriedInTheirOrder) {
  for (size_t first = 0; first < std::size(kRows); ++first) {
    for (size_t second = first + 1; second < std::size(kRows); ++second) {
      const std::string a = kRows[first].keyword, b = kRows[second].keyword;
      EXPECT_EQ(VendorOf(a + "#" + b), kRows[first].vendor);
      EXPECT_EQ(VendorOf(b + "#" + a), kRows[first].vendor);
    }
  }
}

TEST_F(VendorKeywords, OccurInsideWords) {
  EXPECT_EQ(VendorOf("Algae reader"), "LG");
  EXPECT_EQ(VendorOf("Finally"), "LG");
  EXPECT_EQ(VendorOf("Remotor"), "Moto");
}

TEST_F(VendorKeywords, AreNotLookedForInBytesAbove127) {
  EXPECT_EQ(VendorOf("\xCC\xC7"), "unknown");
}

}  // namespace
