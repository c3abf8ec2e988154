// SPDX-License-Identifier: Apache-2.0
// Texts that differ and have the same 32-bit hash, which tables must distinguish nevertheless.
#ifndef BYOD_TESTS_SUPPORT_EQUAL_HASHES_H
#define BYOD_TESTS_SUPPORT_EQUAL_HASHES_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace byod::test {

/**
 * Pairs of texts that begin with a character in lower case: of a few characters, of more than one
 * block of the hash, and of both. So many texts are tried that there are some forty pairs, whatever
 * the byte order makes of them.
 *
 * @param hash_of  (const std::string&) -> the hash
 */
template <typename HashOf>
std::vector<std::pair<std::string, std::string>> PairsWithEqualHashes(char begin, HashOf hash_of) {
  constexpr uint32_t kTexts = 600000;
  const std::string prefix(40, begin);
  const auto text_of = [&](uint32_t i) {
    return (i % 2 == 0 ? std::string(1, begin) : prefix) + std::to_string(i);
  };
  std::vector<std::pair<std::string, std::string>> pairs;
  std::unordered_map<uint32_t, uint32_t> seen;
  seen.reserve(kTexts);
  for (uint32_t i = 0; i < kTexts; ++i) {
    const std::string text = text_of(i);
    const auto [first, fresh] = seen.emplace(hash_of(text), i);
    if (!fresh) pairs.emplace_back(text_of(first->second), text);
  }
  return pairs;
}

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_EQUAL_HASHES_H
