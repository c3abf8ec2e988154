// SPDX-License-Identifier: Apache-2.0
// Identification in the current order: attributes, type, and the vendor derived from the type.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/identification_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;
using testing::ElementsAre;
using testing::IsEmpty;

class Identification : public IdentificationTest {};

TEST_F(Identification, NeedsFingerprintAndResult) {
  DhcpRule(Info("n", "v"));
  ByodDeviceAttribute attr = KnownAttributes("v");
  char out[8] = "x";
  EXPECT_EQ(BYOD_data_GetDeviceAttributeByFingerPrint(nullptr, &attr), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceAttributeByFingerPrint(&fp_, nullptr), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceTypeByFingerPrint(nullptr, sizeof out, out), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceTypeByFingerPrint(&fp_, 8, nullptr), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceVendorByFingerPrint(nullptr, sizeof out, out), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceVendorByFingerPrint(&fp_, 8, nullptr), kFailed);
  EXPECT_STREQ(out, "x");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Identification, FillsFromLaterMethodsWhatEarlierOnesLeaveEmptyAndStopsWhenAllIsKnown) {
  DhcpRule(Info("", "dhcp vendor"));
  UserAgentRule(Info("", "agent vendor", "agent category", "agent os"));
  MacRule(Info("", "mac vendor", "mac category", "mac os"));
  EXPECT_EQ(Attributes(), "dhcp vendor/agent category/agent os");
  EXPECT_THAT(log_.lines(), ElementsAre(AttributeLine(0, "dhcp vendor//"),
                                        AttributeLine(1, "dhcp vendor/agent category/agent os")));
}

TEST_F(Identification, StopsAtTheFirstMethodThatKnowsAll) {
  DhcpRule(Info("", "v", "c", "o"));
  UserAgentRule(Info("", "V", "C", "O"));
  EXPECT_EQ(Attributes(), "v/c/o");
  EXPECT_THAT(log_.lines(), ElementsAre(AttributeLine(0, "v/c/o")));
}

TEST_F(Identification, OfAPartIsASuccess) {
  MacRule(Info("", "", "", "o"));
  EXPECT_EQ(Attributes(), "//o");
  EXPECT_THAT(log_.lines(), ElementsAre(AttributeLine(2, "//o")));
}

TEST_F(Identification, OfNothingFailsUnlessTheCallerBroughtAField) {
  EXPECT_EQ(Attributes(), "failed //");
  EXPECT_EQ(Attributes(KnownAttributes("v")), "v//");
  EXPECT_EQ(Attributes(KnownAttributes("", "c")), "/c/");
  EXPECT_EQ(Attributes(KnownAttributes("", "", "o")), "//o");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Identification, NeverOverwritesWhatTheCallerBrought) {
  DhcpRule(Info("", "v", "c", "o"));
  EXPECT_EQ(Attributes(KnownAttributes("", "mine")), "v/mine/o");
}

TEST_F(Identification, StillAsksWhenTheCallerBroughtAll) {
  DhcpRule(Info("", "v"));
  UserAgentRule(Info("", "v"));
  EXPECT_EQ(Attributes(KnownAttributes("a", "b", "c")), "a/b/c");
  EXPECT_THAT(log_.lines(), ElementsAre(AttributeLine(0, "a/b/c")));
}

TEST_F(Identification, WithNothingKnownGivesTheLastMethodsResult) {
  Make<DhcpOptionRules>(std::string("1,3,6"), BYOD_RULE_CUSTOM);  // found, says nothing
  EXPECT_EQ(Attributes(), "failed //");                           // the others find nothing
  SetOrder(1, 2, 0);
  EXPECT_EQ(Attributes(), "//");
  SetOrder(0, 9, 9);
  EXPECT_EQ(Attributes(), "//");
  SetOrder(0, 1, 9);
  EXPECT_EQ(Attributes(), "failed //");
}

// ---------------------------------------------------------------- order

TEST_F(Identification, TriesTheMethodsInTheCurrentOrder) {
  DhcpRule(Info("d", "d"));
  UserAgentRule(Info("u", "u"));
  MacRule(Info("m", "m"));
  const uint32_t orders[][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (const auto& order : orders) {
    SetOrder(order[0], order[1], order[2]);
    const std::string first(1, "dum"[order[0]]);
    EXPECT_EQ(Attributes(), first + "//");
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(order[0], first + "//"),
                                         AttributeLine(order[1], first + "//"),
                                         AttributeLine(order[2], first + "//")));
    EXPECT_EQ(Type(), first);
    EXPECT_THAT(log_.Take(), ElementsAre(TypeLine(order[0], first)));
  }
}

TEST_F(Identification, EndsAtASlotThatNamesNoMethod) {
  DhcpRule(Info("d", "d"));
  UserAgentRule(Info("u", "", "u"));
  MacRule(Info("", "", "", "m"));
  SetOrder(2, 9, 0);
  EXPECT_EQ(Attributes(), "//m");
  EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(2, "//m")));
  EXPECT_EQ(Type(), "failed ");
  EXPECT_THAT(log_.Take(), IsEmpty());

  SetOrder(1, 5, 0);
  EXPECT_EQ(Attributes(), "/u/");
  EXPECT_EQ(Type(), "u");
  SetOrder(1, 0, 3);
  EXPECT_EQ(Attributes(), "d/u/");
  SetOrder(UINT32_MAX, 0, 1);
  EXPECT_EQ(Attributes(), "failed //");
  EXPECT_EQ(Type(), "failed ");
}

TEST_F(Identification, TriesAMethodAsOftenAsItIsNamed) {
  MacRule(Info("", "v"));
  SetOrder(2, 2, 2);
  EXPECT_EQ(Attributes(), "v//");
  EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(2, "v//"), AttributeLine(2, "v//"),
                                       AttributeLine(2, "v//")));
}

// ---------------------------------------------------------------- type

TEST_F(Identification, GivesTheFirstTypeThatAMethodFinds) {
  DhcpRule(Info("", "v"));  // no name
  UserAgentRule(Info("agent"));
  MacRule(Info("address"));
  EXPECT_EQ(Type(), "agent");
  EXPECT_THAT(log_.lines(), ElementsAre(TypeLine(1, "agent")));
}

TEST_F(Identification, GoesOnFromATypeThatDoesNotFit) {
  DhcpRule(Info("a name of 24 characters."));
  UserAgentRule(Info("short"));
  EXPECT_EQ(Type(25), "a name of 24 characters.");
  EXPECT_EQ(Type(24), "short");
  EXPECT_EQ(Type(5), "failed ");
  EXPECT_THAT(log_.Take(),
              ElementsAre(TypeLine(0, "a name of 24 characters."), TypeLine(1, "short")));
}

TEST_F(Identification, OfNoTypeEmptiesTheOutput) {
  EXPECT_EQ(Type(), "failed ");
  EXPECT_EQ(Type(1), "failed ");
  SetOrder(9, 9, 9);
  EXPECT_EQ(Type(), "failed ");
}

TEST_F(Identification, WritesNothingIntoNoRoom) {
  DhcpRule(Info("n"));
  EXPECT_EQ(Type(0), "failed ");
  EXPECT_EQ(Vendor(0), "");
}

TEST_F(Identification, TypeOf128CharactersFailsInto128Bytes) {
  DhcpRule(Info("x"));
  ByodDhcpOptionRule* rule = BYOD_data_FindDhcpOptionRule("1,3,6");
  Fill(rule->predefined->name, std::string(127, 'n'));
  EXPECT_EQ(Type(128), std::string(127, 'n'));
  EXPECT_EQ(Type(127), "failed ");
  Fill(rule->predefined->name, std::string(128, 'n'));
  EXPECT_EQ(Type(128), "failed ");
}

// ---------------------------------------------------------------- vendor

TEST_F(Identification, DerivesTheVendorFromTheType) {
  MakeModified<UserAgentRules>(std::string("iPhone"), Info("Unknown Box", "Apple"),
                               Info("Galaxy Tab"));
  EXPECT_EQ(Vendor(), "Samsung");
  EXPECT_THAT(log_.lines(), ElementsAre(TypeLine(1, "Galaxy Tab")));
}

TEST_F(Identification, OfATypeWithoutKeywordHasAnUnknownVendor) {
  UserAgentRule(Info("Unknown Box", "Apple"));
  EXPECT_EQ(Vendor(), "unknown");
}

TEST_F(Identification, WithoutATypeHasNoVendor) {
  UserAgentRule(Info("", "Apple", "c", "o"));
  EXPECT_EQ(Vendor(), "failed ");
}

TEST_F(Identification, CutsTheVendorToItsRoom) {
  UserAgentRule(Info("GALAXY"));
  EXPECT_EQ(Vendor(8), "Samsung");
  EXPECT_EQ(Vendor(7), "Samsun");
  EXPECT_EQ(Vendor(1), "");
  BYOD_DeleteUserAgent(BYOD_data_FindUserAgentRule("iPhone"));
  UserAgentRule(Info("Box"));
  EXPECT_EQ(Vendor(4), "unk");
}

TEST_F(Identification, ReadsTheTypeForTheVendorWhateverItsRoom) {
  UserAgentRule(Info(std::string(121, '-') + "iPhone"));
  EXPECT_EQ(Vendor(6), "Apple");
}

}  // namespace
