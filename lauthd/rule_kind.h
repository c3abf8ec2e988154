// What the three kinds of rule differ in. Everything the daemon does with rules is told once, over
// one of these:
//
//   Rule, Record           the rule, and its stored form
//   Key                    what names it in a request
//   kMethod, kName         BYOD_METHOD_*, and a word for people
//   kRuleMessage and so on the message kinds
//   Find(key)              the very rule that the key names
//   FindOrNew(key, ...)    as the library's function
//   Erase(rule)            out of the table, and released
//   First(), Next(rule)    the table in order
//   Before(rule, key)      whether the rule stands before the key in that order
//   NextOf(key), NextConfigured(key)
//   KeyOf(rule)
//   Save(rule), Unsave(rule)
#ifndef LAUTHD_RULE_KIND_H
#define LAUTHD_RULE_KIND_H

#include <cstddef>
#include <cstring>
#include <string>

#include "byod_data.h"
#include "byod_db.h"
#include "byod_tlv.h"
#include "data/bounded_copy.h"
#include "data/internal.h"
#include "lauth_avl.h"
#include "lauth_text.h"

namespace byod::lauthd {

inline bool IsConfigured(uint32_t origin, uint32_t modified) {
  return origin == BYOD_RULE_CUSTOM || modified == 1;
}

struct MacKind {
  using Rule = ByodMacRule;
  using Record = ByodMacRuleShowRec;
  using Key = ByodMacRule;  // of which only address and mask count

  static constexpr uint32_t kMethod = BYOD_METHOD_MAC;
  static constexpr const char* kName = "MAC";
  static constexpr uint32_t kRuleMessage = BYOD_MSG_MACRULE;
  static constexpr uint32_t kValueMessage = BYOD_MSG_MAC_VALUE;
  static constexpr uint32_t kAttributeMessage = BYOD_MSG_MAC_DEVATTR;
  static constexpr const char* kDatabaseKey = BYOD_DB_MAC_KEY;

  static Rule* Find(const Key& key) { return BYOD_data_SetFindMacRule(&key); }
  static Rule* FindOrNew(const Key& key, uint16_t* created, uint32_t* err) {
    return BYOD_data_FindOrNewMacRule(&key, BYOD_RULE_CUSTOM, created, err);
  }
  static void Erase(Rule* rule) { BYOD_DeleteMacRule(rule); }
  static const ByodMacTable& Table() { return *BYOD_data_GetMacRuleTbl(); }
  static Rule* First() { return static_cast<Rule*>(AVL_GetLeftMost(Table().tree)); }
  static Rule* Next(Rule* rule) { return static_cast<Rule*>(AVL_GetNext(Table().tree, rule)); }
  static bool Before(const Rule& rule, const Key& key) {
    return byod_data_MacRuleCompare(&rule, &key) < 0;
  }
  static Rule* NextOf(const Key& key);
  static Rule* NextConfigured(const Key& key) { return BYOD_ProcGetNextMacByConfig(&key); }
  static Key KeyOf(const Rule& rule) {
    Key key = {};
    std::memcpy(key.mac, rule.mac, sizeof key.mac);
    std::memcpy(key.mask, rule.mask, sizeof key.mask);
    return key;
  }
  static bool SameKey(const Key& a, const Key& b) {
    return std::memcmp(a.mac, b.mac, sizeof a.mac) == 0 &&
           std::memcmp(a.mask, b.mask, sizeof a.mask) == 0;
  }
  static Key KeyOfRecord(const Record& record);
  static std::string Describe(const Key& key);

  static uint32_t Save(const Rule* rule) { return BYOD_db_AddMacRule(rule); }
  static uint32_t Unsave(const Key& key);
  static uint32_t Encode(uint32_t msg, const Rule* rule, uint32_t mode) {
    return BYOD_tlv_EncapMacRuleAllInfo(msg, rule, mode);
  }
};

/// @return a text as people read it in a message
std::string Quoted(const char* text);

/// The two kinds that are named by a text.
struct TextKey {
  char text[BYOD_RULETEXT_SIZE];
};

template <typename Derived, typename RuleType>
struct TextKind {
  using Rule = RuleType;
  using Record = ByodTextRuleShowRec;
  using Key = TextKey;

  static Rule* RuleOf(ByodLink* link) {
    if (link == nullptr) return nullptr;
    return reinterpret_cast<Rule*>(reinterpret_cast<char*>(link) - offsetof(Rule, list_link));
  }
  static Rule* First() { return RuleOf(Derived::Table().list); }
  static Rule* Next(Rule* rule) { return RuleOf(rule->list_link.next); }
  static bool Before(const Rule& rule, const Key& key) {
    return std::strcmp(Derived::TextOf(rule), key.text) < 0;
  }
  /// Rules of the same text would come again and again when a client pages from text to text.
  static Rule* NextOf(const Key& key) {
    Rule* rule = Derived::LibraryNext(key.text);
    while (rule != nullptr && std::strcmp(Derived::TextOf(*rule), key.text) == 0)
      rule = Next(rule);
    return rule;
  }
  static Rule* NextConfigured(const Key& key) {
    Rule* rule = NextOf(key);
    while (rule != nullptr && !IsConfigured(rule->origin, rule->modified))
      rule = Next(rule);
    return rule;
  }
  static Key KeyOf(const Rule& rule) {
    Key key = {};
    CopyText(key.text, Derived::TextOf(rule));
    return key;
  }
  static bool SameKey(const Key& a, const Key& b) { return std::strcmp(a.text, b.text) == 0; }
  static Key KeyOfRecord(const Record& record) {
    Key key = {};
    CopyText(key.text, record.text);
    return key;
  }
  static std::string Describe(const Key& key) { return Quoted(key.text); }
  static Record RecordOf(const Key& key) {
    Record record = {};
    CopyText(record.text, key.text);
    return record;
  }
};

struct UserAgentKind : TextKind<UserAgentKind, ByodUserAgentRule> {
  static constexpr uint32_t kMethod = BYOD_METHOD_USERAGENT;
  static constexpr const char* kName = "User-Agent";
  static constexpr uint32_t kRuleMessage = BYOD_MSG_UARULE;
  static constexpr uint32_t kValueMessage = BYOD_MSG_UA_VALUE;
  static constexpr uint32_t kAttributeMessage = BYOD_MSG_UA_DEVATTR;
  static constexpr const char* kDatabaseKey = BYOD_DB_USERAGENT_KEY;
  static constexpr uint16_t kKeyElement = BYOD_TLV_USERAGENT;

  static const char* TextOf(const Rule& rule) { return rule.keyword; }
  static const ByodUserAgentTable& Table() { return *BYOD_data_GetUserAgentRuleTbl(); }
  static Rule* LibraryNext(const char* text) { return BYOD_data_GetNextUserAgentRule(text); }
  static Rule* Find(const Key& key) { return BYOD_data_FindUserAgentRule(key.text); }
  static Rule* FindOrNew(const Key& key, uint16_t* created, uint32_t* err) {
    return BYOD_data_FindOrNewUserAgentRule(key.text, BYOD_RULE_CUSTOM, created, err);
  }
  static void Erase(Rule* rule) { BYOD_DeleteUserAgent(rule); }
  static uint32_t DecodeRule(uint32_t msg, uint32_t* origin, char* text_and_name) {
    return BYOD_tlv_GetUserAgentRule(msg, origin, text_and_name);
  }
  static uint32_t Save(const Rule* rule) { return BYOD_db_AddUserAgentRule(rule); }
  static uint32_t Unsave(const Key& key) {
    const Record record = RecordOf(key);
    return BYOD_db_DeleteUserAgentRule(&record);
  }
  static uint32_t Encode(uint32_t msg, const Rule* rule, uint32_t mode) {
    return BYOD_tlv_EncapUserAgentRuleAllInfo(msg, rule, mode);
  }
};

struct DhcpOptionKind : TextKind<DhcpOptionKind, ByodDhcpOptionRule> {
  static constexpr uint32_t kMethod = BYOD_METHOD_DHCP;
  static constexpr const char* kName = "DHCP option";
  static constexpr uint32_t kRuleMessage = BYOD_MSG_DHCPOPTRULE;
  static constexpr uint32_t kValueMessage = BYOD_MSG_DHCPOPT_VALUE;
  static constexpr uint32_t kAttributeMessage = BYOD_MSG_DHCPOPT_DEVATTR;
  static constexpr const char* kDatabaseKey = BYOD_DB_DHCPOPT_KEY;
  static constexpr uint16_t kKeyElement = BYOD_TLV_DHCPOPT;

  static const char* TextOf(const Rule& rule) { return rule.text; }
  static const ByodDhcpOptionTable& Table() { return *BYOD_data_GetDhcpOptionRuleTbl(); }
  static Rule* LibraryNext(const char* text) { return BYOD_data_GetNextDhcpOptionRule(text); }
  static Rule* Find(const Key& key) { return BYOD_data_FindDhcpOptionRule(key.text); }
  static Rule* FindOrNew(const Key& key, uint16_t* created, uint32_t* err) {
    return BYOD_data_FindOrNewDhcpOptionRule(key.text, BYOD_RULE_CUSTOM, created, err);
  }
  static void Erase(Rule* rule) { BYOD_DeleteDhcpOption(rule); }
  static uint32_t DecodeRule(uint32_t msg, uint32_t* origin, char* text_and_name) {
    return BYOD_tlv_GetDhcpOptionRule(msg, origin, text_and_name);
  }
  static uint32_t Save(const Rule* rule) { return BYOD_db_AddDhcpOptionRule(rule); }
  static uint32_t Unsave(const Key& key) {
    const Record record = RecordOf(key);
    return BYOD_db_DeleteDhcpOptionRule(&record);
  }
  static uint32_t Encode(uint32_t msg, const Rule* rule, uint32_t mode) {
    return BYOD_tlv_EncapDhcpOptionRuleAllInfo(msg, rule, mode);
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

#endif  // LAUTHD_RULE_KIND_H
