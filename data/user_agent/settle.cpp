// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "data/containers/steps.h"
#include "data/rule_store.h"
#include "data/user_agent/match_link.h"

namespace byod::data {
namespace {

/// @return the first place from which on no place has a property, which those before it have
template <typename Has>
size_t FirstWithout(size_t first, size_t last, Has has) {
  while (first < last) {  // the range shrinks with each turn
    CountStep();
    const size_t middle = first + (last - first) / 2;
    if (has(middle)) {
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  return first;
}

}  // namespace

bool Settle(ByodUserAgentRule* rule, OrderOfRules before) {
  const RankedList<LengthMark>& list = store.match_list;
  const Entry* const entry = store.user_agent_index.EntryOf(*rule);
  if (entry == nullptr || !list.Mirrored()) return false;

  const size_t length = std::strlen(rule->keyword);
  const auto mark = [&](size_t place) -> const LengthMark& { return list.MarkAtIndex(place); };
  const size_t first =
      FirstWithout(0, list.size(), [&](size_t place) { return mark(place).length > length; });
  const size_t last =
      FirstWithout(first, list.size(), [&](size_t place) { return mark(place).length >= length; });
  const size_t own = FirstWithout(
      first, last, [&](size_t place) { return mark(place).entry->label < entry->label; });
  if (own == last || mark(own).entry != entry) return false;

  // Among the others, of which those behind the rule's own place stand one place further on.
  const size_t wanted = FirstWithout(first, last - 1, [&](size_t place) {
    return before(RuleOfMatchLink(list.LinkAtIndex(place < own ? place : place + 1)), rule);
  });
  if (wanted != own) store.user_agent_index.Move(own, wanted);
  return true;
}

}  // namespace byod::data
