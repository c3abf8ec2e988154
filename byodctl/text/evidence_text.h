// SPDX-License-Identifier: Apache-2.0
// Which fields of an answer evidence filled, for people and for programs.
#ifndef BYODCTL_TEXT_EVIDENCE_TEXT_H
#define BYODCTL_TEXT_EVIDENCE_TEXT_H

#include <string>

#include "byodctl/text/answer.h"
#include "byodctl/text/fingerprint_text.h"
#include "byodctl/text/listing.h"

namespace byod::ctl {

/// Adds the rest of what a terminal shows, and what filled which field of the answer. Marks the
/// values of these fields, which AddAnswer has added.
void AddEvidence(Item& item, const FingerprintText& text, const Answer& answer);

/// A line for each filled field: `    category: Mobile (host-name "*iphone*", 98 of 100 are
/// right)`.
std::string EvidenceText(const Answer& answer);

/// Printed below a table with such a mark.
inline constexpr char kEvidenceNote[] =
    "~ not from a rule, but from weaker evidence: --explain shows which\n";

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_EVIDENCE_TEXT_H
