// SPDX-License-Identifier: Apache-2.0
// Whether an expression matches a User-Agent: the plain reading of what expressions mean.
#include <cstring>

#include "data/bounded_copy.h"
#include "data/internal.h"

namespace {

bool HasEveryTerm(const char* ua, char* alternative) {
  char* rest = nullptr;
  for (char* term = strtok_r(alternative, "&", &rest); term != nullptr;
       term = strtok_r(nullptr, "&", &rest)) {
    if (std::strstr(ua, term) == nullptr) return false;
  }
  return true;
}

}  // namespace

uint32_t byod_data_UserAgentMatch(const char* ua, const char* expression) {
  char work[BYOD_RULETEXT_SIZE];
  byod::CopyText(work, expression);
  char* rest = nullptr;
  char* alternative = strtok_r(work, "|", &rest);
  // Kept: an expression without any alternative matches every User-Agent.
  if (alternative == nullptr) return 1;
  for (; alternative != nullptr; alternative = strtok_r(nullptr, "|", &rest)) {
    if (HasEveryTerm(ua, alternative)) return 1;
  }
  return 0;
}
