// SPDX-License-Identifier: Apache-2.0
#include "data/user_agent/common_grams.h"

#include <algorithm>

namespace byod::data {
namespace {

constexpr char kCommonText[] =
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64; rv:1) AppleWebKit/537.36 (KHTML, like Gecko) "
    "Chrome/1.0.0.0 Safari/537.36 Edge/1 Firefox/1 "
    "Mozilla/5.0 (Linux; U; Android 4.0; en-us; SM- Build/) Version/4.0 Mobile Safari/534.30 "
    "Mozilla/5.0 (iPhone; CPU iPhone OS 1_0 like Mac OS X) "
    "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_1) "
    "Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 5.1; Trident/4.0; .NET CLR 2.0.50727) "
    "Profile/MIDP-2.0 Configuration/CLDC-1.1 Opera/9.80 Presto/2.1 Dalvik/1.6.0 (Linux; U; Android";

constexpr size_t kWidest = 4;

/// A gram as LoadGram gives it on this machine, but at compile time.
constexpr Gram GramAt(const char* text, size_t width) {
  Gram gram = 0;
  for (size_t i = 0; i < width; ++i) {
    const auto byte = static_cast<uint32_t>(static_cast<uint8_t>(text[i]));
    gram |= byte << 8 * (kLittleEndian ? i : sizeof gram - 1 - i);
  }
  return gram;
}

}  // namespace

constexpr std::array<uint32_t, kCommonBitCount / 32> kCommonBits = [] {
  std::array<uint32_t, kCommonBitCount / 32> bits = {};
  for (size_t width = 2; width <= kWidest; ++width) {
    for (size_t i = 0; i + width < sizeof kCommonText; ++i) {
      const uint32_t bit = CommonBitOf(GramAt(kCommonText + i, width));
      bits[bit / 32] |= uint32_t{1} << bit % 32;
    }
  }
  return bits;
}();

bool IsCommon(const char* text, size_t length) {
  const size_t width = std::min(length, kWidest);
  for (size_t i = 0; i + width <= length; ++i) {
    if (!IsCommonGram(LoadGram(text + i, width))) return false;
  }
  return true;
}

}  // namespace byod::data
