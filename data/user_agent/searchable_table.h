// SPDX-License-Identifier: Apache-2.0
// The User-Agent table as the store holds it: with the search for the first match behind it.
#ifndef BYOD_DATA_USER_AGENT_SEARCHABLE_TABLE_H
#define BYOD_DATA_USER_AGENT_SEARCHABLE_TABLE_H

#include "byod_data.h"

namespace byod::data {

/// @return the first rule of the match list that matches, or null
const ByodUserAgentRule* FirstMatch(const char* ua);

/// The User-Agent table in the store. Behind the exported record stands the search, for the
/// programs: the exported functions return what the matching rule says, but not which rule it is.
struct SearchableUserAgentTable {
  ByodUserAgentTable table;
  const void* self;  // the address of this record, if the search is there
  const ByodUserAgentRule* (*first_match)(const char* ua);
};

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_SEARCHABLE_TABLE_H
