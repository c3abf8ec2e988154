// SPDX-License-Identifier: Apache-2.0
// One statement of the items gives all three forms.
#include <gtest/gtest.h>

#include <sstream>

#include "byodctl/text/listing.h"

namespace byod::ctl {
namespace {

std::string Written(OutputForm form) {
  std::ostringstream out;
  Listing listing(form, {{"NAME", "name"}, {"ADDRESS", "mac"}, {"RIGHTS", "rights"}}, out);
  listing.Add({{"mac", "02:00:00:00:00:01", "02:00:00:00:00:01*"},
               {"seen", 3U},
               {"name", "a\tb"},
               {"rights", {{"vlan", "20"}}, "vlan=20"}});
  listing.Add({{"mac", ""}, {"seen", 0U}, {"name", "", "(bad line)"}, {"rights", {}}});
  listing.Finish("* a note\n");
  return out.str();
}

TEST(Listing, AsATableShowsTheColumnsInTheirOrderAndTheTextsForPeople) {
  EXPECT_EQ(Written(OutputForm::kTable),
            "NAME        ADDRESS             RIGHTS\n"
            "a?b         02:00:00:00:00:01*  vlan=20\n"
            "(bad line)  -                   -\n"
            "* a note\n");
}

TEST(Listing, AsTabSeparatedLinesHasTheKeysAsHeaderAndValuesWithoutMarks) {
  EXPECT_EQ(Written(OutputForm::kTsv),
            "name\tmac\trights\n"
            "a b\t02:00:00:00:00:01\tvlan=20\n"
            "\t\t\n");
}

TEST(Listing, AsJsonHasAllFieldsInTheirOrder) {
  EXPECT_EQ(Written(OutputForm::kJson),
            R"({"mac":"02:00:00:00:00:01","seen":3,"name":"a\tb","rights":{"vlan":"20"}})"
            "\n"
            R"({"mac":"","seen":0,"name":"","rights":null})"
            "\n");
}

TEST(Listing, WithoutItemsIsAHeadingOrNothing) {
  for (const auto& [form, expected] : {std::pair{OutputForm::kTable, "KEY\n"},
                                       {OutputForm::kTsv, "key\n"},
                                       {OutputForm::kJson, ""}}) {
    std::ostringstream out;
    Listing listing(form, {{"KEY", "key"}}, out);
    listing.Finish();
    EXPECT_EQ(out.str(), expected);
  }
}

}  // namespace
}  // namespace byod::ctl
