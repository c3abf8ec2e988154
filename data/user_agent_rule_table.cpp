// SPDX-License-Identifier: Apache-2.0
// The User-Agent rules: by keyword, in byte order of keywords, and longest keyword first.
#include "data/text_rule_table.h"
#include "data/user_agent/first_match.h"
#include "rulekinds/rule_kind.h"

namespace byod::data {
namespace {

/// Longest first: a longer keyword belongs before a shorter one.
struct ByLength {
  explicit ByLength(const ByodUserAgentRule& rule, Entry* entry)
      : mark{std::strlen(rule.keyword), entry} {}

  LengthMark mark;
};

/// To a rule's own place among those of its length, by the label that the index gave it. Either the
/// index knows every rule of the list or it knows none.
struct ByLabel {
  struct Sought {
    int Compare(const LengthMark& other) const {
      const int comparison = length.Compare(other);
      if (comparison != 0 || length.entry == nullptr) return comparison;
      const uint64_t label = length.entry->label;
      return (label > other.entry->label) - (label < other.entry->label);
    }

    LengthMark length;
  };

  explicit ByLabel(const ByodUserAgentRule& rule, Entry* entry)
      : mark{{std::strlen(rule.keyword), entry}} {}

  Sought mark;
};

struct UserAgentTable : rulekinds::UserAgentKind {
  using Key = const char*;

  static constexpr auto kText = &Rule::keyword;
  static ByodUserAgentTable& Table() { return store.user_agent.table; }
  static RankedList<TextMark>& List() { return store.user_agent_list; }
  static TextIndex& Texts() { return store.user_agent_texts; }

  static Rule* Alloc() { return AllocRule<Rule>(); }
  static void SetKey(Rule& rule, Key keyword) { SetText<UserAgentTable>(rule, keyword); }
  static Rule* Find(Key keyword) { return BYOD_data_FindUserAgentRule(keyword); }
  static Rule* FindSame(Key keyword) { return Find(keyword); }
  static uint32_t Add(Rule* rule) { return BYOD_AddUserAgentRule(rule); }
  static void Erase(Rule* rule) { BYOD_DeleteUserAgent(rule); }

  static bool Reserve(Rule& rule) {
    RankedList<LengthMark>& list = store.match_list;
    const bool known = list.Mirrored();
    // The entries beside an array that is not true any more are lost with the next Reserve.
    if (!known) store.user_agent_index.Clear();
    if (!list.Reserve()) return false;
    if (!known && !store.user_agent_index.Rebuild()) {
      list.Clear();
      return false;
    }
    return store.user_agent_index.Prepare(rule);
  }
  static void Index(Rule& rule) {
    UserAgentIndex& index = store.user_agent_index;
    const auto place = InsertInOrder(store.match_list, store.user_agent.table.match_list,
                                     store.user_agent.table.rule_count,
                                     ByLength(rule, index.prepared()), rule.match_link);
    place ? index.Commit(*place) : index.Cancel();
  }
  static void Unindex(Rule& rule) {
    UserAgentIndex& index = store.user_agent_index;
    if (!store.match_list.Mirrored()) index.Clear();
    Entry* const entry = index.EntryOf(rule);
    store.match_list.Remove(rule.match_link, ByLabel(rule, entry));
    index.Remove(entry);
  }
};

}  // namespace
}  // namespace byod::data

using byod::data::UserAgentTable;

ByodUserAgentRule* BYOD_data_AllocUserAgentRule() {
  return byod::data::AllocRule<ByodUserAgentRule>();
}

void BYOD_data_FreeUserAgentRule(ByodUserAgentRule* rule) {
  byod::data::FreeRule(rule);
}

ByodUserAgentRule* BYOD_data_FindUserAgentRule(const char* keyword) {
  return byod::data::FindText<UserAgentTable>(keyword);
}

uint32_t BYOD_AddUserAgentRule(ByodUserAgentRule* rule) {
  return byod::data::AddText<UserAgentTable>(rule);
}

ByodUserAgentRule* BYOD_data_FindOrNewUserAgentRule(const char* keyword, uint32_t origin,
                                                    uint16_t* created, uint32_t* err) {
  return byod::data::FindOrNew<UserAgentTable>(keyword, origin, created, err);
}

void BYOD_data_AddFileAgentRule(const char* keyword, const ByodDeviceInfo* info) {
  byod::data::AddPredefined<UserAgentTable>(keyword, info);
}

uint32_t BYOD_data_UpdateUserAgentRule(const ByodTextRuleShowRec* record, ByodUserAgentRule* rule) {
  return byod::data::Update<UserAgentTable>(record, rule);
}

void BYOD_data_DelUserAgentRule(const char* keyword) {
  byod::data::Delete<UserAgentTable>(keyword);
}

void BYOD_data_DelDeviceInfoFromAgentRule(uint32_t mode, uint16_t remove, const char* keyword) {
  byod::data::DeletePart<UserAgentTable>(mode, remove, keyword);
}

void BYOD_DeleteUserAgent(ByodUserAgentRule* rule) {
  byod::data::EraseText<UserAgentTable>(rule);
}

ByodUserAgentRule* BYOD_data_GetNextUserAgentRule(const char* keyword) {
  return byod::data::NextText<UserAgentTable>(keyword);
}

ByodUserAgentRule* BYOD_data_GetNextUARule(const char* keyword) {
  if (keyword[0] != '\0') {
    if (const ByodUserAgentRule* const rule = BYOD_data_FindUserAgentRule(keyword)) {
      return byod::data::RuleOfListLink<UserAgentTable>(rule->list_link.next);
    }
  }
  return BYOD_data_GetNextUserAgentRule(keyword);
}

ByodUserAgentRule* byod_data_SearchUserAgentRuleList(uint32_t count, const char* name, int* cmp) {
  const byod::data::ByText<UserAgentTable> by_text(name);
  const auto place = byod::data::store.user_agent_list.Search(count, by_text);
  // The result of comparing the bytes, not that of comparing the marks.
  if (place.link != nullptr) *cmp = by_text(*place.link);
  return byod::data::RuleOfListLink<UserAgentTable>(place.link);
}
