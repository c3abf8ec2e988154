// SPDX-License-Identifier: Apache-2.0
// Rules by text without regard to case, against a plain map.
#include "data/containers/text_index.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "data/fold_case.h"
#include "support/emulation.h"
#include "support/equal_hashes.h"
#include "support/failing_allocator.h"

namespace {

using byod::data::TextIndex;

std::string Lower(std::string text) {
  for (char& c : text)
    c = static_cast<char>(byod::FoldCase(c));
  return text;
}

class TextIndexTest : public testing::Test {
 protected:
  ~TextIndexTest() override { index_.Clear(); }

  /// A rule is recognized by its address alone.
  void* Add(const std::string& text) {
    EXPECT_TRUE(index_.Prepare(text.c_str()));
    void* const rule = &rules_[used_++ % rules_.size()];
    index_.Insert(rule);
    return rule;
  }
  void* Find(const std::string& text) const { return index_.Find(text.c_str()); }
  void Remove(const std::string& text, const void* rule, void* next = nullptr) {
    index_.Remove(text.c_str(), rule, [next](const char*) { return next; });
  }

  TextIndex index_;
  std::vector<char> rules_ = std::vector<char>(100000);
  size_t used_ = 0;
};

TEST_F(TextIndexTest, TextOfEveryLengthAndKindIsFoundAndNoOtherOne) {
  // Options; their neighbours in the alphabet, of which two are no options; any bytes.
  for (const std::string alphabet : {"0123456789,", "+,-./0123456789:;<", "aZ5,\x80\xFF@[`{"}) {
    for (size_t length = 0; length < 256; ++length) {
      std::string text;
      for (size_t i = 0; i < length; ++i)
        text += alphabet[(i * 7 + i / 5) % alphabet.size()];
      ASSERT_EQ(Find(text), nullptr) << text;
      void* const rule = Add(text);
      ASSERT_EQ(Find(text), rule) << text;
      ASSERT_EQ(Find(Lower(text)), rule) << text;
      ASSERT_EQ(Find(text + '0'), nullptr) << text;
      for (size_t i = 0; i < length; ++i) {
        std::string other = text;
        // Characters that differ in one half of the byte alone.
        for (const int change : {0x01, 0x10, 0x40, 0x80}) {
          other[i] = static_cast<char>(text[i] ^ change);
          if (other[i] == '\0' || Lower(other) == Lower(text)) continue;
          ASSERT_EQ(Find(other), nullptr) << text << " and " << other;
        }
      }
      Remove(text, rule);
      ASSERT_EQ(Find(text), nullptr) << text;
    }
  }
}

TEST_F(TextIndexTest, CaseDoesNotCountForLettersOnly) {
  void* const rule = Add("Android @[`{ \xC4");
  EXPECT_EQ(Find("aNDROID @[`{ \xC4"), rule);
  EXPECT_EQ(Find("Android `[`{ \xC4"), nullptr);
  EXPECT_EQ(Find("Android @{`{ \xC4"), nullptr);
  EXPECT_EQ(Find("Android @[`{ \xE4"), nullptr);
}

TEST_F(TextIndexTest, TextLongerThanThatOfAnyRuleIsNotFound) {
  EXPECT_FALSE(index_.Prepare(std::string(256, '1').c_str()));
  void* const rule = Add(std::string(255, '1'));
  EXPECT_EQ(Find(std::string(256, '1')), nullptr);
  EXPECT_EQ(Find(std::string(255, '1')), rule);
}

TEST_F(TextIndexTest, TextsWithEqualHashesAreDistinguished) {
  for (const char begin : {'t', '7'}) {
    const auto pairs = byod::test::PairsWithEqualHashes(begin, [](const std::string& text) {
      byod::data::FoldedText folded;
      EXPECT_TRUE(folded.Make(text.c_str()));
      return folded.hash();
    });
    EXPECT_GT(pairs.size(), 0u);
    for (const auto& [text, other] : pairs) {
      void* const rule = Add(text);
      EXPECT_EQ(Find(other), nullptr);
      void* const second = Add(other);
      EXPECT_EQ(Find(text), rule);
      EXPECT_EQ(Find(other), second);
      Remove(text, rule);
      EXPECT_EQ(Find(text), nullptr);
      EXPECT_EQ(Find(other), second);
      Remove(other, second);
    }
  }
}

TEST_F(TextIndexTest, AnswersAsAMapWhileTextsComeAndGo) {
  for (uint32_t seed = 1; seed <= 4; ++seed) {
    std::mt19937 random(seed);
    std::map<std::string, std::vector<void*>> model;  // the newest last
    const uint32_t variety = seed % 2 == 0 ? 300 : 20000;
    const auto any_text = [&] {
      const uint32_t number = random() % variety;
      const std::string text = std::to_string(number * 7919);
      return number % 3 == 0 ? text + ",1,3,6,15" + std::string(number % 100, '7')
                             : (random() % 2 == 0 ? "Key " : "kEY ") + text;
    };
    uint32_t count = 0;
    for (int step = 0; step < support::StepsHere(40000); ++step) {
      const std::string text = any_text();
      auto& rules = model[Lower(text)];
      ASSERT_EQ(Find(text), rules.empty() ? nullptr : rules.back()) << text;
      if (random() % 5 < 3) {
        rules.push_back(Add(text));
        ++count;
      } else if (!rules.empty()) {
        const size_t which = random() % rules.size();
        void* const rule = rules[which];
        rules.erase(rules.begin() + static_cast<ptrdiff_t>(which));
        Remove(text, rule, rules.empty() ? nullptr : rules.back());
        --count;
      }
      ASSERT_EQ(index_.rules(), count);
    }
    for (const auto& [text, rules] : model)
      ASSERT_EQ(Find(text), rules.empty() ? nullptr : rules.back()) << text;
    index_.Clear();
    for (const auto& [text, rules] : model)
      ASSERT_EQ(Find(text), nullptr) << text;
  }
}

// A caller may have taken the older rules out of their chain.
TEST_F(TextIndexTest, TextWhoseRulesAreAllGoneLeavesItsMemoryToOthers) {
  void* const first = Add("first");
  Remove("first", first);
  const support::FailingAllocation counting(0);
  for (int i = 0; i < 1000; ++i) {
    const std::string text = "a" + std::to_string(i);
    Add(text);
    Remove(text, Add(text), nullptr);
    ASSERT_EQ(Find(text), nullptr);
  }
  EXPECT_EQ(counting.Count(), 0u);
}

TEST_F(TextIndexTest, PreparingWithoutMemoryFailsAndChangesNothing) {
  std::map<std::string, void*> model;
  uint32_t failures = 0;
  for (int i = 0; i < 400; ++i) {
    const std::string text = std::to_string(i) + std::string(static_cast<size_t>(i) / 2, 'x');
    for (uint32_t failing = 1;; ++failing) {
      bool prepared = false;
      bool failed = false;
      {
        support::FailingAllocation allocation(failing);
        prepared = index_.Prepare(text.c_str());
        failed = allocation.Failed();
      }
      ASSERT_EQ(prepared, !failed);
      if (!failed) break;
      ++failures;
      ASSERT_EQ(index_.rules(), model.size());
      for (const auto& [known, rule] : model)
        ASSERT_EQ(Find(known), rule) << known;
      ASSERT_EQ(Find(text), nullptr);
    }
    model[text] = Add(text);
  }
  EXPECT_GE(failures, 10u);
}

}  // namespace
