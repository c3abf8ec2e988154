// SPDX-License-Identifier: Apache-2.0
// Device information: what is in one, and making, copying and stripping it.
#include <gtest/gtest.h>

#include <string>

#include "data/internal.h"
#include "support/rule_store_fixture.h"

namespace {

using namespace byod::test;

TEST(DeviceAttribute, ExistsWithAnyOfVendorCategoryAndOs) {
  const ByodDeviceInfo vendor = Info("", "v"), category = Info("", "", "c"),
                       os = Info("", "", "", "o");
  EXPECT_EQ(BYOD_data_IsDeviceAttriExist(&vendor), 1u);
  EXPECT_EQ(BYOD_data_IsDeviceAttriExist(&category), 1u);
  EXPECT_EQ(BYOD_data_IsDeviceAttriExist(&os), 1u);
}

TEST(DeviceAttribute, DoesNotExistInNothing) {
  const ByodDeviceInfo empty = {};
  EXPECT_EQ(BYOD_data_IsDeviceAttriExist(&empty), 0u);
  EXPECT_EQ(BYOD_data_IsDeviceAttriExist(nullptr), 0u);
}

TEST(DeviceInfo, WithANameAloneExistsButHasNoAttribute) {
  const ByodDeviceInfo info = Info("Box");
  EXPECT_EQ(BYOD_data_IsDeviceInfoExist(&info), 1u);
  EXPECT_EQ(BYOD_data_IsDeviceAttriExist(&info), 0u);
}

TEST(DeviceInfo, ExistsWithAnyOfItsTexts) {
  for (const ByodDeviceInfo& info :
       {Info("n"), Info("", "v"), Info("", "", "c"), Info("", "", "", "o")}) {
    EXPECT_EQ(BYOD_data_IsDeviceInfoExist(&info), 1u) << InfoText(&info);
  }
  const ByodDeviceInfo empty = {};
  EXPECT_EQ(BYOD_data_IsDeviceInfoExist(&empty), 0u);
}

TEST(DeviceInfo, IsAbsentWhereTheFirstByteIsNulWhateverFollows) {
  ByodDeviceInfo info = Info("name", "vendor", "category", "os");
  info.name[0] = info.vendor[0] = info.category[0] = info.os[0] = '\0';
  EXPECT_EQ(BYOD_data_IsDeviceInfoExist(&info), 0u);
  EXPECT_EQ(BYOD_data_IsDeviceAttriExist(&info), 0u);
}

TEST(PredefinedRuleModified, OnlyWithAnInformationThatSaysSomething) {
  const ByodDeviceInfo empty = {}, name = Info("n"), os = Info("", "", "", "o");
  EXPECT_EQ(BYOD_data_IsPredefinedRuleModify(BYOD_RULE_PREDEFINED, &name), 1u);
  EXPECT_EQ(BYOD_data_IsPredefinedRuleModify(BYOD_RULE_PREDEFINED, &os), 1u);
  EXPECT_EQ(BYOD_data_IsPredefinedRuleModify(BYOD_RULE_PREDEFINED, &empty), 0u);
  EXPECT_EQ(BYOD_data_IsPredefinedRuleModify(BYOD_RULE_PREDEFINED, nullptr), 0u);
}

TEST(PredefinedRuleModified, NeverForAnotherOrigin) {
  const ByodDeviceInfo empty = {}, full = Info("n", "v", "c", "o");
  for (const uint32_t origin : {1u, 2u, UINT32_MAX}) {
    EXPECT_EQ(BYOD_data_IsPredefinedRuleModify(origin, &full), 0u) << origin;
    EXPECT_EQ(BYOD_data_IsPredefinedRuleModify(origin, &empty), 0u) << origin;
    EXPECT_EQ(BYOD_data_IsPredefinedRuleModify(origin, nullptr), 0u) << origin;
  }
}

TEST(AddedAttribute, IsTheOneThatItsKindNames) {
  const ByodDeviceInfo src = Info("n", "v", "c", "o");
  const char* const expected[] = {"N/v/C/O", "N/V/c/O", "N/V/C/o"};
  for (uint32_t kind = BYOD_ATTR_VENDOR; kind <= BYOD_ATTR_OS; ++kind) {
    ByodDeviceInfo dst = Info("N", "V", "C", "O");
    BYOD_data_AddDeviceAttr(kind, &src, &dst);
    EXPECT_EQ(InfoText(&dst), expected[kind - 1]);
    EXPECT_EQ(InfoText(&src), "n/v/c/o");
  }
}

TEST(AddedAttribute, OfAnotherKindChangesNothing) {
  const ByodDeviceInfo src = Info("n", "v", "c", "o");
  for (const uint32_t kind : {0u, 4u, UINT32_MAX}) {
    ByodDeviceInfo dst = Info("N", "V", "C", "O");
    BYOD_data_AddDeviceAttr(kind, &src, &dst);
    EXPECT_EQ(InfoText(&dst), "N/V/C/O") << kind;
  }
}

TEST(AddedAttribute, NeedsBothInformations) {
  ByodDeviceInfo info = Info("N", "V", "C", "O");
  for (uint32_t kind = 0; kind <= 4; ++kind) {
    BYOD_data_AddDeviceAttr(kind, nullptr, &info);
    BYOD_data_AddDeviceAttr(kind, &info, nullptr);
    BYOD_data_AddDeviceAttr(kind, nullptr, nullptr);
  }
  EXPECT_EQ(InfoText(&info), "N/V/C/O");
}

TEST(AddedAttribute, ThatIsAbsentClearsTheOneThatWasThere) {
  const ByodDeviceInfo src = {};
  ByodDeviceInfo dst = Info("N", "V", "C", "O");
  BYOD_data_AddDeviceAttr(BYOD_ATTR_CATEGORY, &src, &dst);
  EXPECT_EQ(InfoText(&dst), "N/V//O");
}

TEST(AddedAttribute, IsCutAt63CharactersAndTerminated) {
  const std::string full(64, 'x');
  const ByodDeviceInfo src = Info("", full, full, full);
  for (uint32_t kind = BYOD_ATTR_VENDOR; kind <= BYOD_ATTR_OS; ++kind) {
    ByodDeviceInfo dst =
        Info("N", std::string(64, 'V'), std::string(64, 'C'), std::string(64, 'O'));
    BYOD_data_AddDeviceAttr(kind, &src, &dst);
    const char* const field = kind == 1 ? dst.vendor : kind == 2 ? dst.category : dst.os;
    EXPECT_EQ(std::string(field, 64), std::string(63, 'x') + '\0');
    const char* const other = kind == 1 ? dst.category : dst.vendor;
    EXPECT_EQ(std::string(other, 64), std::string(64, kind == 1 ? 'C' : 'V'));
  }
}

TEST(CreatedDeviceInfo, HoldsItsTextsAndZerosElsewhere) {
  const OwnedInfo info(NewInfo("Phone", "Acme", "Mobile", "OS 1"));
  ASSERT_NE(info, nullptr);
  const ByodDeviceInfo expected = Info("Phone", "Acme", "Mobile", "OS 1");
  EXPECT_EQ(std::memcmp(info.get(), &expected, sizeof expected), 0);
}

TEST(CreatedDeviceInfo, OfFourEmptyTextsIsThereAndEmpty) {
  const OwnedInfo info(NewInfo("", "", "", ""));
  ASSERT_NE(info, nullptr);
  const ByodDeviceInfo expected = {};
  EXPECT_EQ(std::memcmp(info.get(), &expected, sizeof expected), 0);
}

TEST(CreatedDeviceInfo, KeepsTheFirst63CharactersOfA200CharacterVendor) {
  std::string vendor;
  for (int i = 0; i < 200; ++i)
    vendor += static_cast<char>('a' + i % 26);
  const OwnedInfo info(NewInfo("", vendor));
  EXPECT_EQ(std::string(info->vendor), vendor.substr(0, 63));
  EXPECT_STREQ(info->category, "");
}

TEST(CreatedDeviceInfo, KeepsAtMost127CharactersOfANameAnd63OfTheOthers) {
  for (const size_t length : {62u, 63u, 64u, 126u, 127u, 128u, 300u}) {
    const std::string text(length, 'x');
    const OwnedInfo info(NewInfo(text, text, text, text));
    EXPECT_EQ(std::strlen(info->name), std::min<size_t>(length, 127));
    EXPECT_EQ(std::strlen(info->vendor), std::min<size_t>(length, 63));
    EXPECT_EQ(std::strlen(info->category), std::min<size_t>(length, 63));
    EXPECT_EQ(std::strlen(info->os), std::min<size_t>(length, 63));
  }
}

// The two strip helpers agree on what they clear and give opposite results.
struct StripCase {
  uint32_t mode;
  const char* name;
  const char* vendor;
  const char* category;
  const char* os;
  bool cleared;
  const char* expected;
};

constexpr StripCase kStripCases[] = {
    {0, "n", "v", "c", "o", true, "/v/c/o"},
    {0, "n", "", "", "o", true, "///o"},
    {0, "n", "", "c", "", true, "//c/"},
    {0, "n", "v", "", "", true, "/v//"},
    {0, "", "v", "c", "o", true, "/v/c/o"},
    {0, "n", "", "", "", false, "n///"},
    {0, "", "", "", "", false, "///"},
    {1, "n", "v", "c", "o", true, "n///"},
    {1, "n", "", "", "", true, "n///"},
    {1, "", "v", "c", "o", false, "/v/c/o"},
    {1, "", "", "", "", false, "///"},
    {2, "n", "v", "c", "o", false, "n/v/c/o"},
    {UINT32_MAX, "n", "v", "c", "o", false, "n/v/c/o"},
};

TEST(StripDeviceInfo, ClearsOneHalfAndGivesZeroIfTheOtherRemains) {
  for (const StripCase& c : kStripCases) {
    ByodDeviceInfo info = Info(c.name, c.vendor, c.category, c.os);
    EXPECT_EQ(byod_data_StripDeviceInfo(c.mode, &info), c.cleared ? 0u : 1u)
        << c.mode << ' ' << c.expected;
    EXPECT_EQ(InfoText(&info), c.expected);
  }
}

TEST(StripDeviceInfo, OfNothingGivesOne) {
  for (const uint32_t mode : {0u, 1u, 2u})
    EXPECT_EQ(byod_data_StripDeviceInfo(mode, nullptr), 1u);
}

TEST(StripDeviceInfoPart, ClearsTheSameAndGivesOneThen) {
  for (const StripCase& c : kStripCases) {
    ByodDeviceInfo info = Info(c.name, c.vendor, c.category, c.os);
    EXPECT_EQ(byod_data_StripDeviceInfoPart(c.mode, &info), c.cleared ? 1u : 0u)
        << c.mode << ' ' << c.expected;
    EXPECT_EQ(InfoText(&info), c.expected);
  }
}

TEST(StripDeviceInfo, ClearsTheFirstCharacterOnly) {
  ByodDeviceInfo info = Info("name", "vendor");
  byod_data_StripDeviceInfo(0, &info);
  EXPECT_EQ(std::string(info.name, 5), std::string("\0ame\0", 5));
}

}  // namespace
