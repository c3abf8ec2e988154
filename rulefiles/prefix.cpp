#include "rulefiles/prefix.h"

#include <algorithm>
#include <bit>
#include <charconv>

namespace byod::rulefiles {
namespace {

constexpr unsigned kBits = 48;
constexpr uint64_t kAll = (uint64_t{1} << kBits) - 1;

uint64_t MaskOf(unsigned bits) {
  return kAll & ~(kAll >> bits);
}

MacAddress Bytes(uint64_t address) {
  MacAddress mac;
  for (size_t i = mac.size(); i-- > 0; address >>= 8)
    mac[i] = static_cast<uint8_t>(address & 0xFF);
  return mac;
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
  return Bytes(address);
}

MacAddress Prefix::Mask() const {
  return Bytes(MaskOf(bits));
}

Prefix MakePrefix(uint64_t address, unsigned bits) {
  return {address & MaskOf(bits), bits};
}

Prefix MakePrefix(const MacAddress& mac, unsigned bits) {
  uint64_t address = 0;
  for (const uint8_t byte : mac)
    address = address << 8 | byte;
  return MakePrefix(address, bits);
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
  MacAddress address;
  MacAddress kept;
  std::copy_n(mac, address.size(), address.begin());
  std::copy_n(mask, kept.size(), kept.begin());
  const uint64_t bits = MakePrefix(kept, kBits).address;
  const auto length = static_cast<unsigned>(std::popcount(bits));
  if (MaskOf(length) != bits) return ToString(address) + "/" + ToString(kept);
  return length == kBits ? ToString(address) : ToString(address) + "/" + std::to_string(length);
}

}  // namespace byod::rulefiles
