// SPDX-License-Identifier: Apache-2.0
// The search by halves in the User-Agent rules in byte order of keywords, over lists that the tests
// link by hand.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "data/internal.h"
#include "support/rule_store_fixture.h"

namespace {

using namespace byod::test;

constexpr int kUntouched = 4711;

int Sign(int order) {
  return (order > 0) - (order < 0);
}

class RuleListSearch : public RuleStoreTest {
 protected:
  ~RuleListSearch() override { *BYOD_data_GetUserAgentRuleList() = nullptr; }

  /// Makes these the list, in this order.
  void Link(const std::vector<std::string>& keywords) {
    ByodLink** place = BYOD_data_GetUserAgentRuleList();
    *place = nullptr;
    rules_.clear();
    for (const std::string& keyword : keywords) {
      auto rule = std::make_unique<ByodUserAgentRule>();
      Fill(rule->keyword, keyword);
      rule->list_link.prev = place;
      *place = &rule->list_link;
      place = &rule->list_link.next;
      rules_.push_back(std::move(rule));
    }
  }

  /// "keyword<" when it belongs before it, "=", ">" behind it; "none" when there is no rule.
  static std::string Search(uint32_t count, const std::string& name) {
    int cmp = kUntouched;
    const ByodUserAgentRule* const rule =
        byod_data_SearchUserAgentRuleList(count, name.c_str(), &cmp);
    if (rule == nullptr) return cmp == kUntouched ? "none" : "none, but cmp was written";
    return std::string(rule->keyword) + "<=>"[Sign(cmp) + 1];
  }

  std::vector<std::unique_ptr<ByodUserAgentRule>> rules_;
};

TEST_F(RuleListSearch, InAnEmptyListGivesNone) {
  EXPECT_EQ(Search(0, "a"), "none");
  EXPECT_EQ(Search(1, "a"), "none");
  EXPECT_EQ(Search(UINT32_MAX, "a"), "none");
}

TEST_F(RuleListSearch, OfNoRuleGivesNone) {
  Link({"a", "b"});
  EXPECT_EQ(Search(0, "a"), "none");
}

TEST_F(RuleListSearch, FindsEveryRule) {
  Link({"a", "b", "c", "d", "e", "f", "g"});
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g"})
    EXPECT_EQ(Search(7, name), std::string(name) + "=");
}

TEST_F(RuleListSearch, EndsAtANeighbourOfWhatIsNotThere) {
  Link({"b", "d", "f"});
  EXPECT_EQ(Search(3, "a"), "b<");
  EXPECT_EQ(Search(3, "c"), "b>");
  EXPECT_EQ(Search(3, "e"), "f<");
  EXPECT_EQ(Search(3, "g"), "f>");
}

TEST_F(RuleListSearch, GoesByBytesUnsignedAndByCase) {
  Link({"Android", "iPhone", "ipad", "\xC4"});
  EXPECT_EQ(Search(4, "iPhone"), "iPhone=");
  EXPECT_EQ(Search(4, "IPHONE"), "Android>");
  EXPECT_EQ(Search(4, "z"), "\xC4<");
  EXPECT_EQ(Search(4, "\xFF"), "\xC4>");
}

TEST_F(RuleListSearch, OfALengthSeesItsFirstRulesOnly) {
  Link({"a", "b", "c", "d", "e"});
  EXPECT_EQ(Search(1, "e"), "a>");
  EXPECT_EQ(Search(2, "e"), "b>");
  EXPECT_EQ(Search(3, "d"), "c>");
}

TEST_F(RuleListSearch, GivesNoneWhereAStepReachesPastTheEnd) {
  Link({"a", "b", "c"});
  // The steps with 5 are: the 3rd, then the 1st or the 4th.
  EXPECT_EQ(Search(5, "c"), "c=");
  EXPECT_EQ(Search(5, "a"), "a=");
  EXPECT_EQ(Search(5, "b"), "b=");
  EXPECT_EQ(Search(5, "bb"), "b>");
  EXPECT_EQ(Search(5, "d"), "none");
  // With 7 the first is the 4th already.
  EXPECT_EQ(Search(7, "a"), "none");
  EXPECT_EQ(Search(6, "a"), "a=");
}

TEST_F(RuleListSearch, TakesCountsUpToTheGreatest) {
  Link({"a", "b", "c"});
  EXPECT_EQ(Search(UINT32_MAX, "a"), "none");
  EXPECT_EQ(Search(UINT32_MAX - 1, "c"), "none");
  EXPECT_EQ(Search(0x80000000u, "c"), "none");
}

TEST_F(RuleListSearch, OfEqualKeywordsGivesTheOneThatItsStepsMeet) {
  Link({"a", "b", "b", "b", "c"});
  int cmp = kUntouched;
  EXPECT_EQ(byod_data_SearchUserAgentRuleList(5, "b", &cmp), rules_[2].get());
  EXPECT_EQ(cmp, 0);
  EXPECT_EQ(byod_data_SearchUserAgentRuleList(3, "b", &cmp), rules_[1].get());
}

TEST_F(RuleListSearch, InAListOutOfOrderGoesByItsSteps) {
  Link({"e", "d", "c", "b", "a"});
  EXPECT_EQ(Search(5, "c"), "c=");
  EXPECT_EQ(Search(5, "e"), "a>");
  EXPECT_EQ(Search(5, "a"), "e<");
}

TEST_F(RuleListSearch, SeesWhatIsLinkedBehindTheHeadByHand) {
  Link({"a", "e"});
  EXPECT_EQ(Search(2, "e"), "e=");
  auto between = std::make_unique<ByodUserAgentRule>();
  Fill(between->keyword, "c");
  ByodLink& first = rules_[0]->list_link;
  ByodLink& last = rules_[1]->list_link;
  between->list_link = {&last, &first.next};
  first.next = &between->list_link;
  last.prev = &between->list_link.next;
  EXPECT_EQ(Search(3, "c"), "c=");
  EXPECT_EQ(Search(3, "e"), "e=");
}

// The plain reading, over a vector.
struct Landing {
  int at = -1;  // -1: none
  int order = 0;
  bool operator==(const Landing&) const = default;
};

Landing Walk(const std::vector<std::string>& keywords, uint32_t count, const std::string& name) {
  Landing landing;
  int64_t lo = 1, hi = count;
  if (keywords.empty()) return landing;
  while (lo <= hi) {
    const int64_t mid = (lo + hi) / 2;
    if (mid > static_cast<int64_t>(keywords.size())) return {};
    const auto at = static_cast<size_t>(mid - 1);
    landing = {static_cast<int>(at), Sign(name.compare(keywords[at]))};
    if (landing.order == 0) break;
    if (landing.order < 0) {
      hi = mid - 1;
    } else {
      lo = mid + 1;
    }
  }
  return landing;
}

TEST_F(RuleListSearch, AgreesWithTheWalkByHalvesForEveryLengthAndCount) {
  std::vector<std::string> keywords;
  for (uint32_t length = 0; length <= 18; ++length) {
    Link(keywords);
    for (uint32_t count = 0; count <= length + 4; ++count) {
      for (char name = 'a'; name <= 'p'; ++name) {
        int cmp = kUntouched;
        const ByodUserAgentRule* const rule =
            byod_data_SearchUserAgentRuleList(count, std::string(1, name).c_str(), &cmp);
        Landing landing;
        for (size_t i = 0; rule != nullptr && i < rules_.size(); ++i) {
          if (rules_[i].get() == rule) landing = {static_cast<int>(i), Sign(cmp)};
        }
        ASSERT_EQ(landing, Walk(keywords, count, std::string(1, name)))
            << length << ' ' << count << ' ' << name;
        ASSERT_TRUE(rule != nullptr || cmp == kUntouched);
      }
    }
    // Gaps and equal keywords alike.
    keywords.push_back(std::string(1, static_cast<char>('b' + length * 2 / 3)));
  }
}

}  // namespace
