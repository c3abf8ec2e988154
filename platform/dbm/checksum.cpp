// SPDX-License-Identifier: Apache-2.0
#include "platform/dbm/checksum.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "net/byte_order.h"

namespace lauth::dbm {
namespace {

// kTables[n][b] is the effect of byte b followed by n zero bytes, so that eight bytes are counted
// in at once: an open checks every record, and byte after byte that would take longest of all.
constexpr size_t kStride = 8;
using Tables = std::array<std::array<uint32_t, 256>, kStride>;

constexpr Tables MakeTables() {
  Tables tables{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t state = byte;
    for (int bit = 0; bit < 8; ++bit)
      state = (state >> 1) ^ ((state & 1U) != 0 ? 0x82F63B78U : 0U);
    tables[0][byte] = state;
  }
  for (size_t n = 1; n < kStride; ++n) {
    for (size_t byte = 0; byte < 256; ++byte) {
      const uint32_t before = tables[n - 1][byte];
      tables[n][byte] = (before >> 8) ^ tables[0][before & 0xFFU];
    }
  }
  return tables;
}

constexpr Tables kTables = MakeTables();

#if defined(__x86_64__)
__attribute__((target("sse4.2"))) uint32_t AddByInstruction(uint32_t state,
                                                            std::string_view bytes) noexcept {
  const char* at = bytes.data();
  size_t left = bytes.size();
  uint64_t wide = state;
  for (; left >= kStride; left -= kStride, at += kStride) {
    uint64_t word;
    std::memcpy(&word, at, sizeof word);
    wide = __builtin_ia32_crc32di(wide, word);
  }
  state = static_cast<uint32_t>(wide);
  for (; left > 0; --left, ++at)
    state = __builtin_ia32_crc32qi(state, static_cast<unsigned char>(*at));
  return state;
}
#endif

using Adder = uint32_t (*)(uint32_t state, std::string_view bytes) noexcept;

Adder FastestAdder() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("sse4.2")) return AddByInstruction;
#endif
  return AddByTable;
}

}  // namespace

uint32_t AddByTable(uint32_t state, std::string_view bytes) noexcept {
  auto* at = reinterpret_cast<const unsigned char*>(bytes.data());
  size_t left = bytes.size();
  for (; left >= kStride; left -= kStride, at += kStride) {
    const uint32_t low = state ^ byod::net::LoadLittle<uint32_t>(at);
    const uint32_t high = byod::net::LoadLittle<uint32_t>(at + 4);
    state = kTables[7][low & 0xFFU] ^ kTables[6][low >> 8 & 0xFFU] ^ kTables[5][low >> 16 & 0xFFU] ^
            kTables[4][low >> 24] ^ kTables[3][high & 0xFFU] ^ kTables[2][high >> 8 & 0xFFU] ^
            kTables[1][high >> 16 & 0xFFU] ^ kTables[0][high >> 24];
  }
  for (; left > 0; --left, ++at)
    state = (state >> 8) ^ kTables[0][(state ^ *at) & 0xFFU];
  return state;
}

Checksum& Checksum::Add(std::string_view bytes) noexcept {
  static const Adder add = FastestAdder();
  state_ = add(state_, bytes);
  return *this;
}

Checksum& Checksum::Add(uint64_t number) noexcept {
  char bytes[8];
  for (size_t i = 0; i < sizeof bytes; ++i)
    bytes[i] = static_cast<char>(number >> (56 - 8 * i));
  return Add(std::string_view(bytes, sizeof bytes));
}

}  // namespace lauth::dbm
