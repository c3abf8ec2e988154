// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/rule_changes.h"

#include "lauthd/requests/request_key.h"
#include "lauthd/state/rule_state.h"
#include "lauthd/state/state.h"
#include "lauthd/state/stored_name.h"
#include "tlv/attribute.h"

namespace byod::lauthd {
namespace {

/// What a request does to a rule's configured device info.
struct Edit {
  enum class Action { kNothing, kReplaceInfo, kErase, kNoMemory } action = Action::kNothing;
  OwnedInfo info;  // the new one; null: the rule has none afterwards
};

Edit ReplaceInfo(OwnedInfo info) {
  const bool anything = info && BYOD_data_IsDeviceInfoExist(info.get());
  return {Edit::Action::kReplaceInfo, anything ? std::move(info) : nullptr};
}

/// Replaces one text of a device info.
template <size_t Size>
Edit SetField(const ByodDeviceInfo* configured, char (ByodDeviceInfo::*field)[Size],
              const char* text) {
  const char* const present = configured != nullptr ? configured->*field : "";
  if (std::strcmp(present, text) == 0) return {};
  OwnedInfo info = CopyInfo(configured);
  if (!info) return {Edit::Action::kNoMemory, nullptr};
  CopyText(info.get()->*field, text);
  return ReplaceInfo(std::move(info));
}

/// A rule that cannot be made: why.
template <typename Kind>
Result CannotMake(const typename Kind::Key& key, uint32_t err) {
  if (err == BYOD_ERR_RULE_LIMIT) {
    return Refused(BYOD_REFUSAL_LIMIT, "the custom rules have reached their limit");
  }
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    if (err == kErrCarvedLimit) return Refused(BYOD_REFUSAL_LIMIT, Kind::WhyNot(key));
    if (err == kErrBadBlock) return Refused(BYOD_REFUSAL_CONFLICT, Kind::WhyNot(key));
  }
  return NoMemory();
}

/// Whether the limit allows one more custom rule.
bool HasRoom(const State& state) {
  const uint32_t limit = state.options.rule_limit;
  return limit == BYOD_NO_RULE_LIMIT || Byod_GetCustomRuleCount() < limit;
}

/// Makes a custom rule, and puts it where it belongs among those of its length.
/// @return null when it cannot be made: why in err
template <typename Kind>
typename Kind::Rule* Make(State& state, const typename Kind::Key& key, uint32_t& err) {
  if (auto* const withdrawn = Kind::FindWithdrawn(key)) {
    err = HasRoom(state) ? 0 : BYOD_ERR_RULE_LIMIT;
    if (err != 0) return nullptr;
    state.bulk.Reuse<Kind>(withdrawn, key);
    return withdrawn;
  }
  uint16_t created = 0;
  auto* const rule = Kind::FindOrNew(key, &created, &err);
  if (rule == nullptr) return nullptr;
  auto* const arranged = ArrangeRule<Kind>(rule);
  if (arranged == nullptr) err = BYOD_ERR_FAILED;
  return arranged;
}

/// Stores what an administrator gave a rule, or that there is nothing; in a bulk that is done at
/// its end.
template <typename Kind>
bool Save(State& state, const typename Kind::Rule& rule) {
  if (state.bulk.Open()) return true;
  return state.store.Write([&] {
    return IsConfigured(rule.origin, rule.modified) ? Kind::Save(&rule)
                                                    : Kind::Unsave(Kind::KeyOf(rule));
  });
}

template <typename Kind>
Result Erase(State& state, typename Kind::Rule* rule) {
  if (state.bulk.Open()) {
    state.bulk.Delete<Kind>(rule);
    return {};
  }
  const auto key = Kind::KeyOf(*rule);
  if (!state.store.Write([&] { return Kind::Unsave(key); })) return state.store.NotSaved();
  EraseRule<Kind>(rule);
  // A bulk makes use of the room at its end.
  state.idle_rules.Retry();
  return {};
}

/// Carries out a change of a rule that is stored but not in effect.
template <typename Kind, typename MakeEdit>
Result ChangeIdle(State& state, const typename Kind::Key& key, IdleRule idle, MakeEdit make_edit) {
  Edit edit = make_edit(DetachedRule<Kind>(key, idle));
  if (edit.action == Edit::Action::kNothing) return NoChange();
  if (edit.action == Edit::Action::kNoMemory) return NoMemory();
  // Nothing remains of a modification that says nothing.
  const bool erase = edit.action == Edit::Action::kErase || (idle.modification && !edit.info);
  idle.info = edit.info ? *edit.info : ByodDeviceInfo();
  const bool saved = state.bulk.Open() || state.store.Write([&] {
    return erase ? Kind::Unsave(key) : SaveIdle<Kind>(key, idle);
  });
  if (!saved) return state.store.NotSaved();
  state.bulk.Remember(state.idle_rules);
  state.bulk.Remember<Kind>(key, FormerRule<Kind>::Idle());
  if (erase) {
    state.idle_rules.Erase<Kind>(key);
  } else {
    state.idle_rules.Put<Kind>(key, &idle.info, idle.modification);
  }
  return {};
}

/**
 * Carries a change out: in the table, then in the database; when that fails the table is as before.
 *
 * @param create     whether to make a rule that does not exist
 * @param make_edit  (rule) -> Edit
 */
template <typename Kind, typename MakeEdit>
Result Change(State& state, typename Kind::Key key, bool create, MakeEdit make_edit) {
  if (!state.store.Ready()) return state.store.NotSaved();
  state.bulk.MakeRoom<Kind>();
  auto* rule = Kind::Find(key);
  const bool created = rule == nullptr;
  if (const auto* const idle = created ? state.idle_rules.Find<Kind>(key) : nullptr) {
    const typename Kind::Key stored = idle->first;  // erased with the rule
    return ChangeIdle<Kind>(state, stored, idle->second, make_edit);
  }
  if (created && !create) {
    return Refused(BYOD_REFUSAL_NOT_FOUND,
                   std::string("no ") + Kind::kTitle + " rule " + Kind::Describe(key));
  }
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    if (Result chosen = ChooseName(state.idle_rules, key, rule); !chosen.Ok()) return chosen;
  }
  if (created) {
    uint32_t err = 0;
    rule = Make<Kind>(state, key, err);
    if (rule == nullptr) return CannotMake<Kind>(key, err);
  }
  Edit edit = make_edit(*rule);
  if (edit.action == Edit::Action::kErase) return Erase<Kind>(state, rule);
  if (edit.action == Edit::Action::kNothing && !created) return NoChange();
  OwnedInfo old;
  bool saved = false;
  if (edit.action != Edit::Action::kNoMemory) {
    if (edit.action == Edit::Action::kReplaceInfo) {
      old = ExchangeInfo<Kind>(*rule, std::move(edit.info));
    }
    saved = Save<Kind>(state, *rule);
  }
  if (saved) {
    state.bulk.Remember<Kind>(
        Kind::KeyOf(*rule),
        created ? FormerRule<Kind>() : FormerRule<Kind>::Of(rule->origin, std::move(old)));
    return {};
  }
  if (created) {
    state.bulk.Discard<Kind>(rule);
  } else if (edit.action == Edit::Action::kReplaceInfo) {
    ExchangeInfo<Kind>(*rule, std::move(old));
  }
  return edit.action == Edit::Action::kNoMemory ? NoMemory() : state.store.NotSaved();
}

/// Reads an attribute and its text from a request whose key has been read.
template <typename Kind>
Result ReadAttribute(uint32_t request, const tlv::Attribute*& attribute, ByodDeviceInfo& given) {
  uint32_t kind = 0;
  uint32_t status = 0;
  typename Kind::Key key = {};
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    status = BYOD_tlv_GetMacDevicetAttr(request, &kind, &given, &key);
  } else {
    Kind::DecodeKey(request, key, kind);
    if (tlv::AttributeOf(kind) != nullptr) status = BYOD_tlv_GetDevAttr(request, kind, &given);
  }
  if (status != 0) return Refused(BYOD_REFUSAL_MALFORMED, "an attribute has at most 63 characters");
  attribute = tlv::AttributeOf(kind);
  if (attribute != nullptr) return {};
  return Refused(BYOD_REFUSAL_MALFORMED, "the attribute is missing or unknown");
}

}  // namespace

template <typename Kind>
Result ChangeRule(Exchange& exchange) {
  typename Kind::Key key;
  char name[BYOD_DEVNAME_SIZE];
  if (Result read = ReadKeyOf<Kind>(exchange.request, KeyUse::kChange, key); !read.Ok())
    return read;
  if (Result read = ReadNameOf<Kind>(exchange.request, name); !read.Ok()) return read;
  const bool set = exchange.operation == BYOD_OP_SET;
  return Change<Kind>(exchange.state, key, set, [&](const typename Kind::Rule& rule) {
    // A rule that is set without a name keeps the one that it has.
    if (set && name[0] == '\0') return Edit();
    return SetField(rule.configured, &ByodDeviceInfo::name, set ? name : "");
  });
}

template <typename Kind>
Result ChangeRuleValue(Exchange& exchange) {
  typename Kind::Key key;
  if (Result read = ReadKeyOf<Kind>(exchange.request, KeyUse::kChange, key); !read.Ok())
    return read;
  const bool set = exchange.operation == BYOD_OP_SET;
  return Change<Kind>(exchange.state, key, set, [&](const typename Kind::Rule& rule) -> Edit {
    if (set) return {};
    if (rule.origin == BYOD_RULE_CUSTOM) return {Edit::Action::kErase, nullptr};
    if (rule.configured == nullptr) return {};
    return ReplaceInfo(nullptr);
  });
}

template <typename Kind>
Result ChangeRuleAttribute(Exchange& exchange) {
  typename Kind::Key key;
  if (Result read = ReadKeyOf<Kind>(exchange.request, KeyUse::kChange, key); !read.Ok())
    return read;
  const tlv::Attribute* attribute = nullptr;
  ByodDeviceInfo given = {};
  if (Result read = ReadAttribute<Kind>(exchange.request, attribute, given); !read.Ok()) {
    return read;
  }
  const bool set = exchange.operation == BYOD_OP_SET;
  const char* const text = given.*attribute->field;
  if (set && text[0] == '\0') return Refused(BYOD_REFUSAL_MALFORMED, "the attribute is empty");
  return Change<Kind>(exchange.state, key, set, [&](const typename Kind::Rule& rule) {
    Edit edit = SetField(rule.configured, attribute->field, set ? text : "");
    // A custom rule ends with the last that it says; one that is only to lose its name stays.
    const bool nothing_left = edit.action == Edit::Action::kReplaceInfo && !edit.info;
    if (nothing_left && rule.origin == BYOD_RULE_CUSTOM) edit.action = Edit::Action::kErase;
    return edit;
  });
}

template Result ChangeRule<DhcpOptionKind>(Exchange&);
template Result ChangeRule<UserAgentKind>(Exchange&);
template Result ChangeRule<MacKind>(Exchange&);

template Result ChangeRuleValue<DhcpOptionKind>(Exchange&);
template Result ChangeRuleValue<UserAgentKind>(Exchange&);
template Result ChangeRuleValue<MacKind>(Exchange&);

template Result ChangeRuleAttribute<DhcpOptionKind>(Exchange&);
template Result ChangeRuleAttribute<UserAgentKind>(Exchange&);
template Result ChangeRuleAttribute<MacKind>(Exchange&);

}  // namespace byod::lauthd
