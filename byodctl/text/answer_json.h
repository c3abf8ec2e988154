// What all JSON objects about a terminal tell alike.
#ifndef BYODCTL_TEXT_ANSWER_JSON_H
#define BYODCTL_TEXT_ANSWER_JSON_H

#include "byodctl/identification/identifier.h"
#include "byodctl/text/fingerprint_text.h"
#include "byodctl/text/json_line.h"

namespace byod::ctl {

/// Adds what was asked besides the address, what was answered, and what is to be known of both.
void AddAnswer(Json& object, const FingerprintText& text, const Answer& answer, bool identified,
               bool locally_administered);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_ANSWER_JSON_H
