// SPDX-License-Identifier: Apache-2.0
// Explanations in messages: what the daemon answers, and its front end reads.
//
//     STEP (1012)        nested: one step of the search for vendor, category and OS, in order
//     NAME_STEP (1017)   nested: one step of the search for the name, in order
//
// A step:
//
//     METHOD, OUTCOME, NEXT
//     behind BYOD_OUTCOME_MATCHED:
//     BYOD_TLV_RULESRC, RULE_TEXT
//     BYOD_TLV_VENDOR, BYOD_TLV_DEVTYPE, BYOD_TLV_OS or BYOD_TLV_DEVNAME, if the rule has them
//     SUPPLIED, CONFIGURED
#ifndef BYOD_EXPLAIN_EXPLANATION_MESSAGE_H
#define BYOD_EXPLAIN_EXPLANATION_MESSAGE_H

#include "explain/explain.h"
#include "tlv/append.h"

namespace byod::explain {

/// Appends both searches. @return the combined results, 0 for success
uint32_t AppendExplanation(uint32_t msg, const Explanation& explanation);

/// Reads what AppendExplanation has written; what is missing reads as nothing, and a step that is
/// no message is passed over.
Explanation ReadExplanation(uint32_t msg);

}  // namespace byod::explain

#endif  // BYOD_EXPLAIN_EXPLANATION_MESSAGE_H
