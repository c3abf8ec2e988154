// SPDX-License-Identifier: Apache-2.0
// What a terminal shows of itself besides its fingerprint, and what follows from it.
//
// The library answers from address, User-Agent and DHCP option list. What it leaves open may be
// filled by weaker evidence: the host name, the vendor class, an option list that resembles known
// ones. A field that is known is never changed, and each one that is filled says by what, and how
// often that kind of evidence is right.
//
//     const Evidence evidence = Evidence::Load({"/usr/share/byod/rules"}, diagnostics);
//     const Fillings filled = evidence.Fill({vendor, category, os, name}, traces);
//     if (const Filling& it = filled[kCategory]; it.IsSet()) category = it.value;
//
// Threads: an Evidence is not changed after it was loaded; any number of threads may call Fill.
#ifndef BYOD_EVIDENCE_EVIDENCE_H
#define BYOD_EVIDENCE_EVIDENCE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "evidence/kinds.h"
#include "rulefiles/diagnostics.h"

namespace byod::evidence {

/// What is known of a terminal, by Field; an empty text is open. Borrowed.
using Texts = std::array<std::string_view, kFieldCount>;

/// What a terminal shows. An empty part was not seen. Borrowed.
struct Traces {
  std::span<const uint8_t> mac;      ///< 6 bytes
  std::span<const uint8_t> options;  ///< of DHCP option 55, in the order of the terminal
  std::string_view host_name;        ///< DHCP option 12
  std::string_view vendor_class;     ///< DHCP option 60
};

/// What fills an open field. The texts are valid as long as the Evidence.
struct Filling {
  std::string_view value;  ///< empty = the field stays as it is
  Kind kind = Kind::kHostName;
  /// How many of a hundred terminals this kind of evidence was right about, for this field, when
  /// the rule files were measured.
  uint8_t confidence = 0;
  std::string_view rule;  ///< the pattern, prefix, option list, brand or client that matched

  bool IsSet() const { return !value.empty(); }
};

using Fillings = std::array<Filling, kFieldCount>;  ///< by Field

/// A rule that does not decide on its own example.
struct FailedExample {
  rulefiles::Place place;
  std::string rule;
  std::string reason;
};

struct RuleTables;

/// The rules of a catalogue. Without a file of a kind, that kind fills nothing.
class Evidence {
 public:
  struct Directories {
    std::string catalogue;  ///< empty = none
    /// An administrator's own files, of the same names and columns. Their rules are tried before
    /// those of the catalogue. Empty = none.
    std::string own = {};
  };

  /// Fills nothing.
  Evidence();
  ~Evidence();
  Evidence(Evidence&&) noexcept;
  Evidence& operator=(Evidence&&) noexcept;

  /// Reads the files that are there. Rows that cannot be used are reported and left out.
  static Evidence Load(const Directories& directories, rulefiles::Diagnostics& diagnostics);

  /// The number of rules of a kind.
  size_t Count(Kind kind) const;

  /**
   * Fills what is open.
   *
   * Kind after kind, the strongest first, and a field once. A rule that contradicts the category or
   * the OS that is known by then says nothing about the terminal, and is passed over.
   *
   * @param known  of the library's answer
   * @return by field, what fills it; nothing for a field that is known
   */
  Fillings Fill(const Texts& known, const Traces& traces, const Kinds& kinds = Kinds::All()) const;

  /// The rules that do not decide on their own example.
  std::vector<FailedExample> FailedExamples() const;

 private:
  std::unique_ptr<const RuleTables> tables_;
};

}  // namespace byod::evidence

#endif  // BYOD_EVIDENCE_EVIDENCE_H
