// SPDX-License-Identifier: Apache-2.0
// The kinds of evidence, and the fields that it fills.
#ifndef BYOD_EVIDENCE_KINDS_H
#define BYOD_EVIDENCE_KINDS_H

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace byod::evidence {

/// The strongest first. Where two kinds fill the same field, the stronger one does.
enum class Kind : uint8_t {
  kHostName,     ///< a pattern of host-name.csv matches DHCP option 12
  kVendorClass,  ///< a prefix of vendor-class.csv begins DHCP option 60
  kOptionList,   ///< a list of dhcp-option.csv resembles DHCP option 55
  kBrand,        ///< the vendor, known or filled, makes one kind of terminal: brand-category.csv
  kDhcpClient    ///< a DHCP client that many devices build in, of dhcp-client.csv, suggests it
};
inline constexpr size_t kKindCount = 5;

/// "host-name", "vendor-class", "option-list", "brand", "dhcp-client"
std::string_view NameOf(Kind kind);
std::optional<Kind> KindNamed(std::string_view name);

/// A set of kinds.
class Kinds {
 public:
  static Kinds All() { return Kinds((1U << kKindCount) - 1); }
  static Kinds None() { return Kinds(0); }

  bool Has(Kind kind) const { return bits_[static_cast<size_t>(kind)]; }
  void Add(Kind kind) { bits_.set(static_cast<size_t>(kind)); }
  bool IsEmpty() const { return bits_.none(); }

 private:
  explicit Kinds(unsigned bits) : bits_(bits) {}

  std::bitset<kKindCount> bits_;
};

/// Positions in Texts and Fillings.
enum Field : uint8_t { kVendor, kCategory, kOs, kName };
inline constexpr size_t kFieldCount = 4;

/// "vendor", "category", "os", "name"
std::string_view NameOf(Field field);

}  // namespace byod::evidence

#endif  // BYOD_EVIDENCE_KINDS_H
