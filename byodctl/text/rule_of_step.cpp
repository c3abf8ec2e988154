// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/rule_of_step.h"

#include "byodctl/rules/user_agent_band.h"

namespace byod::ctl {

std::string RuleOf(const explain::Step& step) {
  const bool is_plain = step.method != BYOD_METHOD_USERAGENT || !step.is_custom;
  return is_plain ? step.rule : PlainText(step.rule);
}

}  // namespace byod::ctl
