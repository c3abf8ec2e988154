// SPDX-License-Identifier: Apache-2.0
// A search that never ends, or an element that gets lost, once a small container has changed a lot:
// every container of the module against a plain model, with a bound on the steps of each operation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "data/containers/block_pool.h"
#include "data/containers/list_marks.h"
#include "data/containers/open_table.h"
#include "data/containers/ranked_list.h"
#include "data/containers/text_index.h"
#include "data/containers/tiered_array.h"
#include "data/user_agent/alternative_tree.h"
#include "data/user_agent/anchor_table.h"
#include "data/user_agent/gram.h"
#include "support/churn.h"
#include "support/failing_allocator.h"
#include "support/step_count.h"

namespace {

using namespace byod::data;
using support::ChurnEverySize;
using support::Steps;
using support::TakeOut;

constexpr size_t kMaxLive = 130;

/// What no single operation of a container of so few elements takes.
constexpr uint64_t kManySteps = 300;

/// Nor does it when it moves all of them into more memory, with hashes made to crowd.
constexpr uint64_t kStepsToGrow = kManySteps * kMaxLive;

std::mt19937 chance(1);

uint32_t Below(size_t bound) {
  return static_cast<uint32_t>(chance() % bound);
}

// ------------------------------------------------------------------ OpenTable

/// @tparam kHash  () -> a hash
template <uint32_t (*kHash)()>
class OpenTableModel {
 public:
  ~OpenTableModel() { table_.Clear(); }

  size_t size() const { return live_.size(); }

  void Add() {
    steps_.Restart(kStepsToGrow);
    ASSERT_TRUE(table_.Reserve(1));
    const Item item = {kHash(), ++last_};
    steps_.Restart();
    table_.Insert(item.hash, AsItem(item.number), item.number);
    ++hashes_[item.hash];
    live_.push_back(item);
  }

  void Remove(size_t n) {
    const Item item = TakeOut(live_, n);
    const auto* const slot = Find(item);
    ASSERT_NE(slot, nullptr);
    steps_.Restart();
    table_.Erase(*slot);
    ASSERT_EQ(Find(item), nullptr);
    if (--hashes_[item.hash] == 0) hashes_.erase(item.hash);
  }

  void Look() {
    ASSERT_EQ(table_.size(), live_.size());
    if (!live_.empty()) {
      const Item& item = live_[Below(live_.size())];
      const auto* const slot = Find(item);
      ASSERT_NE(slot, nullptr);
      ASSERT_EQ(slot->item, AsItem(item.number));
    }
    const uint32_t hash = kHash();
    steps_.Restart();
    ASSERT_EQ(table_.Find(hash, [](const auto&) { return true; }) != nullptr,
              hashes_.contains(hash));
  }

 private:
  struct Item {
    uint32_t hash;
    uint32_t number;
  };

  static void* AsItem(uint32_t number) { return reinterpret_cast<void*>(uintptr_t{number}); }

  const OpenTable::Slot* Find(const Item& item) {
    steps_.Restart();
    return table_.Find(item.hash,
                       [&](const OpenTable::Slot& slot) { return slot.note == item.number; });
  }

  Steps steps_{kManySteps};
  OpenTable table_;
  std::vector<Item> live_;
  std::map<uint32_t, int> hashes_;
  uint32_t last_ = 0;
};

uint32_t AnyHash() {
  return Below(UINT32_MAX);
}

/// Of one group, or of the last ones, behind which the search goes on with the first.
uint32_t CrowdedHash() {
  return (Below(2) == 0 ? 0x40000000u : 0xFFFFFF00u) + Below(150);
}

uint32_t OneOfFewHashes() {
  return Below(5) * 0x33333333u;
}

TEST(ContainerChurn, OpenTableHoldsItemsOfAnyHashes) {
  ChurnEverySize(0, kMaxLive, [] { return OpenTableModel<AnyHash>(); });
}

TEST(ContainerChurn, OpenTableHoldsItemsOfCrowdedHashes) {
  ChurnEverySize(0, kMaxLive, [] { return OpenTableModel<CrowdedHash>(); });
}

TEST(ContainerChurn, OpenTableHoldsItemsOfFewHashes) {
  ChurnEverySize(0, kMaxLive, [] { return OpenTableModel<OneOfFewHashes>(); });
}

// ------------------------------------------------------------------ TextIndex

class TextIndexModel {
 public:
  ~TextIndexModel() { index_.Clear(); }

  size_t size() const { return live_.size(); }

  void Add() {
    const std::string text = AnyText();
    steps_.Restart();
    ASSERT_TRUE(index_.Prepare(text.c_str()));
    auto rule = std::make_unique<char>();
    index_.Insert(rule.get());
    rules_[text].push_back(rule.get());
    live_.push_back({text, std::move(rule)});
  }

  void Remove(size_t n) {
    const auto [text, rule] = TakeOut(live_, n);
    auto& same = rules_[text];
    std::erase(same, rule.get());
    steps_.Restart();
    index_.Remove(text.c_str(), rule.get(),
                  [&same](const char*) { return same.empty() ? nullptr : same.back(); });
    if (same.empty()) rules_.erase(text);
  }

  void Look() {
    ASSERT_EQ(index_.rules(), live_.size());
    if (!live_.empty()) {
      LookFor(live_[Below(live_.size())].text);
    }
    LookFor(AnyText());
  }

 private:
  struct Rule {
    std::string text;
    std::unique_ptr<char> rule;
  };

  /// Mostly new, some often the same, in one block or two.
  static std::string AnyText() {
    const std::string text = "1,3,6,15," + std::to_string(Below(Below(2) == 0 ? 40 : 100000));
    return Below(3) == 0 ? text + ",119,252,33,43,44,46,47,121,249" : text;
  }

  void LookFor(const std::string& text) {
    const auto found = rules_.find(text);
    steps_.Restart();
    ASSERT_EQ(index_.Find(text.c_str()), found == rules_.end() ? nullptr : found->second.back());
  }

  Steps steps_{kManySteps};
  TextIndex index_;
  std::vector<Rule> live_;
  std::map<std::string, std::vector<char*>> rules_;  // the newest last
};

TEST(ContainerChurn, TextIndexFindsTheNewestRuleOfEachText) {
  ChurnEverySize(0, kMaxLive, [] { return TextIndexModel(); });
}

// ------------------------------------------------------------------ BlockPool

class BlockPoolModel {
 public:
  ~BlockPoolModel() {
    for (const Piece& piece : live_)
      pool_.Put(piece.memory, piece.size);
    pool_.Clear();
  }

  size_t size() const { return live_.size(); }

  void Add() {
    const size_t size = 1 + Below(BlockPool::kMaxPiece + 40);
    auto* const memory = static_cast<unsigned char*>(pool_.Get(size));
    ASSERT_NE(memory, nullptr);
    ASSERT_EQ(reinterpret_cast<uintptr_t>(memory) % alignof(uint64_t), 0u);
    const auto filling = static_cast<unsigned char>(++last_);
    std::memset(memory, filling, size);
    live_.push_back({memory, size, filling});
  }

  void Remove(size_t n) {
    const Piece piece = TakeOut(live_, n);
    ASSERT_TRUE(piece.IsUntouched());
    pool_.Put(piece.memory, piece.size);
  }

  void Look() {
    if (!live_.empty()) {
      ASSERT_TRUE(live_[Below(live_.size())].IsUntouched());
    }
    // As many pieces of every size as there were at once: no change makes it take more for ever.
    ASSERT_LE(support::LiveAllocations(), allocations_before_ + 200);
  }

 private:
  struct Piece {
    unsigned char* memory;
    size_t size;
    unsigned char filling;

    bool IsUntouched() const {
      return std::all_of(memory, memory + size, [this](unsigned char c) { return c == filling; });
    }
  };

  BlockPool pool_;
  std::vector<Piece> live_ = [] {
    std::vector<Piece> reserved;
    reserved.reserve(kMaxLive + 1);
    return reserved;
  }();
  int64_t allocations_before_ = support::LiveAllocations();
  unsigned last_ = 0;
};

TEST(ContainerChurn, BlockPoolGivesPiecesThatNobodyElseHasAndTakesNoMoreMemory) {
  ChurnEverySize(0, kMaxLive, [] { return BlockPoolModel(); });
}

// ------------------------------------------------------------------ TieredArray

class TieredArrayModel {
 public:
  ~TieredArrayModel() { array_.Clear(); }

  size_t size() const { return elements_.size(); }

  void Add() {
    const size_t at = Below(size() + 1);
    ASSERT_TRUE(array_.Reserve(size() + 1));
    steps_.Restart();
    array_.Insert(at, ++last_);
    elements_.insert(elements_.begin() + static_cast<ptrdiff_t>(at), last_);
  }

  void Remove(size_t n) {
    steps_.Restart();
    array_.Erase(n);
    elements_.erase(elements_.begin() + static_cast<ptrdiff_t>(n));
  }

  void Look() {
    ASSERT_EQ(array_.size(), size());
    if (size() == 0) return;
    const size_t at = Below(size());
    ASSERT_EQ(array_[at], elements_[at]);
    ASSERT_EQ(array_[size() - 1], elements_.back());
  }

 private:
  Steps steps_{kManySteps};
  TieredArray<uint32_t> array_;
  std::deque<uint32_t> elements_;
  uint32_t last_ = 0;
};

TEST(ContainerChurn, TieredArrayHoldsItsElementsInOrder) {
  ChurnEverySize(0, kMaxLive, [] { return TieredArrayModel(); });
}

TEST(ContainerChurn, TieredArrayHoldsItsElementsInOrderAroundTheEndsOfItsRings) {
  ChurnEverySize(254, 259, [] { return TieredArrayModel(); });
  ChurnEverySize(511, 514, [] { return TieredArrayModel(); });
}

// ------------------------------------------------------------------ RankedList

struct ListedText {
  ByodLink link;  // first
  char text[16];
};

const char* TextOf(const ByodLink& link) {
  return reinterpret_cast<const ListedText&>(link).text;
}

/// Texts in byte order, a new one behind its equals or among them.
class RankedListModel {
 public:
  RankedListModel() = default;
  ~RankedListModel() { list_.Clear(); }

  size_t size() const { return order_.size(); }

  void Add() {
    auto rule = std::make_unique<ListedText>();
    AnyText().copy(rule->text, sizeof rule->text - 1);
    steps_.Restart();
    ASSERT_TRUE(list_.Reserve());
    size_t at = 0;
    if (*head_ == nullptr) {
      list_.InsertFirst(rule->link, TextMark(rule->text));
    } else {
      const auto place = list_.Search(static_cast<uint32_t>(size()), ByText(rule->text));
      ASSERT_NE(place.link, nullptr);
      at = place.NewIndex();
      list_.InsertAt(place, rule->link, TextMark(rule->text));
    }
    order_.insert(order_.begin() + static_cast<ptrdiff_t>(at), std::move(rule));
    ExpectInOrder(at);
  }

  void Remove(size_t n) {
    steps_.Restart();
    list_.Remove(order_[n]->link, ByText(order_[n]->text));
    order_.erase(order_.begin() + static_cast<ptrdiff_t>(n));
    if (size() > 0) ExpectInOrder(std::min(n, size() - 1));
  }

  void Look() {
    ASSERT_TRUE(list_.Mirrored());
    ASSERT_EQ(list_.size(), size());
    if (size() == 0) return;
    const ListedText& there = *order_[Below(size())];
    steps_.Restart();
    const auto found = list_.Search(static_cast<uint32_t>(size()), ByText(there.text));
    ASSERT_EQ(found.comparison, 0);
    ASSERT_STREQ(TextOf(*found.link), there.text);
    const std::string text = AnyText();
    const auto place = list_.Search(static_cast<uint32_t>(size()), ByText(text.c_str()));
    const size_t before = place.NewIndex();
    if (before > 0) {
      ASSERT_LE(std::strcmp(order_[before - 1]->text, text.c_str()), 0);
    }
    if (before < size()) {
      ASSERT_GE(std::strcmp(order_[before]->text, text.c_str()), 0);
    }
  }

 private:
  struct ByText {
    explicit ByText(const char* sought) : text(sought), mark(sought) {}
    int operator()(ByodLink& link) const { return std::strcmp(text, TextOf(link)); }
    const char* text;
    TextMark mark;
  };

  static std::string AnyText() { return std::to_string(Below(200)); }

  /// The links around a place are those of the model.
  void ExpectInOrder(size_t at) {
    ASSERT_EQ(list_.LinkAtIndex(at), &order_[at]->link);
    ASSERT_EQ(*order_[at]->link.prev, &order_[at]->link);
    ASSERT_EQ(order_[at]->link.next, at + 1 < size() ? &order_[at + 1]->link : nullptr);
    if (at > 0) {
      ASSERT_LE(std::strcmp(order_[at - 1]->text, order_[at]->text), 0);
    }
  }

  Steps steps_{kManySteps};
  std::unique_ptr<ByodLink*> head_ = std::make_unique<ByodLink*>(nullptr);
  RankedList<TextMark> list_{head_.get(),
                             [](const ByodLink& link) { return TextMark(TextOf(link)); }};
  std::deque<std::unique_ptr<ListedText>> order_;
};

TEST(ContainerChurn, RankedListHoldsItsLinksInOrder) {
  ChurnEverySize(0, kMaxLive, [] { return RankedListModel(); });
}

// ------------------------------------------------------------------ AlternativeTree

class AlternativeTreeModel {
 public:
  size_t size() const { return live_.size(); }

  void Add() {
    auto alternative = std::make_unique<Alternative>();
    // Some have one label, as those of one rule have.
    alternative->label = !live_.empty() && Below(8) == 0 ? live_[0]->label : Below(UINT32_MAX);
    steps_.Restart();
    tree_.Insert(*alternative);
    labels_.insert(alternative->label);
    live_.push_back(std::move(alternative));
  }

  void Remove(size_t n) {
    const auto alternative = TakeOut(live_, n);
    steps_.Restart();
    tree_.Erase(*alternative);
    labels_.erase(labels_.find(alternative->label));
  }

  void Look() {
    ASSERT_EQ(tree_.empty(), labels_.empty());
    // All of them now and then, else the first few.
    size_t left = Below(16) == 0 ? SIZE_MAX : 4;
    auto expected = labels_.begin();
    tree_.VisitInOrder([&](const Alternative& alternative) {
      if (expected == labels_.end() || alternative.label != *expected) {
        ADD_FAILURE();
        return false;
      }
      ++expected;
      return --left > 0;
    });
    if (left > 0) {
      ASSERT_EQ(expected, labels_.end());
    }
  }

 private:
  Steps steps_{kManySteps / 2};
  AlternativeTree tree_;
  std::vector<std::unique_ptr<Alternative>> live_;
  std::multiset<uint64_t> labels_;
};

TEST(ContainerChurn, AlternativeTreeVisitsItsAlternativesInOrder) {
  ChurnEverySize(0, kMaxLive, [] { return AlternativeTreeModel(); });
}

// ------------------------------------------------------------------ AnchorTable

/// Terms of all lengths, of which many share a window.
class AnchorTableModel {
 public:
  ~AnchorTableModel() {
    table_.Clear();
    while (!live_.empty())
      Free(TakeOut(live_, 0));
  }

  size_t size() const { return live_.size(); }

  void Add() {
    const std::string text = AnyText();
    auto* const term = new (::operator new(Term::BytesFor(text.size()))) Term{};
    term->length = static_cast<uint8_t>(text.size());
    std::memcpy(term->text(), text.c_str(), text.size() + 1);
    steps_.Restart(kStepsToGrow);
    ASSERT_TRUE(table_.Reserve(1));
    steps_.Restart();
    table_.Insert(*term);
    live_.push_back(term);
    terms_of_[WindowOf(*term)].insert(term);
  }

  void Remove(size_t n) {
    Term* const term = TakeOut(live_, n);
    steps_.Restart();
    table_.Erase(*term);
    auto& terms = terms_of_[WindowOf(*term)];
    terms.erase(term);
    if (terms.empty()) terms_of_.erase(WindowOf(*term));
    Free(term);
  }

  void Look() {
    ASSERT_EQ(table_.empty(), live_.empty());
    if (!live_.empty()) {
      LookFor(WindowOf(*live_[Below(live_.size())]));
    }
    const std::string text = AnyText();
    const size_t width = std::min<size_t>(text.size(), 8);
    LookFor(LoadWindow(text.data() + text.size() - width, width));
  }

 private:
  static std::string AnyText() {
    std::string text;
    for (size_t length = 1 + Below(Below(2) == 0 ? 4 : 30); text.size() < length;)
      text += "ab"[Below(2)];
    return text;
  }

  static void Free(Term* term) { ::operator delete(term); }

  static Window WindowOf(const Term& term) {
    const size_t width = term.WindowWidth();
    return LoadWindow(term.text() + term.window_end - width, width);
  }

  /// Two windows may have one hash, but not among these few.
  void LookFor(Window window) {
    std::set<const Term*> met;
    steps_.Restart();
    table_.VisitWindow(HashOfWindow(window), [&](const Term& term, const AnchorNote& note) {
      ASSERT_TRUE(met.insert(&term).second);
      ASSERT_EQ(note.length, term.length);
      ASSERT_EQ(note.window_end, term.window_end);
      ASSERT_EQ(note.first, term.text()[0]);
      ASSERT_TRUE(note.MayEndWith(term.text()[term.length - 1]));
    });
    const auto expected = terms_of_.find(window);
    ASSERT_EQ(met, expected != terms_of_.end() ? expected->second : std::set<const Term*>());
    if (!met.empty()) {
      ASSERT_TRUE(table_.MayBeWindow(HashOfWindow(window)));
    }
  }

  Steps steps_{kManySteps};
  AnchorTable table_;
  std::vector<Term*> live_;
  std::map<Window, std::set<const Term*>> terms_of_;
};

TEST(ContainerChurn, AnchorTableVisitsEveryTermOfAWindow) {
  ChurnEverySize(0, kMaxLive, [] { return AnchorTableModel(); });
}

}  // namespace
