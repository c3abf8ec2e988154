// SPDX-License-Identifier: Apache-2.0
// The three rule tables behind one set of names, for the tests of what they do alike. A key is a
// number; every table spells it in its own way. Keys in ascending order are rules in ascending
// order.
#ifndef BYOD_TESTS_SUPPORT_RULE_TABLES_H
#define BYOD_TESTS_SUPPORT_RULE_TABLES_H

#include <gtest/gtest.h>

#include "support/rule_store_fixture.h"

namespace byod::test {

/// How many pieces of memory the indexes of a table take for its first rule, and at most for any:
/// two for each sorted list, two for the texts, five for the User-Agent index.
inline constexpr int64_t kIndexArrays = 11;

struct MacRules {
  using Rule = ByodMacRule;
  using Record = ByodMacRuleShowRec;
  static constexpr char kName[] = "MacRules";
  static ByodMacRule Key(unsigned key) {
    return Probe({0x02, 0, 0, 0, static_cast<uint8_t>(key >> 8), static_cast<uint8_t>(key)},
                 {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  }
  static ByodMacTable& Table() { return *BYOD_data_GetMacRuleTbl(); }
  static uint32_t Count() { return BYOD_data_GetMacRuleCount(); }
  static Rule* Alloc() { return BYOD_data_AllocMacRule(); }
  static void Free(Rule* rule) { BYOD_data_FreeMacRule(rule); }
  static void SetKey(Rule& rule, unsigned key) {
    const ByodMacRule probe = Key(key);
    std::memcpy(rule.mac, probe.mac, sizeof rule.mac);
    std::memcpy(rule.mask, probe.mask, sizeof rule.mask);
  }
  static Rule* Find(unsigned key) {
    const ByodMacRule probe = Key(key);
    return BYOD_data_SetFindMacRule(&probe);
  }
  static uint32_t Add(Rule* rule) { return Byod_AddMacRule(rule); }
  static Rule* FindOrNew(unsigned key, uint32_t origin, uint16_t* created, uint32_t* err) {
    const ByodMacRule probe = Key(key);
    return BYOD_data_FindOrNewMacRule(&probe, origin, created, err);
  }
  static void AddFile(unsigned key, const ByodDeviceInfo& info) {
    const ByodMacRule probe = Key(key);
    BYOD_data_AddFileMacRule(&probe, &info);
  }
  static uint32_t Update(const Record* record, Rule* rule) {
    return BYOD_data_UpdateMacRule(record, rule);
  }
  static void Delete(unsigned key) {
    const ByodMacRule probe = Key(key);
    BYOD_data_DelMacRule(&probe);
  }
  static void DeletePart(uint32_t mode, uint16_t remove, unsigned key) {
    const ByodMacRule probe = Key(key);
    BYOD_data_DelDeviceInfoFromMacRule(mode, remove, &probe);
  }
  static void Erase(Rule* rule) { BYOD_DeleteMacRule(rule); }
  static Rule* First() {
    const ByodMacRule probe = {};
    return BYOD_FindRuleFromMacAvlNext(&probe);
  }
  static Rule* Next(unsigned key) {
    const ByodMacRule probe = Key(key);
    return BYOD_FindRuleFromMacAvlNext(&probe);
  }
};

struct UserAgentRules {
  using Rule = ByodUserAgentRule;
  using Record = ByodTextRuleShowRec;
  static constexpr char kName[] = "UserAgentRules";
  static std::string Key(unsigned key) {
    char text[32];
    std::snprintf(text, sizeof text, "Terminal/%05u", key);
    return text;
  }
  static ByodUserAgentTable& Table() { return *BYOD_data_GetUserAgentRuleTbl(); }
  static uint32_t Count() { return BYOD_data_GetUserAgentRuleCount(); }
  static Rule* Alloc() { return BYOD_data_AllocUserAgentRule(); }
  static void Free(Rule* rule) { BYOD_data_FreeUserAgentRule(rule); }
  static char (&Text(Rule& rule))[BYOD_RULETEXT_SIZE] { return rule.keyword; }
  static void SetKey(Rule& rule, unsigned key) { Fill(rule.keyword, Key(key)); }
  static Rule* Find(const std::string& text) { return BYOD_data_FindUserAgentRule(text.c_str()); }
  static Rule* Find(unsigned key) { return Find(Key(key)); }
  static uint32_t Add(Rule* rule) { return BYOD_AddUserAgentRule(rule); }
  static Rule* FindOrNew(const std::string& text, uint32_t origin, uint16_t* created,
                         uint32_t* err) {
    return BYOD_data_FindOrNewUserAgentRule(text.c_str(), origin, created, err);
  }
  static Rule* FindOrNew(unsigned key, uint32_t origin, uint16_t* created, uint32_t* err) {
    return FindOrNew(Key(key), origin, created, err);
  }
  static void AddFile(const std::string& text, const ByodDeviceInfo& info) {
    BYOD_data_AddFileAgentRule(text.c_str(), &info);
  }
  static void AddFile(unsigned key, const ByodDeviceInfo& info) { AddFile(Key(key), info); }
  static uint32_t Update(const Record* record, Rule* rule) {
    return BYOD_data_UpdateUserAgentRule(record, rule);
  }
  static void Delete(const std::string& text) { BYOD_data_DelUserAgentRule(text.c_str()); }
  static void Delete(unsigned key) { Delete(Key(key)); }
  static void DeletePart(uint32_t mode, uint16_t remove, const std::string& text) {
    BYOD_data_DelDeviceInfoFromAgentRule(mode, remove, text.c_str());
  }
  static void DeletePart(uint32_t mode, uint16_t remove, unsigned key) {
    DeletePart(mode, remove, Key(key));
  }
  static void Erase(Rule* rule) { BYOD_DeleteUserAgent(rule); }
  static Rule* First() { return Next(std::string()); }
  static Rule* Next(const std::string& text) {
    return BYOD_data_GetNextUserAgentRule(text.c_str());
  }
  static Rule* Next(unsigned key) { return Next(Key(key)); }
  static ByodLink** List() { return BYOD_data_GetUserAgentRuleList(); }
};

struct DhcpOptionRules {
  using Rule = ByodDhcpOptionRule;
  using Record = ByodTextRuleShowRec;
  static constexpr char kName[] = "DhcpOptionRules";
  static std::string Key(unsigned key) {
    char text[32];
    std::snprintf(text, sizeof text, "1,3,%u", 100000 + key);
    return text;
  }
  static ByodDhcpOptionTable& Table() { return *BYOD_data_GetDhcpOptionRuleTbl(); }
  static uint32_t Count() { return BYOD_data_GetDhcpOptionRuleCount(); }
  static Rule* Alloc() { return BYOD_data_AllocDhcpOptionRule(); }
  static void Free(Rule* rule) { BYOD_data_FreeDhcpOptionRule(rule); }
  static char (&Text(Rule& rule))[BYOD_RULETEXT_SIZE] { return rule.text; }
  static void SetKey(Rule& rule, unsigned key) { Fill(rule.text, Key(key)); }
  static Rule* Find(const std::string& text) { return BYOD_data_FindDhcpOptionRule(text.c_str()); }
  static Rule* Find(unsigned key) { return Find(Key(key)); }
  static uint32_t Add(Rule* rule) { return BYOD_AddDhcpOptionRule(rule); }
  static Rule* FindOrNew(const std::string& text, uint32_t origin, uint16_t* created,
                         uint32_t* err) {
    return BYOD_data_FindOrNewDhcpOptionRule(text.c_str(), origin, created, err);
  }
  static Rule* FindOrNew(unsigned key, uint32_t origin, uint16_t* created, uint32_t* err) {
    return FindOrNew(Key(key), origin, created, err);
  }
  static void AddFile(const std::string& text, const ByodDeviceInfo& info) {
    BYOD_data_AddFileDhcpOptionRule(text.c_str(), &info);
  }
  static void AddFile(unsigned key, const ByodDeviceInfo& info) { AddFile(Key(key), info); }
  static uint32_t Update(const Record* record, Rule* rule) {
    return BYOD_data_UpdateDhcpOptionRule(record, rule);
  }
  static void Delete(const std::string& text) { BYOD_data_DelDhcpOptionRule(text.c_str()); }
  static void Delete(unsigned key) { Delete(Key(key)); }
  static void DeletePart(uint32_t mode, uint16_t remove, const std::string& text) {
    BYOD_data_DelDeviceInfoFromDhcpoptRule(mode, remove, text.c_str());
  }
  static void DeletePart(uint32_t mode, uint16_t remove, unsigned key) {
    DeletePart(mode, remove, Key(key));
  }
  static void Erase(Rule* rule) { BYOD_DeleteDhcpOption(rule); }
  static Rule* First() { return Next(std::string()); }
  static Rule* Next(const std::string& text) {
    return BYOD_data_GetNextDhcpOptionRule(text.c_str());
  }
  static Rule* Next(unsigned key) { return Next(Key(key)); }
  static ByodLink** List() { return BYOD_data_GetDhcpOptionRuleList(); }
};

struct TableNames {
  template <typename Rules>
  static std::string GetName(int) {
    return Rules::kName;
  }
};

using AllTables = ::testing::Types<MacRules, UserAgentRules, DhcpOptionRules>;
using TextTables = ::testing::Types<UserAgentRules, DhcpOptionRules>;

/// A rule in no table.
template <typename Rules>
typename Rules::Rule* NewRule(unsigned key, uint32_t origin) {
  auto* rule = Rules::Alloc();
  rule->origin = origin;
  Rules::SetKey(*rule, key);
  return rule;
}

/// A rule in the table, made as at run time.
template <typename Rules, typename Key>
typename Rules::Rule* Make(Key key, uint32_t origin) {
  uint16_t created = 0;
  uint32_t err = 0;
  auto* rule = Rules::FindOrNew(key, origin, &created, &err);
  EXPECT_NE(rule, nullptr);
  EXPECT_EQ(created, 1);
  EXPECT_EQ(err, 0u);
  return rule;
}

/// A custom rule in the table, with its own device info.
template <typename Rules, typename Key>
typename Rules::Rule* MakeCustom(Key key, const std::string& name, const std::string& vendor = "",
                                 const std::string& category = "", const std::string& os = "") {
  auto* rule = Make<Rules>(key, BYOD_RULE_CUSTOM);
  rule->configured = NewInfo(name, vendor, category, os);
  return rule;
}

/// A predefined rule in the table, with a modification.
template <typename Rules, typename Key>
typename Rules::Rule* MakeModified(Key key, const ByodDeviceInfo& predefined,
                                   const ByodDeviceInfo& configured) {
  Rules::AddFile(key, predefined);
  auto* rule = Rules::Find(key);
  EXPECT_NE(rule, nullptr);
  rule->configured =
      NewInfo(configured.name, configured.vendor, configured.category, configured.os);
  return rule;
}

template <typename Record>
Record RecordOf(const ByodDeviceInfo& info) {
  Record record = {};
  record.info = info;
  return record;
}

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_RULE_TABLES_H
