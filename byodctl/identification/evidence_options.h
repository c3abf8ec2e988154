// SPDX-License-Identifier: Apache-2.0
// Fills what the rules leave open, by what a terminal shows besides its fingerprint.
#ifndef BYODCTL_IDENTIFICATION_EVIDENCE_OPTIONS_H
#define BYODCTL_IDENTIFICATION_EVIDENCE_OPTIONS_H

#include <string>
#include <string_view>
#include <vector>

#include "byodctl/command_line/parser.h"
#include "byodctl/text/answer.h"
#include "evidence/evidence.h"

namespace byod::ctl {

/// The options that choose the evidence.
struct EvidenceOptions {
  std::vector<std::string> kinds;  ///< names of kinds, or "off"; empty = all
  std::string own_rules;           ///< a directory of an administrator's files; empty = none

  void Declare(Parser& parser);

  /// @return what is wrong with the values; empty = nothing. For Parser::CheckAll.
  std::string Fault() const;
};

class EvidenceFiller {
 public:
  /**
   * Reads the rules. Rows that cannot be used are reported on standard error.
   *
   * @param catalogue  directory of rule files; empty = none
   */
  EvidenceFiller(const EvidenceOptions& options, const std::string& catalogue);

  /// Fills what is open in an answer.
  void Fill(const ByodFingerPrint& fingerprint, std::string_view host_name,
            std::string_view vendor_class, Answer& answer) const;

 private:
  evidence::Kinds kinds_;
  evidence::Evidence evidence_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_EVIDENCE_OPTIONS_H
