// SPDX-License-Identifier: Apache-2.0
// What the two tables of rules keyed by text do alike, on top of rule_table.h. A table states:
//
//   kText                  the member that holds the key
//   Table(), List()        the table's record, and its list in byte order of keys
//   Texts()                the index by key
//   Reserve(rule)          room for the rule in every further index; false without memory, nothing
//                          has changed then; asked last, so that the rule follows at once
//   Index(rule), Unindex(rule)  into and out of every further index
#ifndef BYOD_DATA_TEXT_RULE_TABLE_H
#define BYOD_DATA_TEXT_RULE_TABLE_H

#include <cstddef>
#include <cstring>
#include <optional>

#include "data/fold_case.h"
#include "data/rule_store.h"
#include "data/rule_table.h"

namespace byod::data {

/// The rule in which a link is the list link.
template <typename T>
typename T::Rule* RuleOfListLink(ByodLink* link) {
  if (link == nullptr) return nullptr;
  return reinterpret_cast<typename T::Rule*>(reinterpret_cast<char*>(link) -
                                             offsetof(typename T::Rule, list_link));
}

template <typename T>
const char* TextOf(const typename T::Rule& rule) {
  return rule.*T::kText;
}

template <typename T>
void SetText(typename T::Rule& rule, const char* text) {
  CopyText(rule.*T::kText, text);
}

/// Along the chain of the key's bucket.
template <typename T>
typename T::Rule* FindTextInChain(const char* text) {
  const auto differs = [](const void* rule, const void* key) -> int {
    return !EqualWithoutCase(TextOf<T>(*static_cast<const typename T::Rule*>(rule)),
                             static_cast<const char*>(key));
  };
  return static_cast<typename T::Rule*>(HASH_Find(HashOf(T::Table().hash), text, differs));
}

template <typename T>
typename T::Rule* FindText(const char* text) {
  if (T::Table().hash == nullptr) return nullptr;
  if (T::Texts().rules() != T::Table().rule_count) return FindTextInChain<T>(text);
  return static_cast<typename T::Rule*>(T::Texts().Find(text));
}

/// The byte order of keys, for searches in the list.
template <typename T>
struct ByText {
  explicit ByText(const char* sought) : text(sought), mark(sought) {}

  int operator()(ByodLink& link) const {
    return std::strcmp(text, TextOf<T>(*RuleOfListLink<T>(&link)));
  }

  const char* text;
  TextMark mark;
};

/// Puts a rule into a list whose room is reserved. A rule for which the search finds no place, as
/// the count reaches past the list's end, is left out.
///
/// @return the rule's place in the list, or none
template <typename List, typename Compare>
std::optional<size_t> InsertInOrder(List& list, const ByodLink* head, uint32_t count,
                                    const Compare& compare, ByodLink& link) {
  if (head == nullptr) {
    list.InsertFirst(link, compare.mark);
    return 0;
  }
  const auto place = list.Search(count, compare);
  if (place.link == nullptr) return std::nullopt;
  list.InsertAt(place, link, compare.mark);
  return place.NewIndex();
}

/// Nothing is changed on failure; equal keys are not refused.
template <typename T>
uint32_t AddText(typename T::Rule* rule) {
  if (LimitReached(rule->origin)) return BYOD_ERR_RULE_LIMIT;
  auto& table = T::Table();
  if (table.hash == nullptr || !T::List().Reserve() || !T::Texts().Prepare(TextOf<T>(*rule)) ||
      !T::Reserve(*rule))
    return BYOD_ERR_FAILED;

  HASH_Table* const hash = HashOf(table.hash);
  const char* const text = TextOf<T>(*rule);
  LinkAt(reinterpret_cast<ByodLink*&>(hash->buckets[hash->hash(text)]), rule->hash_link);
  T::Texts().Insert(rule);
  InsertInOrder(T::List(), table.list, table.rule_count, ByText<T>(text), rule->list_link);
  T::Index(*rule);
  Count(table, rule->origin, 1);
  return 0;
}

template <typename T>
void EraseText(typename T::Rule* rule) {
  if (rule == nullptr) return;
  Unlink(rule->hash_link);
  T::Texts().Remove(TextOf<T>(*rule), rule, FindTextInChain<T>);
  T::List().Remove(rule->list_link, ByText<T>(TextOf<T>(*rule)));
  T::Unindex(*rule);
  Count(T::Table(), rule->origin, -1);
  FreeRule(rule);
}

template <typename T>
typename T::Rule* NextText(const char* text) {
  ByodLink* const head = T::Table().list;
  if (head == nullptr) return nullptr;
  const ByText<T> by_text(text);
  if (by_text(*head) < 0) return RuleOfListLink<T>(head);
  const auto place = T::List().Search(T::Table().rule_count, by_text);
  if (place.link == nullptr) return nullptr;
  return RuleOfListLink<T>(place.comparison < 0 ? place.link : place.link->next);
}

}  // namespace byod::data

#endif  // BYOD_DATA_TEXT_RULE_TABLE_H
