// SPDX-License-Identifier: Apache-2.0
// A hash of bytes that come from the network: without the key nobody can choose many that collide.
#ifndef LAUTHD_STATIONS_KEYED_HASH_H
#define LAUTHD_STATIONS_KEYED_HASH_H

#include <cstddef>
#include <cstdint>

namespace byod::lauthd {

class KeyedHash {
 public:
  /// Draws a key.
  KeyedHash();
  constexpr KeyedHash(uint64_t first, uint64_t second) : key_{first, second} {}

  /// SipHash with one round for each word and three at the end.
  uint64_t Of(const void* bytes, size_t length) const;

 private:
  uint64_t key_[2];
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_KEYED_HASH_H
