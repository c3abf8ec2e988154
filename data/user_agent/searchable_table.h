// SPDX-License-Identifier: Apache-2.0
// The User-Agent table as the store holds it: with the search for the first match behind it.
#ifndef BYOD_DATA_USER_AGENT_SEARCHABLE_TABLE_H
#define BYOD_DATA_USER_AGENT_SEARCHABLE_TABLE_H

#include "byod_data.h"

namespace byod::data {

/// @return the first rule of the match list that matches, or null
const ByodUserAgentRule* FirstMatch(const char* ua);

/// Whether a rule belongs before another one of its length.
using OrderOfRules = bool (*)(const ByodUserAgentRule* rule, const ByodUserAgentRule* other);

/**
 * Moves a rule to where it belongs among those of its length, which stand in this order. Takes as
 * many steps as an addition and no memory, and never fails for a list that was made by additions.
 *
 * @return false, with nothing changed, when the index does not know the list
 */
bool Settle(ByodUserAgentRule* rule, OrderOfRules before);

/// The User-Agent table in the store. Behind the exported record stands the search, for the
/// programs: the exported functions return what the matching rule says, but not which rule it is.
/// Among rules of one length the exported functions leave the place of a new one to chance.
struct SearchableUserAgentTable {
  ByodUserAgentTable table;
  const void* self;  // the address of this record, if the search is there
  const ByodUserAgentRule* (*first_match)(const char* ua);
  const void* self_too;  // likewise for what follows, which came later
  bool (*settle)(ByodUserAgentRule* rule, OrderOfRules before);
};

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_SEARCHABLE_TABLE_H
