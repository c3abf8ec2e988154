// SPDX-License-Identifier: Apache-2.0
// The table of anchors by itself: what its filters pass, and the memory that it reports.
#include "data/user_agent/anchor_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "data/user_agent/entry.h"

namespace {

using byod::data::AnchorTable;
using byod::data::HashOfWindow;
using byod::data::LoadWindow;
using byod::data::Term;

class AnchorTableTest : public testing::Test {
 protected:
  ~AnchorTableTest() override {
    table_.Clear();
    for (Term* const term : terms_)
      ::operator delete(term);
  }

  /// Takes in a term.
  Term& Insert(const std::string& text) {
    EXPECT_TRUE(table_.Reserve(1));
    auto* const term = new (::operator new(Term::BytesFor(text.size()))) Term{};
    term->length = static_cast<uint8_t>(text.size());
    std::memcpy(term->text(), text.c_str(), text.size() + 1);
    terms_.push_back(term);
    table_.Insert(*term);
    return *term;
  }

  void InsertNumbered(int count) {
    for (int i = 0; i < count; ++i)
      Insert(Numbered(i));
  }

  void EraseFirst(size_t count) {
    for (size_t i = 0; i < count; ++i)
      table_.Erase(*terms_[i]);
  }

  bool PassesWindow(const std::string& text) const {
    return table_.MayBeWindow(HashOfWindow(LoadWindow(text.c_str(), text.size())));
  }

  size_t PassedWindows(int first, int last) const {
    size_t passed = 0;
    for (int i = first; i < last; ++i)
      passed += PassesWindow(Numbered(i));
    return passed;
  }

  static std::string Numbered(int number) { return std::to_string(1000 + number); }

  AnchorTable table_;
  std::vector<Term*> terms_;
};

TEST_F(AnchorTableTest, LooksForATermOfUpToEightBytesByItsLastOnes) {
  EXPECT_EQ(Insert("iPod").window_end, 4u);
  EXPECT_EQ(Insert("SM-G960F").window_end, 8u);
}

// Behind "HUAWEI9 A" each window ends with bytes that all browsers send.
TEST_F(AnchorTableTest, LooksForATermByTheLastBytesThatAreNotCommon) {
  EXPECT_EQ(Insert("HUAWEI9 AppleWebKit/537").window_end, std::strlen("HUAWEI9 A"));
}

// The last four bytes of a window suffice to make it a rare one.
TEST_F(AnchorTableTest, LooksForATermByAWindowThatIsRareAtItsEndAlone) {
  EXPECT_EQ(Insert("XAppleWebX").window_end, std::strlen("XAppleWebX"));
}

TEST_F(AnchorTableTest, LooksForATermByBytesThatAreLookedForAnyhow) {
  Insert("SM-G960F");
  EXPECT_EQ(Insert("SM-G960F QwertyZx").window_end, std::strlen("SM-G960F"));
}

TEST_F(AnchorTableTest, PassesTheWindowsOfItsTermsAndFewOthers) {
  InsertNumbered(4000);
  EXPECT_EQ(PassedWindows(0, 4000), 4000u);
  EXPECT_LT(PassedWindows(4000, 9000), 5000u / 50);
}

// Bits stay behind a term that leaves, until so many have left that they would cost too much.
TEST_F(AnchorTableTest, StopsPassingWhatManyLeavingTermsLeftBehind) {
  InsertNumbered(1000);
  EraseFirst(900);
  EXPECT_EQ(PassedWindows(900, 1000), 100u);
  EXPECT_LT(PassedWindows(0, 900), 400u);
}

TEST_F(AnchorTableTest, DoesNotPutItsFiltersRightForAFewThatLeave) {
  InsertNumbered(1000);
  EraseFirst(100);
  EXPECT_EQ(PassedWindows(0, 100), 100u);
}

TEST_F(AnchorTableTest, ReportsTheMemoryOfItsSlotsAndFilters) {
  EXPECT_EQ(table_.bytes(), 0u);
  Insert("iPod");
  constexpr size_t kMinFilter = 4096;
  EXPECT_EQ(table_.bytes(), 16 * sizeof(AnchorTable::Slot) + 2 * kMinFilter);
}

// Each filter grows by itself: at this size that of windows, while that of grams is as it was.
TEST_F(AnchorTableTest, GrowsTheFilterThatIsTooSmall) {
  InsertNumbered(2000);
  EXPECT_EQ(table_.bytes(), 4096 * sizeof(AnchorTable::Slot) + 4096 + 8192);
}

}  // namespace
