// SPDX-License-Identifier: Apache-2.0
// The result of an identification.
#ifndef BYODCTL_TEXT_ANSWER_H
#define BYODCTL_TEXT_ANSWER_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "evidence/evidence.h"
#include "explain/explain.h"

namespace byod::ctl {

/// What a terminal of a user group may do.
struct AuthorizationSet {
  std::string group;
  std::string type;  ///< the category that the set is for; "*" = any
  std::vector<std::pair<std::string, std::string>> attributes;
};

/// A field that no rule answered, filled by weaker evidence.
struct FilledField {
  evidence::Field field;
  evidence::Kind kind;
  unsigned confidence;  ///< in percent
  std::string rule;     ///< what matched
};

/// Empty texts are unknown.
struct Answer {
  std::string vendor;
  std::string category;
  std::string os;
  std::string name;
  std::optional<explain::Explanation> explanation;
  std::optional<AuthorizationSet> authorization;
  std::vector<FilledField> filled = {};

  bool IsUnknown() const {
    return vendor.empty() && category.empty() && os.empty() && name.empty();
  }
};

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_ANSWER_H
