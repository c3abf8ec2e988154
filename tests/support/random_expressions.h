// SPDX-License-Identifier: Apache-2.0
// Random User-Agent expressions and strings that meet each other often, oddities included.
#ifndef TESTS_SUPPORT_RANDOM_EXPRESSIONS_H
#define TESTS_SUPPORT_RANDOM_EXPRESSIONS_H

#include <cstdint>
#include <random>
#include <string>

namespace support {

class RandomExpressions {
 public:
  explicit RandomExpressions(uint32_t seed) : random_(seed) {}

  /// A number below a limit.
  uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

  /// Up to 300 characters, so that now and then one is cut.
  std::string Expression();

  /// A string, mostly made of what expressions are made of.
  std::string UserAgent();

 private:
  std::string Term();

  std::mt19937 random_;
};

}  // namespace support

#endif  // TESTS_SUPPORT_RANDOM_EXPRESSIONS_H
