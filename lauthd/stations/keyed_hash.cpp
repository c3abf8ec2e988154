// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/keyed_hash.h"

#include <sys/random.h>

#include <bit>
#include <chrono>
#include <cstring>

#include "net/byte_order.h"

namespace byod::lauthd {
namespace {

struct Words {
  uint64_t a, b, c, d;

  void Round() {
    a += b;
    c += d;
    b = std::rotl(b, 13) ^ a;
    d = std::rotl(d, 16) ^ c;
    a = std::rotl(a, 32);
    c += b;
    a += d;
    b = std::rotl(b, 17) ^ c;
    d = std::rotl(d, 21) ^ a;
    c = std::rotl(c, 32);
  }
};

}  // namespace

KeyedHash::KeyedHash() {
  if (getrandom(key_, sizeof key_, GRND_NONBLOCK) == sizeof key_) return;
  // Right after boot, before the system has collected randomness: better than a constant.
  key_[0] = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  key_[1] = reinterpret_cast<uintptr_t>(this);
}

uint64_t KeyedHash::Of(const void* bytes, size_t length) const {
  Words words = {key_[0] ^ 0x736f6d6570736575, key_[1] ^ 0x646f72616e646f6d,
                 key_[0] ^ 0x6c7967656e657261, key_[1] ^ 0x7465646279746573};
  const auto* at = static_cast<const uint8_t*>(bytes);
  const auto take = [&](uint64_t word) {
    words.d ^= word;
    words.Round();
    words.a ^= word;
  };
  size_t left = length;
  for (; left >= sizeof(uint64_t); left -= sizeof(uint64_t), at += sizeof(uint64_t))
    take(net::LoadLittle<uint64_t>(at));
  uint8_t rest[sizeof(uint64_t)] = {};
  if (left > 0) std::memcpy(rest, at, left);
  rest[7] = static_cast<uint8_t>(length);
  take(net::LoadLittle<uint64_t>(rest));
  words.c ^= 0xff;
  for (int i = 0; i < 3; ++i)
    words.Round();
  return words.a ^ words.b ^ words.c ^ words.d;
}

}  // namespace byod::lauthd
