// SPDX-License-Identifier: Apache-2.0
// What the User-Agent index keeps of a rule: its alternatives and their terms.
#ifndef BYOD_DATA_USER_AGENT_ENTRY_H
#define BYOD_DATA_USER_AGENT_ENTRY_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "byod_data.h"
#include "data/user_agent/alternative_tree.h"

namespace byod::data {

/// What the table of anchors keeps beside a term, so that most places where only a window of it
/// stands are recognized without going to the term.
struct AnchorNote {
  static constexpr uint8_t kMore = 0x80;

  uint8_t window_end;  // offset in the term
  uint8_t length;      // of the term
  char first;          // byte of the term
  uint8_t last;        // the lower bits of its last byte, and kMore if others share the window

  bool MayEndWith(char c) const { return ((static_cast<uint8_t>(c) ^ last) & ~kMore) == 0; }
  bool MoreFollow() const { return (last & kMore) != 0; }
};
static_assert(sizeof(AnchorNote) == sizeof(uint32_t));

/// A term that alternatives share. Its text follows it.
struct Term {
  AlternativeTree anchored;  // those that are looked at when it occurs
  Term* next_in_window;      // while it is an anchor: the others with the same window
  Term* previous_in_window;  // null: the first of them
  uint32_t hash;
  uint32_t uses;       // as often as alternatives hold it
  uint8_t length;      // above 0
  uint8_t window_end;  // offset behind the bytes that it is looked for by, while it is an anchor
  bool common;         // whether all browsers send it

  static size_t BytesFor(size_t length) { return sizeof(Term) + length + 1; }

  char* text() { return reinterpret_cast<char*>(this + 1); }
  const char* text() const { return reinterpret_cast<const char*>(this + 1); }
  size_t WindowWidth() const { return length >= 8 ? 8 : length >= 4 ? 4 : length; }
  AnchorNote NoteOfAnchor() const {
    const auto last = static_cast<uint8_t>(text()[length - 1]);
    const bool more = next_in_window != nullptr;
    return {window_end, length, text()[0],
            static_cast<uint8_t>(more ? last | AnchorNote::kMore : last & ~AnchorNote::kMore)};
  }
};

/// All that is kept for one rule, in one piece of memory: the alternatives and lists of terms
/// follow.
struct Entry {
  ByodUserAgentRule* rule;
  uint64_t label;  // ascends along the match list
  uint32_t alternative_count;
  uint32_t term_count;  // of all alternatives

  static size_t BytesFor(size_t alternatives, size_t terms) {
    return sizeof(Entry) + alternatives * sizeof(Alternative) + terms * sizeof(Term*);
  }

  Alternative* alternatives() { return reinterpret_cast<Alternative*>(this + 1); }
};
static_assert(alignof(Entry) == alignof(Alternative) && alignof(Alternative) >= alignof(Term*));

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_ENTRY_H
