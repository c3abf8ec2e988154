// SPDX-License-Identifier: Apache-2.0
// The fields about a terminal that all listings and events have.
#ifndef BYODCTL_TEXT_ANSWER_ITEM_H
#define BYODCTL_TEXT_ANSWER_ITEM_H

#include "byodctl/text/answer.h"
#include "byodctl/text/fingerprint_text.h"
#include "byodctl/text/listing.h"

namespace byod::ctl {

/// Adds the parts of the fingerprint besides the address, the answer, and flags for both.
void AddAnswer(Item& item, const FingerprintText& text, const Answer& answer, bool is_identified,
               bool is_locally_administered);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_ANSWER_ITEM_H
