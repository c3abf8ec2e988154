// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/offline_identifier.h"

#include <stdexcept>

#include "rulefiles/load.h"

namespace byod::ctl {

OfflineIdentifier::OfflineIdentifier(const Settings& settings, rulefiles::Diagnostics& diagnostics)
    : explains_(settings.explains) {
  const rulefiles::RuleSet rules = rulefiles::ReadRuleSet(settings.sources, diagnostics);
  if (BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT) != 0) {
    BYOD_data_GlobalInfoFini();
    throw std::runtime_error("no memory for the rules");
  }
  BYOD_order_Init();
  if (settings.order) BYOD_order_SetOrder(&*settings.order);
  rulefiles::Load(rules, diagnostics);
}

OfflineIdentifier::~OfflineIdentifier() {
  BYOD_order_Fini();
  BYOD_data_GlobalInfoFini();
}

Answer OfflineIdentifier::Identify(const ByodFingerPrint& fingerprint) {
  ByodDeviceAttribute attributes = {};
  char name[BYOD_DEVNAME_SIZE] = "";
  // The results need no check: on failure the texts stay empty.
  BYOD_data_GetDeviceAttributeByFingerPrint(&fingerprint, &attributes);
  BYOD_data_GetDeviceTypeByFingerPrint(&fingerprint, sizeof name, name);
  Answer answer{attributes.vendor, attributes.category, attributes.os, name, {}, {}};
  if (explains_) answer.explanation = explain::Explain(fingerprint);
  return answer;
}

}  // namespace byod::ctl
