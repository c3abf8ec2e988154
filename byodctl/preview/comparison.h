// SPDX-License-Identifier: Apache-2.0
// What two daemons answer to the same terminals.
#ifndef BYODCTL_PREVIEW_COMPARISON_H
#define BYODCTL_PREVIEW_COMPARISON_H

#include <cstddef>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "byod_data.h"
#include "byodctl/daemon/settings.h"

namespace byod::ctl {

/// Vendor, category, OS and name.
using PlainAnswer = std::tuple<std::string, std::string, std::string, std::string>;

/// The terminals that one daemon answers with one answer, and the other with another one.
struct Difference {
  size_t terminals = 0;
  size_t examples = 0;
  size_t other_authorization = 0;  ///< of these terminals: some group's set would be another one
};

struct Comparison {
  size_t terminals = 0;  ///< asked about
  size_t examples = 0;   ///< asked about
  /// By the first daemon's answer and the second one's; these are equal where only the
  /// authorization differs.
  std::map<std::pair<PlainAnswer, PlainAnswer>, Difference> differences;

  Difference Total() const;
};

/// @throws Failure if a daemon does not answer
Comparison Compare(const Settings& before, const Settings& after,
                   const std::vector<ByodFingerPrint>& terminals,
                   const std::vector<ByodFingerPrint>& examples);

}  // namespace byod::ctl

#endif  // BYODCTL_PREVIEW_COMPARISON_H
