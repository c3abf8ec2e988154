// SPDX-License-Identifier: Apache-2.0
// Thousands of texts of one hash, made with nothing but the source at hand, which turn every lookup
// into a walk: hashes depend on a key, and nothing that a caller sees does.
#include "data/containers/word_hash.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "byod_data.h"
#include "data/user_agent/first_match.h"
#include "data/user_agent/gram.h"
#include "data/user_agent/match_link.h"

namespace {

using namespace byod::data;

/// Puts another key in the place of the one that is there, for as long as the tables are empty.
class OtherKey {
 public:
  explicit OtherKey(uint32_t seed) : before_(hash_key) {
    std::mt19937_64 random(seed);
    for (uint64_t& word : hash_key.words)
      word = random();
    hash_key.length = random() | 1;
    hash_key.sum = random() | 1;
    hash_key.window = random() | 1;
  }
  ~OtherKey() { hash_key = before_; }
  OtherKey(const OtherKey&) = delete;
  OtherKey& operator=(const OtherKey&) = delete;

 private:
  HashKey before_;
};

/// 65,536 texts of 32 bytes that differ in these four alone.
std::vector<std::string> TextsThatDifferAt(const std::array<size_t, 4>& places) {
  std::vector<std::string> texts;
  for (uint32_t i = 0; i < 0x10000; ++i) {
    std::string text(32, 'a');
    for (size_t p = 0; p < 4; ++p)
      text[places[p]] = static_cast<char>('A' + (i >> 4 * p & 0xF));
    texts.push_back(text);
  }
  return texts;
}

// A product of a word's highest byte reaches eight bits of the sum alone: with sums of products of
// whole words these texts would share 256 hashes.
TEST(WordHash, TextsThatDifferInOneByteOfEachWordHaveAsManyHashes) {
  for (uint32_t seed = 1; seed <= 8; ++seed) {
    const OtherKey key(seed);
    for (const auto& places :
         {std::to_array<size_t>({7, 15, 23, 31}), std::to_array<size_t>({0, 8, 16, 24}),
          std::to_array<size_t>({4, 5, 6, 7})}) {
      std::set<uint32_t> hashes;
      for (const std::string& text : TextsThatDifferAt(places))
        hashes.insert(HashOfText(text.data(), text.size()));
      EXPECT_GT(hashes.size(), 0x10000u - 16);
    }
  }
}

TEST(WordHash, TextsOfOneWordAndDifferentLengthsHaveDifferentHashes) {
  std::set<uint32_t> hashes;
  for (size_t length = 0; length < BYOD_RULETEXT_SIZE; ++length) {
    TextHash hash;
    hash.Add(0x6161616161616161);
    hashes.insert(hash.Get(length));
  }
  EXPECT_EQ(hashes.size(), size_t{BYOD_RULETEXT_SIZE});
}

TEST(WordHash, WindowsThatDifferInOneByteHaveDifferentHashes) {
  for (uint32_t seed = 1; seed <= 8; ++seed) {
    const OtherKey key(seed);
    for (size_t place = 0; place < 8; ++place) {
      std::set<uint32_t> hashes;
      for (int c = 1; c < 256; ++c) {
        std::string text(8, 'a');
        text[place] = static_cast<char>(c);
        hashes.insert(HashOfWindow(LoadWindow(text.data(), text.size())));
      }
      EXPECT_EQ(hashes.size(), 255u) << place;
    }
  }
}

TEST(WordHash, DependsOnTheKeyWhichIsDrawnOnce) {
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  const uint32_t drawn = HashOfText("text", 4);
  BYOD_data_GlobalInfoFini();
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  EXPECT_EQ(HashOfText("text", 4), drawn);
  BYOD_data_GlobalInfoFini();
  const OtherKey key(1);
  EXPECT_NE(HashOfText("text", 4), drawn);
}

/// The keywords in the order of trying, after some have come and some have gone.
std::vector<std::string> MatchOrder(uint32_t seed) {
  const OtherKey key(seed);
  EXPECT_EQ(BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT), 0u);
  std::mt19937 random(5);
  for (int i = 0; i < 3000; ++i) {
    const std::string keyword = "Phone " + std::to_string(random() % 500) + "||Mobile";
    uint16_t created = 0;
    uint32_t err = 0;
    BYOD_data_FindOrNewUserAgentRule(keyword.c_str(), BYOD_RULE_CUSTOM, &created, &err);
    if (created == 0) BYOD_data_DelUserAgentRule(keyword.c_str());
  }
  std::vector<std::string> order;
  for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr; link = link->next)
    order.emplace_back(RuleOfMatchLink(link)->keyword);
  order.emplace_back(FirstMatch("Phone 1 Mobile")->keyword);
  BYOD_data_GlobalInfoFini();
  return order;
}

TEST(WordHash, DoesNotDecideTheOrderOfRules) {
  const auto order = MatchOrder(1);
  EXPECT_GT(order.size(), 100u);
  for (uint32_t seed = 2; seed <= 8; ++seed)
    EXPECT_EQ(MatchOrder(seed), order);
}

}  // namespace
