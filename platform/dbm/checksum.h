// SPDX-License-Identifier: Apache-2.0
// The checksum kept beside everything stored, by which a torn or altered record is recognized:
// CRC-32C.
#ifndef LAUTH_PLATFORM_DBM_CHECKSUM_H
#define LAUTH_PLATFORM_DBM_CHECKSUM_H

#include <cstdint>
#include <string_view>

namespace lauth::dbm {

/// Counts bytes in where the processor has no instruction for it. @return the state after them
uint32_t AddByTable(uint32_t state, std::string_view bytes) noexcept;

class Checksum {
 public:
  /// Counts bytes in.
  Checksum& Add(std::string_view bytes) noexcept;

  /// Counts a number in as eight bytes, most significant first.
  Checksum& Add(uint64_t number) noexcept;

  uint32_t Get() const noexcept { return ~state_; }

 private:
  uint32_t state_ = 0xFFFFFFFFU;
};

}  // namespace lauth::dbm

#endif  // LAUTH_PLATFORM_DBM_CHECKSUM_H
