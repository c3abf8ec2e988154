// SPDX-License-Identifier: Apache-2.0
// What the daemon keeps of fingerprints that lack a rule, held against a plain list.
#include "lauthd/state/unknowns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/failing_allocator.h"

namespace byod::lauthd {
namespace {

ByodFingerPrint Numbered(uint32_t number) {
  ByodFingerPrint fingerprint = {};
  std::strcpy(fingerprint.user_agent, ("agent " + std::to_string(number)).c_str());
  return fingerprint;
}

/// The last seen first: number, how often.
using Seen = std::vector<std::pair<std::string, uint64_t>>;

Seen Content(const Unknowns& unknowns) {
  Seen content;
  for (const Unknowns::Entry& entry : unknowns.entries())
    content.emplace_back(entry.fingerprint.user_agent, entry.seen);
  return content;
}

void Note(Seen& model, uint32_t number) {
  const std::string text = Numbered(number).user_agent;
  const auto found =
      std::find_if(model.begin(), model.end(), [&](const auto& one) { return one.first == text; });
  const uint64_t seen = found != model.end() ? found->second + 1 : 1;
  if (found != model.end()) model.erase(found);
  model.insert(model.begin(), {text, seen});
  if (model.size() > Unknowns::kRoom) model.pop_back();
}

TEST(UnknownFingerprints, AreWhatAPlainListOfThemHolds) {
  std::mt19937 random(14);
  Unknowns unknowns;
  Seen model;
  for (uint32_t step = 0; step < 20000; ++step) {
    // Fewer than there is room for, then more.
    const auto number = static_cast<uint32_t>(random() % (step < 8000 ? 100 : 400));
    unknowns.Note(Numbered(number), step % 8, step);
    Note(model, number);
    ASSERT_EQ(unknowns.entries().front().last_time, step);
    ASSERT_EQ(unknowns.entries().front().unmatched, step % 8);
    if (step % 50 == 0) {
      ASSERT_EQ(Content(unknowns), model);
    }
  }
  EXPECT_EQ(Content(unknowns), model);
  unknowns.Clear();
  EXPECT_TRUE(unknowns.entries().empty());
}

TEST(UnknownFingerprints, AreFoundByTheirNumbersUntilTheyAreReplaced) {
  Unknowns unknowns;
  for (uint32_t number = 0; number < Unknowns::kRoom; ++number)
    unknowns.Note(Numbered(number), 1, number);
  const std::vector<uint64_t> numbers = unknowns.Numbers();
  ASSERT_EQ(numbers.size(), Unknowns::kRoom);
  unknowns.Note(Numbered(0), 1, 1000);  // seen again: it is still the same
  unknowns.Note(Numbered(999), 1, 1001);
  for (size_t i = 0; i < numbers.size(); ++i) {
    const Unknowns::Entry* const entry = unknowns.Find(numbers[i]);
    const uint32_t number = Unknowns::kRoom - 1 - static_cast<uint32_t>(i);
    ASSERT_EQ(entry == nullptr, number == 1) << "the one seen longest ago is replaced";
    if (entry == nullptr) continue;
    EXPECT_STREQ(entry->fingerprint.user_agent, Numbered(number).user_agent);
  }
}

// An entry for which there was no memory in the index stayed in the list, where nothing found it
// again, and the list grew beyond its room.
TEST(UnknownFingerprints, WithoutMemoryAreLeftOutAndNothingElseChanges) {
  for (uint32_t entries = 0; entries <= Unknowns::kRoom; ++entries) {
    Unknowns unknowns;
    Seen model;
    for (uint32_t number = 0; number < entries; ++number) {
      unknowns.Note(Numbered(number), 1, number);
      Note(model, number);
    }
    const ByodFingerPrint fresh = Numbered(1000);
    uint32_t failures = 0;
    for (uint32_t nth = 1;; ++nth) {
      support::FailingAllocation failing(nth);
      unknowns.Note(fresh, 1, 0);
      failing.Disarm();
      if (!failing.Failed()) break;
      ++failures;
      ASSERT_EQ(Content(unknowns), model) << entries << ", allocation " << nth;
    }
    EXPECT_GE(failures, 2u);
    Note(model, 1000);
    EXPECT_EQ(Content(unknowns), model) << entries;
    // The index knows all that the list holds, and nothing else.
    unknowns.Note(fresh, 1, 0);
    Note(model, 1000);
    EXPECT_EQ(Content(unknowns), model) << entries;
  }
}

}  // namespace
}  // namespace byod::lauthd
