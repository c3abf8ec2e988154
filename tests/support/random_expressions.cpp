// SPDX-License-Identifier: Apache-2.0
#include "support/random_expressions.h"

#include <iterator>

namespace support {

namespace {

constexpr const char* kTerms[] = {
    "Android",
    "iPhone",
    "iPhone OS",
    "Mobile",
    "Mozilla/5.0",
    "Windows NT 10.0",
    "Windows",
    "SM-G960",
    "SM-G96",
    "SM-",
    "SM-G960F",
    "Nexus 5",
    "Nexus",
    "HTC",
    "LG",
    "x",
    " ",
    "Chrome/",
    "Chrome/88",
    "e/88.0",
    "iPad",
    "oid 8.1",
    "8.1.0; ",
    "\xC3\xBC",
    "\xFF\xFE\x80",
    "KHTML, like Gecko",
    "AppleWebKit/537.36",
};

constexpr const char* kSeparators[] = {"&&", "&&", "&&", "||", "||", "&", "|", "&&&", "|||", "&|&"};

}  // namespace

std::string RandomExpressions::Term() {
  if (Below(3) != 0) return kTerms[Below(std::size(kTerms))];
  static constexpr char kLetters[] = "aab\xE4\xFF";
  std::string term;
  const uint32_t kind = Below(40);
  const uint32_t length = kind == 0 ? 250 + Below(10) : kind < 5 ? 7 + Below(60) : 1 + Below(6);
  for (uint32_t i = 0; i < length; ++i)
    term += kLetters[Below(sizeof kLetters - 1)];
  return term;
}

std::string RandomExpressions::Expression() {
  static constexpr const char* kEmpty[] = {"", "&", "||", "&&", "a||&&", "|&|", "&&||b"};
  if (Below(60) == 0) return kEmpty[Below(std::size(kEmpty))];
  std::string expression;
  if (Below(10) == 0) expression += kSeparators[Below(std::size(kSeparators))];
  for (uint32_t terms = 1 + Below(Below(10) == 0 ? 12 : 3); terms > 0; --terms) {
    expression += Term();
    if (terms > 1 || Below(12) == 0) expression += kSeparators[Below(std::size(kSeparators))];
  }
  return expression.substr(0, 300);
}

std::string RandomExpressions::UserAgent() {
  std::string ua;
  const uint32_t pieces = Below(50) == 0 ? 60 : Below(9);
  for (uint32_t i = 0; i < pieces; ++i) {
    std::string piece = Term();
    if (Below(4) == 0) piece.resize(piece.size() / 2);
    ua += piece;
    if (Below(2) == 0) ua += "; ";
  }
  return ua;
}

}  // namespace support
