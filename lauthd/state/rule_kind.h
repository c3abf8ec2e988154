// SPDX-License-Identifier: Apache-2.0
// What the three kinds of rule differ in. All that the daemon does with rules is written once, as a
// template over one of these, which extend the kinds of rulekinds/:
//
//   Key                    what names it in a request
//   Find(key)              the very rule that the key names
//   FindWithdrawn(key)     a withdrawn one of exactly this key; see origin.h
//   FindOrNew(key, ...)    as the library's function
//   Erase(rule)            out of the table, and released
//   TakeName(rule, key)    gives a rule the very key under which it is stored
//   InfoChanged(rule)      to be called after its information was changed
//   Count(), CustomCount() rules in the table
//   First(), Next(rule)    the table in order
//   Before(rule, key)      whether the rule stands before the key in that order
//   NextOf(key), NextConfigured(key)
//   Configured(), ModifiedCount()  rules that an administrator made or modified; modified ones
//   Update(record, rule)   as the library's function
//   KeyOf(rule)
//   MakeRule(key)          a rule of this key in no table, all else zero
//   CompareKeys(a, b)      as the database orders them; SameKey(a, b)
//   RecordOf(rule)         as it is stored; StoredKey(record), the text under which that is
//   Save(rule), Unsave(rule), UnsaveRecord(record)
//   DecodeName(msg, name)  the device name in a request, empty if there is none
#ifndef LAUTHD_STATE_RULE_KIND_H
#define LAUTHD_STATE_RULE_KIND_H

#include <cstddef>
#include <cstring>
#include <string>

#include "byod_data.h"
#include "byod_db.h"
#include "byod_tlv.h"
#include "data/bounded_copy.h"
#include "data/internal.h"
#include "lauth_text.h"
#include "lauthd/state/configured_rules.h"
#include "lauthd/state/mac_rule_set.h"
#include "lauthd/state/origin.h"
#include "rulekinds/rule_kind.h"

namespace byod::lauthd {

/**
 * The last byte of a stored name, which is behind the end of its text, says that the record is the
 * modification of a predefined rule: not a rule of its own when that one is gone. A name of 127
 * characters leaves no room for it.
 */
template <typename Record>
bool IsModification(const Record& record) {
  return record.info.name[BYOD_DEVNAME_SIZE - 1] != 0;
}

/// Fills in what a record stores of a rule beside its key.
template <typename Rule, typename Record>
void FillRecord(const Rule& rule, Record& record) {
  ByodDeviceInfo& info = record.info;
  if (rule.configured != nullptr) {
    AddDeviceInfoToDBRule(rule.configured, info.name, info.vendor, info.category, info.os);
  }
  const bool room = strnlen(info.name, BYOD_DEVNAME_SIZE) < BYOD_DEVNAME_SIZE - 1;
  if (rule.origin == BYOD_RULE_PREDEFINED && room) info.name[BYOD_DEVNAME_SIZE - 1] = 1;
}

/// Calls take(rule) for all rules of a kind.
template <typename Kind, typename Take>
void ForEachRule(Take take) {
  for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule))
    take(*rule);
}

/// @return the index of a kind, complete; null when the table has to be walked
template <typename Kind>
auto* CompleteIndex() {
  auto& configured = Kind::Configured();
  return configured.Complete([](auto take) { ForEachRule<Kind>(take); }) ? &configured : nullptr;
}

template <typename Kind>
uint32_t ModifiedCountOf() {
  if (const auto* const configured = CompleteIndex<Kind>()) {
    return static_cast<uint32_t>(configured->size()) - Kind::CustomCount();
  }
  uint32_t modified = 0;
  ForEachRule<Kind>([&modified](const auto& rule) { modified += rule.modified == 1; });
  return modified;
}

/// Of a kind's rules from one on. @return the first configured one
template <typename Kind>
typename Kind::Rule* WalkToConfigured(typename Kind::Rule* rule) {
  while (rule != nullptr && !IsConfigured(rule->origin, rule->modified))
    rule = Kind::Next(rule);
  return rule;
}

struct MacKind : rulekinds::MacKind {
  using Key = ByodMacRule;  // of which only address and mask count

  static Rule* Find(const Key& key) {
    Rule* const rule = Rules().Find(key);
    return rule != nullptr && !IsWithdrawn(*rule) ? rule : nullptr;
  }
  static Rule* FindWithdrawn(const Key& key) {
    Rule* const rule = Rules().Find(key);
    return rule != nullptr && IsWithdrawn(*rule) ? rule : nullptr;
  }
  /// @param err  may be one of MacRuleSet's
  static Rule* FindOrNew(const Key& key, uint16_t* created, uint32_t* err);
  static uint32_t Update(const Record* record, Rule* rule) {
    return BYOD_data_UpdateMacRule(record, rule);
  }
  static void Erase(Rule* rule) {
    Configured().Leave(*rule);
    Rules().Remove(rule);
  }
  static void InfoChanged(Rule& rule) {
    Rules().ShareInfo(rule);
    Configured().Update(rule);
  }
  static ConfiguredRules<ConfiguredBlocks>& Configured() {
    return ConfiguredRules<ConfiguredBlocks>::Get();
  }
  static uint32_t ModifiedCount() { return ModifiedCountOf<MacKind>(); }
  static MacRuleSet& Rules() { return MacRuleSet::Get(); }
  static ByodMacTable& Table() { return *BYOD_data_GetMacRuleTbl(); }
  static uint32_t Count() { return Rules().Count() - withdrawn_rules<Rule>; }
  static uint32_t CustomCount() { return Table().custom_count; }
  static Rule* First() { return Present(Rules().First()); }
  static Rule* Next(Rule* rule) { return Present(Rules().Next(*rule)); }
  static bool Before(const Rule& rule, const Key& key) { return MacRuleSet::Before(rule, key); }
  static Rule* NextOf(const Key& key) { return Present(Rules().After(key)); }
  static Rule* NextConfigured(const Key& key);
  static Key KeyOf(const Rule& rule) {
    Key key = {};
    std::memcpy(key.mac, rule.mac, sizeof key.mac);
    std::memcpy(key.mask, rule.mask, sizeof key.mask);
    return key;
  }
  static int CompareKeys(const Key& a, const Key& b) {
    const int order = std::memcmp(a.mac, b.mac, sizeof a.mac);
    return order != 0 ? order : std::memcmp(a.mask, b.mask, sizeof a.mask);
  }
  static bool SameKey(const Key& a, const Key& b) { return CompareKeys(a, b) == 0; }
  /// Whether two keys mean the same addresses: bits that the mask leaves out may differ.
  static bool SameBlock(const Key& a, const Key& b);
  /// Gives the rule of a stored key those bits of it: the address as it stands is its name in the
  /// database.
  static void TakeName(Rule& rule, const Key& key) {
    std::memcpy(rule.mac, key.mac, sizeof rule.mac);
  }
  /// @return what keeps a rule from being added, as people read it
  static std::string WhyNot(const Key& key);
  static Key KeyOfRecord(const Record& record);
  static Rule MakeRule(const Key& key) { return KeyOf(key); }
  static std::string Describe(const Key& key);

  static Record RecordOf(const Rule& rule);
  static std::string StoredKey(const Record& record) {
    return {record.mac_text, strnlen(record.mac_text, sizeof record.mac_text)};
  }
  static uint32_t Save(const Rule* rule) {
    const Record record = RecordOf(*rule);
    return BYOD_db_AddMacValue(&record);
  }
  static uint32_t UnsaveRecord(const Record& record) { return BYOD_db_DeleteMacRule(&record); }
  static uint32_t Unsave(const Key& key) { return UnsaveRecord(RecordOf(MakeRule(key))); }
  /// Without the bits that the mask leaves out.
  static uint32_t Encode(uint32_t msg, const Rule* rule, uint32_t mode);
  static uint32_t DecodeName(uint32_t msg, char (&name)[BYOD_DEVNAME_SIZE]);

 private:
  static Rule* Present(Rule* rule) {
    while (rule != nullptr && IsWithdrawn(*rule))
      rule = Rules().Next(*rule);
    return rule;
  }
};

/// @return a text as people read it in a message
std::string Quoted(const char* text);

/// The two kinds that are named by a text.
struct TextKey {
  char text[BYOD_RULETEXT_SIZE];
};

/// What these two differ in.
template <typename Rule, typename Table>
struct TextCalls {
  Table* (*table)();
  uint32_t (*count)();
  Rule* (*find)(const char* text);
  Rule* (*find_or_new)(const char* text, uint32_t origin, uint16_t* created, uint32_t* err);
  Rule* (*alloc)();
  uint32_t (*add)(Rule* rule);
  void (*free)(Rule* rule);
  Rule* (*next)(const char* text);
  void (*erase)(Rule* rule);
  uint32_t (*update)(const ByodTextRuleShowRec* record, Rule* rule);
  uint32_t (*save)(const ByodTextRuleShowRec* record);
  uint32_t (*unsave)(const ByodTextRuleShowRec* record);
  uint32_t (*encode)(uint32_t msg, const Rule* rule, uint32_t mode);
  uint32_t (*decode_key)(uint32_t msg, uint32_t cap, char* text, uint32_t* attribute);
  uint32_t (*decode)(uint32_t msg, uint32_t* origin, char* text_and_name);
};

inline constexpr TextCalls<ByodUserAgentRule, ByodUserAgentTable> kUserAgentCalls = {
    BYOD_data_GetUserAgentRuleTbl,
    BYOD_data_GetUserAgentRuleCount,
    BYOD_data_FindUserAgentRule,
    BYOD_data_FindOrNewUserAgentRule,
    BYOD_data_AllocUserAgentRule,
    BYOD_AddUserAgentRule,
    BYOD_data_FreeUserAgentRule,
    BYOD_data_GetNextUserAgentRule,
    BYOD_DeleteUserAgent,
    BYOD_data_UpdateUserAgentRule,
    BYOD_db_AddUAValue,
    BYOD_db_DeleteUserAgentRule,
    BYOD_tlv_EncapUserAgentRuleAllInfo,
    BYOD_tlv_GetAgentDeviceAttr,
    BYOD_tlv_GetUserAgentRule};

inline constexpr TextCalls<ByodDhcpOptionRule, ByodDhcpOptionTable> kDhcpOptionCalls = {
    BYOD_data_GetDhcpOptionRuleTbl,
    BYOD_data_GetDhcpOptionRuleCount,
    BYOD_data_FindDhcpOptionRule,
    BYOD_data_FindOrNewDhcpOptionRule,
    BYOD_data_AllocDhcpOptionRule,
    BYOD_AddDhcpOptionRule,
    BYOD_data_FreeDhcpOptionRule,
    BYOD_data_GetNextDhcpOptionRule,
    BYOD_DeleteDhcpOption,
    BYOD_data_UpdateDhcpOptionRule,
    BYOD_db_AddDhcpOptionValue,
    BYOD_db_DeleteDhcpOptionRule,
    BYOD_tlv_EncapDhcpOptionRuleAllInfo,
    BYOD_tlv_GetDhcpDeviceAttr,
    BYOD_tlv_GetDhcpOptionRule};

template <typename Base, const auto& kCalls>
struct TextKind : Base {
  using Rule = typename Base::Rule;
  using Record = typename Base::Record;
  using Key = TextKey;

  static auto& Table() { return *kCalls.table(); }
  static uint32_t CustomCount() { return Table().custom_count; }
  static const char* TextOf(const Rule& rule) { return rule.*Base::kText; }
  static Rule* RuleOf(ByodLink* link) {
    if (link == nullptr) return nullptr;
    return reinterpret_cast<Rule*>(reinterpret_cast<char*>(link) - offsetof(Rule, list_link));
  }
  static uint32_t Count() { return kCalls.count() - withdrawn_rules<Rule>; }
  static Rule* First() { return Present(RuleOf(Table().list)); }
  static Rule* Next(Rule* rule) { return Present(RuleOf(rule->list_link.next)); }
  static bool Before(const Rule& rule, const Key& key) {
    return std::strcmp(TextOf(rule), key.text) < 0;
  }
  /// Rules of the same text would come again and again when a client pages from text to text.
  static Rule* NextOf(const Key& key) {
    Rule* rule = kCalls.next(key.text);
    while (rule != nullptr && std::strcmp(TextOf(*rule), key.text) == 0)
      rule = Next(rule);
    return Present(rule);
  }
  static auto& Configured() { return ConfiguredRules<ConfiguredTexts<Rule, Base::kText>>::Get(); }
  static uint32_t ModifiedCount() { return ModifiedCountOf<TextKind>(); }
  static Rule* NextConfigured(const Key& key) {
    const auto* const configured = CompleteIndex<TextKind>();
    if (configured == nullptr) return WalkToConfigured<TextKind>(NextOf(key));
    Rule* const* const found = configured->FirstBehind(key.text);
    return found != nullptr ? *found : nullptr;
  }

  /// The newest rule of a text is the one that the table finds, and no rule is withdrawn while a
  /// newer one is there.
  static Rule* Find(const Key& key) {
    Rule* const rule = kCalls.find(key.text);
    return rule != nullptr && !IsWithdrawn(*rule) ? rule : nullptr;
  }
  static Rule* FindWithdrawn(const Key& key) {
    if (withdrawn_rules<Rule> == 0) return nullptr;
    Rule* rule = kCalls.find(key.text);
    // Older rules of the text, in other spellings, stand behind the newest in its chain.
    while (rule != nullptr && std::strcmp(TextOf(*rule), key.text) != 0)
      rule = NextInChain(*rule);
    return rule != nullptr && IsWithdrawn(*rule) ? rule : nullptr;
  }
  static Rule* FindOrNew(const Key& key, uint16_t* created, uint32_t* err) {
    Rule* rule = kCalls.find(key.text);
    rule = rule != nullptr && IsWithdrawn(*rule)
               ? AddBeside(key, created, err)
               : kCalls.find_or_new(key.text, BYOD_RULE_CUSTOM, created, err);
    if (rule != nullptr) Configured().Update(*rule);
    return rule;
  }
  static uint32_t Update(const Record* record, Rule* rule) { return kCalls.update(record, rule); }
  static void Erase(Rule* rule) {
    Configured().Leave(*rule);
    kCalls.erase(rule);
  }
  static void InfoChanged(Rule& rule) { Configured().Update(rule); }

  static void TakeName(Rule&, const Key&) {}

  static Key KeyOf(const char* text) {
    Key key = {};
    CopyText(key.text, text);
    return key;
  }
  static Key KeyOf(const Rule& rule) { return KeyOf(TextOf(rule)); }
  static Key KeyOfRecord(const Record& record) { return KeyOf(record.text); }
  static Rule MakeRule(const Key& key) {
    Rule rule = {};
    CopyText(rule.*Base::kText, key.text);
    return rule;
  }
  static int CompareKeys(const Key& a, const Key& b) { return std::strcmp(a.text, b.text); }
  static bool SameKey(const Key& a, const Key& b) { return CompareKeys(a, b) == 0; }
  static std::string Describe(const Key& key) { return Quoted(key.text); }

  static Record RecordOf(const Rule& rule) {
    Record record = {};
    CopyText(record.text, TextOf(rule));
    FillRecord(rule, record);
    return record;
  }
  static std::string StoredKey(const Record& record) {
    return {record.text, strnlen(record.text, sizeof record.text)};
  }
  static uint32_t Save(const Rule* rule) {
    const Record record = RecordOf(*rule);
    return kCalls.save(&record);
  }
  static uint32_t UnsaveRecord(const Record& record) { return kCalls.unsave(&record); }
  static uint32_t Unsave(const Key& key) { return UnsaveRecord(RecordOf(MakeRule(key))); }
  static uint32_t Encode(uint32_t msg, const Rule* rule, uint32_t mode) {
    return kCalls.encode(msg, rule, mode);
  }
  static uint32_t DecodeKey(uint32_t msg, Key& key, uint32_t& attribute) {
    return kCalls.decode_key(msg, sizeof key.text, key.text, &attribute);
  }
  static uint32_t DecodeName(uint32_t msg, char (&name)[BYOD_DEVNAME_SIZE]) {
    uint32_t origin = 0;
    char text_and_name[BYOD_RULETEXT_SIZE + BYOD_DEVNAME_SIZE] = {};
    const uint32_t status = kCalls.decode(msg, &origin, text_and_name);
    CopyText(name, text_and_name + BYOD_RULETEXT_SIZE);
    return status;
  }

 private:
  static Rule* Present(Rule* rule) {
    while (rule != nullptr && IsWithdrawn(*rule))
      rule = RuleOf(rule->list_link.next);
    return rule;
  }
  static Rule* NextInChain(const Rule& rule) {
    ByodLink* const link = rule.hash_link.next;
    if (link == nullptr) return nullptr;
    return reinterpret_cast<Rule*>(reinterpret_cast<char*>(link) - offsetof(Rule, hash_link));
  }
  /// Adds a rule beside a withdrawn one of the same text in another spelling.
  static Rule* AddBeside(const Key& key, uint16_t* created, uint32_t* err) {
    *created = 0;
    *err = BYOD_ERR_FAILED;
    Rule* const rule = kCalls.alloc();
    if (rule == nullptr) return nullptr;
    rule->origin = BYOD_RULE_CUSTOM;
    CopyText(rule->*Base::kText, key.text);
    *err = kCalls.add(rule);
    *created = *err == 0;
    if (*err == 0) return rule;
    kCalls.free(rule);
    return nullptr;
  }
};

using UserAgentKind = TextKind<rulekinds::UserAgentKind, kUserAgentCalls>;
using DhcpOptionKind = TextKind<rulekinds::DhcpOptionKind, kDhcpOptionCalls>;

/// The order in which the database keeps the rules of a kind.
template <typename Kind>
struct DatabaseOrder {
  bool operator()(const typename Kind::Key& a, const typename Kind::Key& b) const {
    return Kind::CompareKeys(a, b) < 0;
  }
};

/// Calls a function template's instance for each kind.
template <typename Function>
void ForEachKind(Function function) {
  function(DhcpOptionKind());
  function(UserAgentKind());
  function(MacKind());
}

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RULE_KIND_H
