// SPDX-License-Identifier: Apache-2.0
// An explanation for programs.
#ifndef BYODCTL_TEXT_EXPLANATION_JSON_H
#define BYODCTL_TEXT_EXPLANATION_JSON_H

#include "byodctl/text/json.h"
#include "explain/explain.h"

namespace byod::ctl {

/**
 * {"attributes": [step...], "name": [step...]}, where a step is
 *
 *     {"method": "user-agent", "lookup": "rule", "rule": "iPhone", "origin": "predefined",
 *      "fields": {"vendor": {"value": "Apple", "source": "predefined", "used": true}, ...},
 *      "next": "continue"}
 *
 * lookup is "rule", "no-rule", "no-value" or "too-long"; without a rule, rule and origin are null
 * and fields is empty. source is "configured", "predefined" or null. next is "continue",
 * "complete" or "exhausted".
 */
Json ExplanationJson(const explain::Explanation& explanation);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_EXPLANATION_JSON_H
