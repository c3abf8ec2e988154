// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/background_agents.h"

#include <gtest/gtest.h>

#include "rulefiles/reports.h"

namespace byod::rulefiles {
namespace {

TEST(BackgroundAgents, AnExpressionMatchesAsThatOfARule) {
  Reports reports;
  const auto agents = ReadBackgroundAgents({"b.csv",
                                            "expression,purpose,example\n"
                                            "CaptiveNetworkSupport,check,CaptiveNetworkSupport-1\n"
                                            "Linux&&Check||NCSI,check,\n"},
                                           reports.diagnostics);
  ASSERT_EQ(agents.size(), 2u);
  EXPECT_EQ(reports.texts, std::vector<std::string>{});
  EXPECT_TRUE(IsBackground(agents, "CaptiveNetworkSupport-390 wispr"));
  EXPECT_TRUE(IsBackground(agents, "Microsoft NCSI"));
  EXPECT_TRUE(IsBackground(agents, "a Check of Linux"));
  EXPECT_FALSE(IsBackground(agents, "Linux"));
  EXPECT_FALSE(IsBackground({}, "Microsoft NCSI"));
}

TEST(BackgroundAgents, ARowThatCannotBeUsedIsReportedAndLeftOut) {
  Reports reports;
  const auto agents = ReadBackgroundAgents({"b.csv",
                                            "expression,purpose,example\n"
                                            ",nothing,\n"
                                            "abc,another example,xyz\n"
                                            "def,,def\n"
                                            "def,again,\n"},
                                           reports.diagnostics);
  ASSERT_EQ(agents.size(), 1u);
  EXPECT_EQ(agents[0].expression, "def");
  ASSERT_EQ(reports.texts.size(), 3u);
  EXPECT_EQ(reports.texts[1], "b.csv:3: \"abc\" does not match its example");
  EXPECT_EQ(reports.texts[2], "b.csv:5: \"def\" is also that of b.csv:4");
}

}  // namespace
}  // namespace byod::rulefiles
