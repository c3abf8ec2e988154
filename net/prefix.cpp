// SPDX-License-Identifier: Apache-2.0
#include "net/prefix.h"

#include <bit>
#include <charconv>

namespace byod::net {
namespace {

constexpr unsigned kBits = 48;
constexpr uint64_t kAll = (uint64_t{1} << kBits) - 1;

uint64_t MaskOf(unsigned bits) {
  return kAll & ~(kAll >> bits);
}

}  // namespace

uint64_t Prefix::Last() const {
  return address | (kAll & ~MaskOf(bits));
}

bool Prefix::Contains(const Prefix& other) const {
  return other.bits >= bits && (other.address & MaskOf(bits)) == address;
}

Prefix Prefix::Half(bool upper) const {
  const uint64_t bit = uint64_t{upper} << (kBits - 1 - bits);
  return {address | bit, bits + 1};
}

MacAddress Prefix::Mac() const {
  return MacOf(address);
}

MacAddress Prefix::Mask() const {
  return MacOf(MaskOf(bits));
}

Prefix MakePrefix(uint64_t address, unsigned bits) {
  return {address & MaskOf(bits), bits};
}

Prefix MakePrefix(const MacAddress& mac, unsigned bits) {
  return MakePrefix(LoadMac(mac.data()), bits);
}

Prefix PrefixFromDigits(const std::string& digits) {
  uint64_t address = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), address, 16);
  const unsigned bits = 4 * static_cast<unsigned>(digits.size());
  return MakePrefix(address << (kBits - bits), bits);
}

std::string ToString(const Prefix& prefix) {
  const std::string address = ToString(prefix.Mac());
  return prefix.bits == kBits ? address : address + "/" + std::to_string(prefix.bits);
}

std::string BlockText(const uint8_t* mac, const uint8_t* mask) {
  const uint64_t kept = LoadMac(mask);
  const auto length = static_cast<unsigned>(std::popcount(kept));
  const std::string address = ToString(MacOf(LoadMac(mac)));
  if (MaskOf(length) != kept) return address + "/" + ToString(MacOf(kept));
  return length == kBits ? address : address + "/" + std::to_string(length);
}

}  // namespace byod::net
