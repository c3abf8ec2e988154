// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/configuration_rows.h"

#include "lauthd/requests/authorization_requests.h"
#include "lauthd/requests/listing.h"
#include "lauthd/requests/order_requests.h"
#include "lauthd/requests/rule_changes.h"
#include "lauthd/requests/rule_queries.h"
#include "lauthd/state/rule_kind.h"

namespace byod::lauthd {
namespace {

/// Value and attribute are read with the whole rule.
template <typename Kind>
constexpr Row kRuleRows[] = {
    {Kind::kMessages.rule, {Kind::kTitle, "rule"}, QueryRule<Kind>, ChangeRule<Kind>},
    {Kind::kMessages.count, {Kind::kTitle, "rule count"}, CountRules<Kind>, nullptr},
    {Kind::kMessages.list, {Kind::kTitle, "rule list"}, ListRules<Kind>, nullptr},
    {Kind::kMessages.value, {Kind::kTitle, "value"}, QueryRule<Kind>, ChangeRuleValue<Kind>},
    {Kind::kMessages.attribute,
     {Kind::kTitle, "attribute"},
     QueryRule<Kind>,
     ChangeRuleAttribute<Kind>},
};

constexpr Row kOtherRows[] = {
    {BYOD_MSG_ORDER, {"order"}, ShowOrder, ChangeOrder},
    {BYOD_EXT_MSG_AUTHORIZATION, {"authorization"}, ShowAuthorization, ChangeAuthorization},
};

}  // namespace

const Row* FindConfigurationRow(uint32_t kind) {
  const Row* found = FindRow(kOtherRows, kind);
  ForEachKind([&](auto rule_kind) {
    if (found == nullptr) found = FindRow(kRuleRows<decltype(rule_kind)>, kind);
  });
  return found;
}

}  // namespace byod::lauthd
