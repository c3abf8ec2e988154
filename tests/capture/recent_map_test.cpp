// SPDX-License-Identifier: Apache-2.0
#include "capture/recent_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "support/choices.h"
#include "support/failing_allocator.h"

namespace byod::capture {
namespace {

using byod::test::Choices;
using support::FailingAllocation;

using Entry = std::pair<std::string, std::string>;

/// The last touched in front.
class Model {
 public:
  explicit Model(size_t most) : most_(most) {}

  std::string* Find(const std::string& key) {
    const auto at = std::ranges::find(entries_, key, &Entry::first);
    if (at == entries_.end()) return nullptr;
    std::rotate(entries_.begin(), at, at + 1);
    return &entries_.front().second;
  }
  std::string& Touch(const std::string& key) {
    if (std::string* const found = Find(key)) return *found;
    entries_.insert(entries_.begin(), {key, ""});
    if (entries_.size() > most_) entries_.pop_back();
    return entries_.front().second;
  }
  void Erase(const std::string& key) {
    std::erase_if(entries_, [&](const Entry& entry) { return entry.first == key; });
  }
  std::vector<std::string> Values() const {
    std::vector<std::string> values;
    for (const Entry& entry : entries_)
      values.push_back(entry.second);
    return values;
  }

 private:
  size_t most_;
  std::vector<Entry> entries_;
};

using Map = RecentMap<std::string, std::string>;

void ExpectSame(const Map& map, const Model& model) {
  std::vector<std::string> values;
  map.ForEach([&](const std::string& value) { values.push_back(value); });
  ASSERT_EQ(values, model.Values());
  ASSERT_EQ(map.size(), values.size());
}

/// Long enough to be allocated.
std::string KeyOf(size_t number) {
  return std::string(40, 'k') + std::to_string(number);
}

// Memory that failed between the list and its index left entries that nothing found and nothing
// removed, beyond the bound.
TEST(RecentMap, AgreesWithAListWhateverAllocationFails) {
  size_t failures = 0;
  for (size_t most = 1; most <= 20; ++most) {
    Choices choices(static_cast<uint32_t>(most));
    Map map(most);
    Model model(most);
    for (int step = 0; step < 5000; ++step) {
      const std::string key = KeyOf(choices.Below(most * 2));
      switch (choices.Below(4)) {
        case 0:
          map.Erase(key);
          model.Erase(key);
          break;
        case 1: {
          const std::string* const own = map.Find(key);
          const std::string* const expected = model.Find(key);
          ASSERT_EQ(own != nullptr, expected != nullptr);
          if (own != nullptr) {
            ASSERT_EQ(*own, *expected);
          }
          break;
        }
        default: {
          const std::string text = std::to_string(step);
          std::string* made = nullptr;
          FailingAllocation failing(static_cast<uint32_t>(choices.Below(6)));
          try {
            made = &map.Touch(key);
          } catch (const std::bad_alloc&) {
          }
          failing.Disarm();
          ASSERT_EQ(made == nullptr, failing.Failed());
          failures += failing.Failed();
          if (made != nullptr) model.Touch(key) = *made = text;
        }
      }
      ExpectSame(map, model);
      if (testing::Test::HasFatalFailure()) return;
    }
  }
  EXPECT_GT(failures, 1000U);
}

}  // namespace
}  // namespace byod::capture
