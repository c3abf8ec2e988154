// SPDX-License-Identifier: Apache-2.0
// Which byte sequences nearly every browser sends: terms are not anchored at them.
#ifndef BYOD_DATA_USER_AGENT_COMMON_GRAMS_H
#define BYOD_DATA_USER_AGENT_COMMON_GRAMS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "data/user_agent/gram.h"

namespace byod::data {

inline constexpr uint32_t kCommonBitCount = 16384;
extern const std::array<uint32_t, kCommonBitCount / 32> kCommonBits;

constexpr uint32_t CommonBitOf(Gram gram) {
  return gram * 0x9E3779B1u / (UINT32_MAX / kCommonBitCount + 1);
}

/// Whether two to four bytes occur in what most User-Agents have in common, or, now and then, only
/// seem to.
inline bool IsCommonGram(Gram gram) {
  const uint32_t bit = CommonBitOf(gram);
  return (kCommonBits[bit / 32] >> bit % 32 & 1) != 0;
}

/// Whether all pieces of a text, of four bytes or of as many as it has, are common. A term is
/// better looked for by other bytes. @param length  above 0
bool IsCommon(const char* text, size_t length);

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_COMMON_GRAMS_H
