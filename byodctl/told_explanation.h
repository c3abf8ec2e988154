// Explanations as the daemon tells them, in the form in which they are shown.
//
// The daemon goes through the order once and tells of each rule what it supplied; shown are the two
// searches, for the attributes and for the name, of which each ends when it has what it looks for.
#ifndef BYODCTL_TOLD_EXPLANATION_H
#define BYODCTL_TOLD_EXPLANATION_H

#include <functional>

#include "byodctl/client.h"
#include "byodctl/identifier.h"
#include "byodctl/rule.h"

namespace byod::ctl {

/**
 * @param reply       of an explain request
 * @param configured  tells what an administrator set of a rule; asked for modified rules only
 */
Explanation ExplanationIn(const Fields& reply, const ByodFingerPrint& fingerprint,
                          const std::function<rulefiles::DeviceText(const RuleKey&)>& configured);

}  // namespace byod::ctl

#endif  // BYODCTL_TOLD_EXPLANATION_H
