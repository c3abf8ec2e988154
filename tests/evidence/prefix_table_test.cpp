// SPDX-License-Identifier: Apache-2.0
#include "evidence/prefix_table.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace byod::evidence {
namespace {

TEST(PrefixTable, FindsEveryBeginningTheLongestFirst) {
  std::mt19937 random(2);
  const auto text_of = [&](size_t max) {
    std::string text;
    for (size_t size = random() % (max + 1); size > 0; --size)
      text += "aBb-"[random() % 4];
    return text;
  };
  for (int round = 0; round < 300; ++round) {
    PrefixTable table;
    std::set<std::string> texts;
    for (size_t count = random() % 40; count > 0; --count) {
      const std::string text = text_of(5);
      if (texts.insert(Folded(text)).second) table.Add({text, {}, {}, {}});
    }
    table.Arrange();
    for (int i = 0; i < 30; ++i) {
      const std::string text = text_of(8);
      std::vector<std::string> expected, found;
      for (size_t size = text.size() + 1; size-- > 0;) {
        if (const std::string begin = Folded(text).substr(0, size); texts.contains(begin))
          expected.push_back(begin);
      }
      table.Find(text, [&](const Rule& rule) {
        found.push_back(Folded(rule.text));
        return false;
      });
      ASSERT_EQ(found, expected) << text;
    }
  }
}

}  // namespace
}  // namespace byod::evidence
