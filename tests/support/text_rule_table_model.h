// SPDX-License-Identifier: Apache-2.0
// A table of rules keyed by text, as plain vectors, and random steps that are taken in the table
// and in the model alike.
#ifndef BYOD_TESTS_SUPPORT_TEXT_RULE_TABLE_MODEL_H
#define BYOD_TESTS_SUPPORT_TEXT_RULE_TABLE_MODEL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/choices.h"
#include "support/model_info.h"
#include "support/rule_lists.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace byod::test {

inline char Fold(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string Folded(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), Fold);
  return text;
}

inline uint32_t BucketOf(const std::string& text) {
  uint32_t hash = 2166136261u;
  for (const char c : text)
    hash = (hash * 16777619u) ^ static_cast<unsigned char>(Fold(c));
  return hash % 1024;
}

// The place where a search by halves over `count` ends in a list, by the definition: walked.
struct Place {
  size_t index;
  int order;
};

template <typename Rule, typename Order>
std::optional<Place> Search(const std::vector<Rule*>& list, uint32_t count, Order order) {
  std::optional<Place> place;
  int64_t lo = 1, hi = count;
  while (lo <= hi) {
    const int64_t mid = (lo + hi) / 2;
    if (mid > static_cast<int64_t>(list.size())) return std::nullopt;
    const auto index = static_cast<size_t>(mid - 1);
    place = Place{index, order(list[index])};
    if (place->order == 0) break;
    if (place->order < 0) {
      hi = mid - 1;
    } else {
      lo = mid + 1;
    }
  }
  return place;
}

/// One table, as plain vectors of its rules' addresses.
template <typename Rules>
class TextRuleTableModel {
 public:
  using Rule = typename Rules::Rule;
  static constexpr bool kHasMatchList = std::is_same_v<Rules, UserAgentRules>;

  struct State {
    std::string text;
    uint32_t origin;
    std::optional<ModelInfo> predefined, configured;
  };

  explicit TextRuleTableModel(uint32_t limit) : limit_(limit) {}

  uint32_t count = 0;
  uint32_t custom = 0;

  bool Refuses(uint32_t origin) const {
    return origin == 1 && limit_ != UINT32_MAX && custom >= limit_;
  }

  void Add(Rule* rule, State state) {
    const std::string text = state.text;
    chains_[BucketOf(text)].insert(chains_[BucketOf(text)].begin(), rule);
    count_custom(state.origin, 1);
    added_.push_back(rule);
    rules_[rule] = std::move(state);
    Insert(list_, rule, [&](Rule* other) { return text.compare(rules_[other].text); });
    if constexpr (kHasMatchList) {
      const auto length = static_cast<int>(text.size());
      Insert(match_, rule,
             [&](Rule* other) { return static_cast<int>(rules_[other].text.size()) - length; });
    }
    ++count;
  }

  void Erase(Rule* rule) {
    std::erase(chains_[BucketOf(rules_[rule].text)], rule);
    std::erase(added_, rule);
    std::erase(list_, rule);
    std::erase(match_, rule);
    --count;
    count_custom(rules_[rule].origin, -1);
    rules_.erase(rule);
  }

  Rule* Find(const std::string& text) const {
    const auto chain = chains_.find(BucketOf(text));
    if (chain == chains_.end()) return nullptr;
    for (Rule* rule : chain->second) {
      if (Folded(rules_.at(rule).text) == Folded(text)) return rule;
    }
    return nullptr;
  }

  Rule* Next(const std::string& text) const {
    if (list_.empty()) return nullptr;
    if (text < rules_.at(list_[0]).text) return list_[0];
    const auto place =
        Search(list_, count, [&](Rule* other) { return text.compare(rules_.at(other).text); });
    if (!place) return nullptr;
    return place->order < 0 ? list_[place->index] : At(place->index + 1);
  }

  /// The next of a rule found without regard to case.
  Rule* NextOf(const std::string& text) const {
    Rule* const rule = text.empty() ? nullptr : Find(text);
    if (rule == nullptr) return Next(text);
    const auto at = std::find(list_.begin(), list_.end(), rule);
    return at == list_.end() ? nullptr : At(static_cast<size_t>(at - list_.begin()) + 1);
  }

  State& operator[](Rule* rule) { return rules_.at(rule); }
  size_t size() const { return rules_.size(); }
  Rule* Nth(size_t n) const { return added_[n]; }

  void ExpectSameOrders() const {
    ASSERT_EQ(Rules::Count(), count);
    ASSERT_EQ(Rules::Table().custom_count, custom);
    ASSERT_EQ(InList<Rules>(), list_);
    if constexpr (kHasMatchList) {
      ASSERT_EQ(InMatchList(), match_);
    }
    for (const auto& [bucket, chain] : chains_)
      ASSERT_EQ(InBucket<Rules>(bucket), chain) << bucket;
  }

  void ExpectSameRules() const {
    for (const auto& [rule, state] : rules_) {
      ASSERT_EQ(std::string(Rules::Text(*rule)), state.text);
      ASSERT_EQ(rule->origin, state.origin);
      ASSERT_EQ(rule->modified, 0);
      ASSERT_EQ(InfoText(rule->predefined), InfoText(state.predefined)) << state.text;
      ASSERT_EQ(InfoText(rule->configured), InfoText(state.configured)) << state.text;
    }
    size_t chained = 0;
    for (uint32_t bucket = 0; bucket < 1024; ++bucket)
      chained += InBucket<Rules>(bucket).size();
    ASSERT_EQ(chained, rules_.size());
  }

 private:
  void count_custom(uint32_t origin, int by) {
    if (origin == 1) custom += static_cast<uint32_t>(by);
  }

  Rule* At(size_t index) const { return index < list_.size() ? list_[index] : nullptr; }

  template <typename Order>
  void Insert(std::vector<Rule*>& list, Rule* rule, Order order) {
    if (list.empty()) return list.push_back(rule);
    const auto place = Search(list, count, order);
    if (!place) return;
    const size_t index = place->order < 0 ? place->index : place->index + 1;
    list.insert(list.begin() + static_cast<ptrdiff_t>(index), rule);
  }

  uint32_t limit_;
  std::map<Rule*, State> rules_;
  std::vector<Rule*> added_;
  std::vector<Rule*> list_, match_;
  std::map<uint32_t, std::vector<Rule*>> chains_;
};

/// Steps in a table and in its model. The store is empty at the beginning, and has the limit.
template <typename Rules>
class TextRuleTableRun {
 public:
  using Rule = typename Rules::Rule;

  static constexpr size_t kManyRules = 150;
  static constexpr size_t kFewRules = 60;

  /// @param full  about how many rules there are at most; with up to kFewRules there are few keys
  /// too
  TextRuleTableRun(Choices choices, uint32_t limit, size_t full = kManyRules)
      : choices_(std::move(choices)), model_(limit), full_(full) {}

  const Choices& choices() const { return choices_; }
  size_t size() const { return model_.size(); }

  void ExpectSameOrders() const { model_.ExpectSameOrders(); }
  void ExpectSameRules() const { model_.ExpectSameRules(); }

  void Step() {
    const size_t kind = model_.size() > full_ ? 3 + choices_.Below(7) : choices_.Below(10);
    const std::string text = SomeText();
    const auto origin = static_cast<uint32_t>(choices_.Below(2));
    switch (kind) {
      case 0:
        return AddFile(text);
      case 1:
        return FindOrNew(text, origin);
      case 2:
        return Add(text, origin);
      case 3:
        return Update(text);
      case 4:
        return Delete(text);
      case 5:
        return DeletePart(text);
      case 6:
        if (model_.size() > full_ / 2) Erase();
        return;
      case 7:
        ASSERT_EQ(Rules::Find(text), model_.Find(text));
        return;
      case 8:
        ASSERT_EQ(Rules::Next(text), model_.Next(text)) << text;
        ASSERT_EQ(Rules::First(), model_.Next(""));
        return;
      default:
        if constexpr (TextRuleTableModel<Rules>::kHasMatchList) {
          ASSERT_EQ(BYOD_data_GetNextUARule(text.c_str()), model_.NextOf(text)) << text;
        }
        return;
    }
  }

  /// A count that is not the lists' length, or is so again.
  void SetWrongCount() {
    const auto length = static_cast<uint32_t>(model_.size());
    model_.count =
        choices_.Below(2) == 0 ? length : static_cast<uint32_t>(choices_.Below(length * 2 + 2));
    Rules::Table().rule_count = model_.count;
  }

 private:
  /// From a small alphabet, so that many are equal, equal but for case, or of equal length.
  std::string RandomText() {
    if (full_ <= kFewRules && choices_.Below(2) == 0) {
      return "1,3,6,15," + std::to_string(choices_.Below(2 * full_ + 2));
    }
    static constexpr char kAlphabet[] = {'a', 'A', 'b', 'B', '|', '&', ',', '1', '\xC4'};
    std::string text(choices_.Below(5), '\0');
    for (char& c : text)
      c = kAlphabet[choices_.Below(sizeof kAlphabet)];
    return text;
  }

  /// The text of a rule that is there, mostly in another case, or any text.
  std::string SomeText() {
    if (model_.size() == 0 || choices_.Below(4) == 0) return RandomText();
    std::string text = model_[model_.Nth(choices_.Below(model_.size()))].text;
    for (char& c : text) {
      if (choices_.Below(3) == 0 && ((c | 0x20) == 'a' || (c | 0x20) == 'b')) c ^= 0x20;
    }
    return text;
  }

  void AddFile(const std::string& text) {
    const ModelInfo info = ModelInfo::Random(choices_);
    Rules::AddFile(text, info.Plain());
    // The newest rule of its text is the one.
    model_.Add(Rules::Find(text), {text, 0, info, std::nullopt});
  }

  void FindOrNew(const std::string& text, uint32_t origin) {
    Rule* const there = model_.Find(text);
    uint16_t created = 77;
    uint32_t err = 77;
    Rule* const rule = Rules::FindOrNew(text, origin, &created, &err);
    if (there != nullptr) {
      ASSERT_EQ(rule, there);
      ASSERT_EQ(created, 0);
      ASSERT_EQ(err, 0u);
    } else if (model_.Refuses(origin)) {
      ASSERT_EQ(rule, nullptr);
      ASSERT_EQ(created, 0);
      ASSERT_EQ(err, kRuleLimit);
    } else {
      ASSERT_NE(rule, nullptr);
      ASSERT_EQ(created, 1);
      ASSERT_EQ(err, 0u);
      model_.Add(rule, {text, origin, std::nullopt, std::nullopt});
    }
  }

  void Add(const std::string& text, uint32_t origin) {
    Rule* const rule = Rules::Alloc();
    rule->origin = origin;
    Fill(Rules::Text(*rule), text);
    if (model_.Refuses(origin)) {
      ASSERT_EQ(Rules::Add(rule), kRuleLimit);
      Rules::Free(rule);
    } else {
      ASSERT_EQ(Rules::Add(rule), 0u);
      model_.Add(rule, {text, origin, std::nullopt, std::nullopt});
    }
  }

  void Update(const std::string& text) {
    const ModelInfo info = ModelInfo::Random(choices_);
    const auto record = RecordOf<typename Rules::Record>(info.Plain());
    Rule* const rule = model_.Find(text);
    ASSERT_EQ(Rules::Update(&record, rule), rule == nullptr ? kFailed : 0u);
    if (rule != nullptr) LayOver(model_[rule].configured, info);
  }

  void Delete(const std::string& text) {
    Rules::Delete(text);
    Rule* const rule = model_.Find(text);
    if (rule == nullptr) return;
    if (model_[rule].origin == 1) return model_.Erase(rule);
    model_[rule].configured.reset();
  }

  void DeletePart(const std::string& text) {
    const auto mode = static_cast<uint32_t>(choices_.Below(3));
    const auto remove = static_cast<uint16_t>(choices_.Below(3));
    Rules::DeletePart(mode, remove, text);
    Rule* const rule = model_.Find(text);
    if (rule == nullptr) return;
    auto& state = model_[rule];
    if (test::DeletePart(state.configured, state.origin, mode, remove)) model_.Erase(rule);
  }

  void Erase() {
    Rule* const rule = model_.Nth(choices_.Below(model_.size()));
    Rules::Erase(rule);
    model_.Erase(rule);
  }

  Choices choices_;
  TextRuleTableModel<Rules> model_;
  size_t full_;
};

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_TEXT_RULE_TABLE_MODEL_H
