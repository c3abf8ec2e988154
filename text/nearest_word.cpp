// SPDX-License-Identifier: Apache-2.0
#include "text/nearest_word.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

namespace byod::text {
namespace {

// ASCII only: the known words are, and the locale must not change the result.
char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameLetter(char a, char b) {
  return Lower(a) == Lower(b);
}

bool StartsWith(std::string_view word, std::string_view beginning) {
  return word.size() >= beginning.size() &&
         std::equal(beginning.begin(), beginning.end(), word.begin(), &SameLetter);
}

/// How many letters may be wrong.
size_t AllowedDistance(std::string_view wrong, std::string_view word) {
  return std::max<size_t>(1, std::max(wrong.size(), word.size()) / 3);
}

/// A word with no letter in common is not near: "x" is not a misspelt "os".
bool IsNear(std::string_view wrong, std::string_view word, size_t distance) {
  return distance <= AllowedDistance(wrong, word) && distance < std::min(wrong.size(), word.size());
}

/// Whether the lengths alone rule the word out, so that a long text costs nothing.
bool IsFarByLength(std::string_view wrong, std::string_view word) {
  const size_t longer = std::max(wrong.size(), word.size());
  const size_t shorter = std::min(wrong.size(), word.size());
  return longer - shorter > AllowedDistance(wrong, word);
}

/// @return the only word that begins so, or empty
std::string OnlyWordThatBeginsWith(std::string_view beginning,
                                   const std::vector<std::string>& words) {
  constexpr size_t kMinBeginning = 2;
  if (beginning.size() < kMinBeginning) return {};
  std::string found;
  for (const std::string& word : words) {
    if (!StartsWith(word, beginning)) continue;
    if (!found.empty()) return {};
    found = word;
  }
  return found;
}

}  // namespace

size_t EditDistance(std::string_view a, std::string_view b) {
  // rows[i % 3][j] is the distance of the first i letters of a from the first j letters of b. A
  // swap refers to two rows before, nothing to earlier ones.
  std::vector<size_t> rows[3];
  for (auto& row : rows)
    row.resize(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j)
    rows[0][j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    auto& row = rows[i % 3];
    const auto& above = rows[(i - 1) % 3];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = above[j - 1] + (SameLetter(a[i - 1], b[j - 1]) ? 0 : 1);
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, replaced});
      if (i > 1 && j > 1 && SameLetter(a[i - 1], b[j - 2]) && SameLetter(a[i - 2], b[j - 1])) {
        row[j] = std::min(row[j], rows[(i - 2) % 3][j - 2] + 1);
      }
    }
  }
  return rows[a.size() % 3][b.size()];
}

std::string NearestWord(std::string_view wrong, const std::vector<std::string>& words) {
  // By distance, then by the first letter, which is rarely wrong.
  using Rank = std::pair<size_t, bool>;
  Rank best = {std::numeric_limits<size_t>::max(), true};
  std::string nearest;
  for (const std::string& word : words) {
    if (wrong.empty() || word.empty() || IsFarByLength(wrong, word)) continue;
    const Rank rank = {EditDistance(wrong, word), !SameLetter(wrong[0], word[0])};
    if (!IsNear(wrong, word, rank.first) || rank >= best) continue;
    best = rank;
    nearest = word;
  }
  return nearest.empty() ? OnlyWordThatBeginsWith(wrong, words) : nearest;
}

std::string DidYouMean(std::string_view wrong, const std::vector<std::string>& words) {
  const std::string nearest = NearestWord(wrong, words);
  return nearest.empty() ? nearest : "; did you mean \"" + nearest + "\"?";
}

}  // namespace byod::text
