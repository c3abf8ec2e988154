// SPDX-License-Identifier: Apache-2.0
// How an expression falls into alternatives and terms.
#ifndef BYOD_DATA_USER_AGENT_EXPRESSION_TERMS_H
#define BYOD_DATA_USER_AGENT_EXPRESSION_TERMS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "byod_data.h"
#include "data/containers/word_hash.h"

namespace byod::data {

/// The pieces of a text between separators, of which several in a row count as one.
class Pieces {
 public:
  Pieces(const char* text, size_t length, char separator)
      : at_(text), end_(text + length), separator_(separator) {}

  bool Next() {
    while (at_ != end_ && *at_ == separator_)
      ++at_;
    text_ = at_;
    if (at_ == end_) return false;
    const void* const found = std::memchr(at_, separator_, static_cast<size_t>(end_ - at_));
    at_ = found != nullptr ? static_cast<const char*>(found) : end_;
    return true;
  }

  const char* text() const { return text_; }
  size_t length() const { return static_cast<size_t>(at_ - text_); }

 private:
  const char* at_;
  const char* end_;
  const char* text_ = nullptr;
  char separator_;
};

/// An expression's terms, one alternative's after the other's.
struct Expression {
  struct Piece {
    const char* text;
    size_t length;
    uint32_t hash;
  };

  static constexpr size_t kMaxTerms =
      BYOD_RULETEXT_SIZE / 2;  // at least a separator is between two

  explicit Expression(const char* text) {
    const size_t length = strnlen(text, BYOD_RULETEXT_SIZE - 1);
    for (Pieces parts(text, length, '|'); parts.Next(); ++alternative_count) {
      const size_t before = term_count;
      for (Pieces p(parts.text(), parts.length(), '&'); p.Next(); ++term_count)
        terms[term_count] = {p.text(), p.length(), HashOfText(p.text(), p.length())};
      term_counts[alternative_count] = term_count - before;
    }
    // An expression without alternatives says the same as one alternative without terms.
    if (alternative_count == 0) term_counts[alternative_count++] = 0;
  }

  size_t alternative_count = 0;
  size_t term_count = 0;
  size_t term_counts[kMaxTerms];  // of each alternative
  Piece terms[kMaxTerms];
};

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_EXPRESSION_TERMS_H
