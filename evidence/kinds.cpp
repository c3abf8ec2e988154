// SPDX-License-Identifier: Apache-2.0
#include "evidence/kinds.h"

#include <algorithm>

namespace byod::evidence {
namespace {

constexpr std::string_view kKindNames[kKindCount] = {"host-name", "vendor-class", "option-list",
                                                     "brand", "dhcp-client"};
constexpr std::string_view kFieldNames[kFieldCount] = {"vendor", "category", "os", "name"};

}  // namespace

std::string_view NameOf(Kind kind) {
  return kKindNames[static_cast<size_t>(kind)];
}

std::optional<Kind> KindNamed(std::string_view name) {
  const auto found = std::ranges::find(kKindNames, name);
  if (found == std::end(kKindNames)) return std::nullopt;
  return static_cast<Kind>(found - std::begin(kKindNames));
}

std::string_view NameOf(Field field) {
  return kFieldNames[field];
}

}  // namespace byod::evidence
