// The two tables of rules keyed by text against a plain model, over many random steps.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "support/failing_allocator.h"
#include "support/model_info.h"
#include "support/rule_lists.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;

constexpr int kSteps = 12000;

char Fold(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Folded(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), Fold);
  return text;
}

uint32_t BucketOf(const std::string& text) {
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
class Model {
 public:
  using Rule = typename Rules::Rule;
  static constexpr bool kHasMatchList = std::is_same_v<Rules, UserAgentRules>;

  struct State {
    std::string text;
    uint32_t origin;
    std::optional<ModelInfo> predefined, configured;
  };

  explicit Model(uint32_t limit) : limit_(limit) {}

  uint32_t count = 0;
  uint32_t custom = 0;

  bool Refuses(uint32_t origin) const {
    return origin == 1 && limit_ != UINT32_MAX && custom >= limit_;
  }

  void Add(Rule* rule, State state) {
    const std::string text = state.text;
    chains_[BucketOf(text)].insert(chains_[BucketOf(text)].begin(), rule);
    count_custom(state.origin, 1);
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
  Rule* Nth(size_t n) const { return std::next(rules_.begin(), static_cast<ptrdiff_t>(n))->first; }

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
      ASSERT_EQ(Told(rule->predefined), Told(state.predefined)) << state.text;
      ASSERT_EQ(Told(rule->configured), Told(state.configured)) << state.text;
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
  std::vector<Rule*> list_, match_;
  std::map<uint32_t, std::vector<Rule*>> chains_;
};

template <typename Rules>
class TextRuleTableModel : public RuleStoreTest {
 protected:
  using Rule = typename Rules::Rule;

  void Run(uint32_t seed, uint32_t limit, bool with_wrong_counts) {
    Reopen(limit);
    random_.seed(seed);
    Model<Rules> model(limit);
    for (int step = 0; step < kSteps; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      Step(model);
      if (with_wrong_counts && random_() % 20 == 0) SetWrongCount(model);
      ASSERT_NO_FATAL_FAILURE(model.ExpectSameOrders());
      if (step % 32 == 0) {
        ASSERT_NO_FATAL_FAILURE(model.ExpectSameRules());
      }
      if (HasFailure()) return;
    }
    ASSERT_GT(model.size(), 20u);  // there was something to compare
    ASSERT_NO_FATAL_FAILURE(model.ExpectSameRules());
  }

 private:
  size_t Below(size_t bound) { return random_() % bound; }

  /// From a small alphabet, so that many are equal, equal but for case, or of equal length.
  std::string RandomText() {
    static constexpr char kAlphabet[] = {'a', 'A', 'b', 'B', '|', '&', ',', '1', '\xC4'};
    std::string text(Below(5), '\0');
    for (char& c : text)
      c = kAlphabet[Below(sizeof kAlphabet)];
    return text;
  }

  /// The text of a rule that is there, mostly in another case, or any text.
  std::string SomeText(Model<Rules>& model) {
    if (model.size() == 0 || Below(4) == 0) return RandomText();
    std::string text = model[model.Nth(Below(model.size()))].text;
    for (char& c : text) {
      if (Below(3) == 0 && ((c | 0x20) == 'a' || (c | 0x20) == 'b')) c ^= 0x20;
    }
    return text;
  }

  void Step(Model<Rules>& model) {
    const size_t full = 150;
    const size_t kind = model.size() > full ? 3 + Below(7) : Below(10);
    const std::string text = SomeText(model);
    const auto origin = static_cast<uint32_t>(Below(2));
    switch (kind) {
      case 0:
        return AddFile(model, text);
      case 1:
        return FindOrNew(model, text, origin);
      case 2:
        return Add(model, text, origin);
      case 3:
        return Update(model, text);
      case 4:
        return Delete(model, text);
      case 5:
        return DeletePart(model, text);
      case 6:
        if (model.size() > full / 2) Erase(model);
        return;
      case 7:
        ASSERT_EQ(Rules::Find(text), model.Find(text));
        return;
      case 8:
        ASSERT_EQ(Rules::Next(text), model.Next(text)) << text;
        ASSERT_EQ(Rules::First(), model.Next(""));
        return;
      default:
        if constexpr (Model<Rules>::kHasMatchList) {
          ASSERT_EQ(BYOD_data_GetNextUARule(text.c_str()), model.NextOf(text)) << text;
        }
        return;
    }
  }

  void AddFile(Model<Rules>& model, const std::string& text) {
    const ModelInfo info = ModelInfo::Random(random_);
    Rules::AddFile(text, info.Plain());
    // The newest rule of its text is the one.
    model.Add(Rules::Find(text), {text, 0, info, std::nullopt});
  }

  void FindOrNew(Model<Rules>& model, const std::string& text, uint32_t origin) {
    Rule* const there = model.Find(text);
    uint16_t created = 77;
    uint32_t err = 77;
    Rule* const rule = Rules::FindOrNew(text, origin, &created, &err);
    if (there != nullptr) {
      ASSERT_EQ(rule, there);
      ASSERT_EQ(created, 0);
      ASSERT_EQ(err, 0u);
    } else if (model.Refuses(origin)) {
      ASSERT_EQ(rule, nullptr);
      ASSERT_EQ(created, 0);
      ASSERT_EQ(err, kRuleLimit);
    } else {
      ASSERT_NE(rule, nullptr);
      ASSERT_EQ(created, 1);
      ASSERT_EQ(err, 0u);
      model.Add(rule, {text, origin, std::nullopt, std::nullopt});
    }
  }

  void Add(Model<Rules>& model, const std::string& text, uint32_t origin) {
    Rule* const rule = Rules::Alloc();
    rule->origin = origin;
    Fill(Rules::Text(*rule), text);
    if (model.Refuses(origin)) {
      ASSERT_EQ(Rules::Add(rule), kRuleLimit);
      Rules::Free(rule);
    } else {
      ASSERT_EQ(Rules::Add(rule), 0u);
      model.Add(rule, {text, origin, std::nullopt, std::nullopt});
    }
  }

  void Update(Model<Rules>& model, const std::string& text) {
    const ModelInfo info = ModelInfo::Random(random_);
    const auto record = RecordOf<typename Rules::Record>(info.Plain());
    Rule* const rule = model.Find(text);
    ASSERT_EQ(Rules::Update(&record, rule), rule == nullptr ? kFailed : 0u);
    if (rule != nullptr) LayOver(model[rule].configured, info);
  }

  void Delete(Model<Rules>& model, const std::string& text) {
    Rules::Delete(text);
    Rule* const rule = model.Find(text);
    if (rule == nullptr) return;
    if (model[rule].origin == 1) return model.Erase(rule);
    model[rule].configured.reset();
  }

  void DeletePart(Model<Rules>& model, const std::string& text) {
    const auto mode = static_cast<uint32_t>(Below(3));
    const auto remove = static_cast<uint16_t>(Below(3));
    Rules::DeletePart(mode, remove, text);
    Rule* const rule = model.Find(text);
    if (rule == nullptr) return;
    auto& state = model[rule];
    if (byod::test::DeletePart(state.configured, state.origin, mode, remove)) model.Erase(rule);
  }

  void Erase(Model<Rules>& model) {
    Rule* const rule = model.Nth(Below(model.size()));
    Rules::Erase(rule);
    model.Erase(rule);
  }

  /// A count that is not the lists' length, or is so again.
  void SetWrongCount(Model<Rules>& model) {
    const auto length = static_cast<uint32_t>(model.size());
    model.count = Below(2) == 0 ? length : static_cast<uint32_t>(Below(length * 2 + 2));
    Rules::Table().rule_count = model.count;
  }

  std::mt19937 random_;
};
TYPED_TEST_SUITE(TextRuleTableModel, TextTables, TableNames);

TYPED_TEST(TextRuleTableModel, AgreesWithTheTableAfterEveryStep) {
  this->Run(1, BYOD_NO_RULE_LIMIT, false);
}

TYPED_TEST(TextRuleTableModel, AgreesWithTheTableUnderALimit) {
  this->Run(2, 25, false);
}

TYPED_TEST(TextRuleTableModel, AgreesWithTheTableWhenTheCountIsNotTheLength) {
  this->Run(3, BYOD_NO_RULE_LIMIT, true);
}

TYPED_TEST(TextRuleTableModel, LeavesNothingAllocatedAfterFini) {
  BYOD_data_GlobalInfoFini();
  const int64_t before = support::LiveAllocations();
  {
    this->Run(4, BYOD_NO_RULE_LIMIT, false);
    BYOD_data_GlobalInfoFini();
  }
  EXPECT_EQ(support::LiveAllocations(), before);
}

}  // namespace
