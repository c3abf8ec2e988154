// SPDX-License-Identifier: Apache-2.0
// Which rule of the match list is the first to match a User-Agent, without trying them all.
#ifndef BYOD_DATA_USER_AGENT_INDEX_H
#define BYOD_DATA_USER_AGENT_INDEX_H

#include <cstddef>
#include <cstdint>

#include "byod_data.h"
#include "data/containers/block_pool.h"
#include "data/containers/list_marks.h"
#include "data/containers/open_table.h"
#include "data/containers/ranked_list.h"
#include "data/user_agent/anchor_table.h"
#include "data/user_agent/entry.h"
#include "data/user_agent/expression_terms.h"

namespace byod::data {

/**
 * An index beside the match list.
 *
 *     expression   = alternative || alternative ...   matches if one of them does
 *     alternative  = term && term ...                 if every term occurs in the string
 *
 * Terms are kept once, however many rules share them. Of the terms of an alternative one is its
 * anchor: the alternative is looked at only if the anchor occurs, and the anchor is looked for only
 * where some bytes of it (its window) occur. Both are chosen rare. So a string costs little more
 * than a pass over it in which most places are dismissed by a filter.
 *
 * The order of the match list decides between rules that match, also between equally long ones.
 * Every rule carries a label, and labels ascend along the list: a new rule gets one between those
 * of its neighbours, and where there is none left, some neighbours get new ones.
 *
 * A rule's entry in the index stands beside its link in the match list. It is found by the rule's
 * address as well, and its label finds the link among those of equal length.
 *
 * docs/performance.md, "User-Agent rules", has the reasons and the figures.
 */
class UserAgentIndex {
 public:
  explicit constexpr UserAgentIndex(RankedList<LengthMark>* order) : order_(order) {}

  /// Makes all that a rule needs, before it is put into the match list. @return false without
  /// memory; nothing has changed then
  bool Prepare(ByodUserAgentRule& rule);

  /// What to put into the match list with the rule that is prepared.
  Entry* prepared() const { return prepared_; }

  /// Takes the prepared rule in, which now stands at this place of the match list.
  void Commit(size_t place);

  /// Forgets the prepared rule, which has found no place in the match list.
  void Cancel();

  /// @return the rule's entry, or null
  Entry* EntryOf(const ByodUserAgentRule& rule) const;

  /// Takes a rule out. @param entry  the rule's, whose link is no longer in the match list; may be
  /// null
  void Remove(Entry* entry);

  /// Moves a rule, and its link, from one place of the match list to another.
  void Move(size_t from, size_t to);

  /// Adopts a match list that a caller linked: its rules have no entries yet.
  /// @return false without memory; the index is empty then
  bool Rebuild();

  /// Forgets every rule of the match list and releases the memory.
  void Clear();

  /// @return the first rule of the match list that matches, or null. Nothing is allocated.
  const ByodUserAgentRule* Find(const char* ua) const;

  /// How many bytes the index holds, without what the allocator adds.
  size_t bytes() const;

 private:
  const OpenTable::Slot* SlotOf(const ByodUserAgentRule& rule) const;
  Entry* MakeEntry(ByodUserAgentRule& rule);
  void FreeEntry(Entry* entry);
  bool FillEntry(Entry& entry, const Expression& expression);
  Term* Intern(const Expression::Piece& piece);
  void Release(Term* term);

  Term* ChooseAnchor(const Alternative& alternative) const;
  AlternativeTree& TreeOf(const Alternative& alternative);
  void Anchor(Alternative& alternative);
  void Detach(Alternative& alternative);

  Entry* EntryAt(size_t place) const { return order_->MarkAtIndex(place).entry; }
  void TakeIn(Entry& entry);
  void Label(size_t place);
  void SpreadLabels(size_t place);

  RankedList<LengthMark>* order_;
  BlockPool pool_;  // of terms and entries
  OpenTable terms_;
  AnchorTable anchors_;
  OpenTable entries_;       // by the address of the rule
  AlternativeTree always_;  // those without terms
  Entry* prepared_ = nullptr;
};

}  // namespace byod::data

#endif  // BYOD_DATA_USER_AGENT_INDEX_H
