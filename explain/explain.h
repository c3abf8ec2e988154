// SPDX-License-Identifier: Apache-2.0
// Why an identification came out as it did.
//
// Goes through the same rules in the same order as the identification, by the exported lookups of
// the library, and writes down each step. The daemon and its front end explain alike: both ask
// here. Threads: as byod_data.h, callers serialise.
#ifndef BYOD_EXPLAIN_EXPLAIN_H
#define BYOD_EXPLAIN_EXPLAIN_H

#include <cstdint>
#include <string>
#include <vector>

#include "byod_data.h"
#include "explain/rule_search.h"

namespace byod::explain {

/// Which of a rule's two device info records a text is from.
enum class Source { kNone, kPredefined, kConfigured };

/// What a rule says of one field.
struct Field {
  std::string value;  ///< empty = nothing
  Source source = Source::kNone;
  bool is_used = false;  ///< not when an earlier method had filled the field, nor without a value

  bool operator==(const Field&) const = default;
};

/// What came after a method.
enum class Next {
  kContinue,  ///< something is still open, and there is a method left
  kComplete,  ///< all that is asked for is known, the search stops
  kExhausted  ///< something is still open, but the order ends here
};

/// One method of the order.
struct Step {
  uint32_t method = BYOD_METHOD_COUNT;  ///< BYOD_METHOD_*
  Lookup lookup = Lookup::kNoValue;
  std::string rule;        ///< the rule's expression, option list, or block: 00:11:22:00:00:00/24
  bool is_custom = false;  ///< the rule's origin
  std::vector<Field> fields;  ///< by kField*; none without a rule
  Next next = Next::kContinue;

  bool operator==(const Step&) const = default;
};

/// Positions in Step::fields: vendor, category and OS when attributes are searched, else the name.
enum { kFieldVendor = 0, kFieldCategory = 1, kFieldOs = 2, kFieldCount = 3, kFieldName = 0 };

/// The search for vendor, category and OS.
struct AttributeSearch {
  std::vector<Step> steps;
  uint32_t result = BYOD_ERR_FAILED;  ///< of BYOD_data_GetDeviceAttributeByFingerPrint
  ByodDeviceAttribute attributes = {};
};

/// The search for the name.
struct NameSearch {
  std::vector<Step> steps;
  uint32_t result = BYOD_ERR_FAILED;  ///< of BYOD_data_GetDeviceTypeByFingerPrint
  std::string name;
};

/// Explains what BYOD_data_GetDeviceAttributeByFingerPrint answers to a cleared record.
AttributeSearch ExplainAttributes(const ByodFingerPrint& fingerprint);

/// Explains what BYOD_data_GetDeviceTypeByFingerPrint answers when a name of any length fits.
NameSearch ExplainName(const ByodFingerPrint& fingerprint);

/// Both searches, step by step.
struct Explanation {
  std::vector<Step> attributes;
  std::vector<Step> name;

  bool operator==(const Explanation&) const = default;
};

Explanation Explain(const ByodFingerPrint& fingerprint);
/// The same with the rules that have been found already.
Explanation Explain(RuleSearch& rules);

}  // namespace byod::explain

#endif  // BYOD_EXPLAIN_EXPLAIN_H
