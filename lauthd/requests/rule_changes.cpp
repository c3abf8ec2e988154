#include "lauthd/requests/rule_changes.h"

#include "lauthd/requests/request_key.h"
#include "lauthd/server/daemon.h"
#include "lauthd/state/match_order.h"
#include "lauthd/state/rule_state.h"
#include "tlv/attribute.h"

namespace byod::lauthd {
namespace {

/// What is to become of a rule's configured information.
struct Wish {
  enum class What { kNothing, kNewInfo, kErase, kNoMemory } what = What::kNothing;
  OwnedInfo info;  // none: the rule is to have no configured information
};

Wish WishFor(OwnedInfo info) {
  const bool anything = info && BYOD_data_IsDeviceInfoExist(info.get());
  return {Wish::What::kNewInfo, anything ? std::move(info) : nullptr};
}

/// Wishes for one text of an information to be another.
template <size_t Size>
Wish SetField(const ByodDeviceInfo* configured, char (ByodDeviceInfo::*field)[Size],
              const char* text) {
  const char* const present = configured != nullptr ? configured->*field : "";
  if (std::strcmp(present, text) == 0) return {};
  OwnedInfo info = CopyInfo(configured);
  if (!info) return {Wish::What::kNoMemory, nullptr};
  CopyText(info.get()->*field, text);
  return WishFor(std::move(info));
}

/// A rule that cannot be made: why.
template <typename Kind>
Result CannotMake(const typename Kind::Key& key, uint32_t err) {
  if (err == BYOD_ERR_RULE_LIMIT) {
    return Refused(BYOD_REFUSAL_LIMIT, "the custom rules have reached their limit");
  }
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    if (const ByodMacRule* const other = BYOD_data_FindMacRule(&key)) {
      return Refused(BYOD_REFUSAL_CONFLICT,
                     "overlaps the rule " + Kind::Describe(Kind::KeyOf(*other)));
    }
  }
  return NoMemory();
}

/// Makes a custom rule, and puts it where it belongs among those of its length; in a bulk that is
/// done at its end. @return null when it cannot be made: why in err
template <typename Kind>
typename Kind::Rule* Make(Daemon& daemon, const typename Kind::Key& key, uint32_t& err) {
  uint16_t created = 0;
  auto* const rule = Kind::FindOrNew(key, &created, &err);
  if constexpr (Kind::kMethod == BYOD_METHOD_USERAGENT) {
    if (rule != nullptr && !daemon.bulk.Open()) {
      if (ArrangeMatchList(*rule)) return Kind::Find(key);
      err = BYOD_ERR_FAILED;
      EraseRule<Kind>(rule);
      return nullptr;
    }
  }
  return rule;
}

/// Stores what an administrator gave a rule, or that there is nothing; in a bulk that is done at
/// its end.
template <typename Kind>
bool Save(Daemon& daemon, const typename Kind::Rule& rule) {
  if (daemon.bulk.Open()) return true;
  return daemon.store.Write([&] {
    return IsConfigured(rule.origin, rule.modified) ? Kind::Save(&rule)
                                                    : Kind::Unsave(Kind::KeyOf(rule));
  });
}

template <typename Kind>
Result Erase(Daemon& daemon, typename Kind::Rule* rule) {
  const auto key = Kind::KeyOf(*rule);
  const bool saved = daemon.bulk.Open() || daemon.store.Write([&] { return Kind::Unsave(key); });
  if (!saved) return daemon.store.NotSaved();
  daemon.bulk.Remember<Kind>(
      key, FormerRule<Kind>::Of(rule->origin, OwnedInfo(std::exchange(rule->configured, nullptr))));
  EraseRule<Kind>(rule);
  // A bulk makes use of the room at its end.
  if (!daemon.bulk.Open()) daemon.idle.Retry();
  return {};
}

/// Carries out a change of a rule that is stored but not in effect.
template <typename Kind, typename Edit>
Result ChangeIdle(Daemon& daemon, const typename Kind::Key& key, IdleRule idle, Edit edit) {
  Wish wish = edit(LooseRule<Kind>(key, idle));
  if (wish.what == Wish::What::kNothing) return NoChange();
  if (wish.what == Wish::What::kNoMemory) return NoMemory();
  // Nothing remains of a modification that says nothing.
  const bool erase = wish.what == Wish::What::kErase || (idle.modification && !wish.info);
  idle.info = wish.info ? *wish.info : ByodDeviceInfo();
  const bool saved = daemon.bulk.Open() || daemon.store.Write([&] {
    return erase ? Kind::Unsave(key) : SaveIdle<Kind>(key, idle);
  });
  if (!saved) return daemon.store.NotSaved();
  daemon.bulk.Remember(daemon.idle);
  daemon.bulk.Remember<Kind>(key, FormerRule<Kind>::Idle());
  if (erase) {
    daemon.idle.Erase<Kind>(key);
  } else {
    daemon.idle.Put<Kind>(key, &idle.info, idle.modification);
  }
  return {};
}

/// A rule that is not in effect keeps its place in the database.
template <typename Kind>
Result CheckIdle(const IdleRules& idle, const typename Kind::Key& key) {
  const auto* const other = idle.InTheWayOf<Kind>(key);
  if (other == nullptr) return {};
  return Refused(
      BYOD_REFUSAL_CONFLICT,
      "it overlaps the stored rule " + Kind::Describe(other->first) + ", which is not in effect");
}

/**
 * Carries a change out: in the table, then in the database; when that fails the table is as before.
 *
 * @param create  whether a rule that is not there is made
 * @param edit    (rule) -> Wish
 */
template <typename Kind, typename Edit>
Result Change(Daemon& daemon, const typename Kind::Key& key, bool create, Edit edit) {
  if (!daemon.store.Ready()) return daemon.store.NotSaved();
  daemon.bulk.MakeRoom<Kind>();
  auto* rule = Kind::Find(key);
  const bool created = rule == nullptr;
  if (const auto* const idle = created ? daemon.idle.Find<Kind>(key) : nullptr) {
    const typename Kind::Key stored = idle->first;  // erased with the rule
    return ChangeIdle<Kind>(daemon, stored, idle->second, edit);
  }
  if (created && !create) {
    return Refused(BYOD_REFUSAL_NOT_FOUND,
                   std::string("no ") + Kind::kName + " rule " + Kind::Describe(key));
  }
  if (Result checked = CheckIdle<Kind>(daemon.idle, key); !checked.Ok()) return checked;
  if (created) {
    uint32_t err = 0;
    rule = Make<Kind>(daemon, key, err);
    if (rule == nullptr) return CannotMake<Kind>(key, err);
  }
  Wish wish = edit(*rule);
  if (wish.what == Wish::What::kErase) return Erase<Kind>(daemon, rule);
  if (wish.what == Wish::What::kNothing && !created) return NoChange();
  OwnedInfo old;
  bool saved = false;
  if (wish.what != Wish::What::kNoMemory) {
    if (wish.what == Wish::What::kNewInfo) {
      old = ExchangeInfo<Kind>(*rule, std::move(wish.info));
    }
    saved = Save<Kind>(daemon, *rule);
  }
  if (saved) {
    daemon.bulk.Remember<Kind>(
        Kind::KeyOf(*rule),
        created ? FormerRule<Kind>() : FormerRule<Kind>::Of(rule->origin, std::move(old)));
    return {};
  }
  if (created) {
    EraseRule<Kind>(rule);
  } else if (wish.what == Wish::What::kNewInfo) {
    ExchangeInfo<Kind>(*rule, std::move(old));
  }
  return wish.what == Wish::What::kNoMemory ? NoMemory() : daemon.store.NotSaved();
}

template <typename Kind>
Result ChangeRule(Exchange& exchange) {
  typename Kind::Key key;
  char name[BYOD_DEVNAME_SIZE];
  if (Result read = ReadKeyOf<Kind>(exchange.request, KeyUse::kChange, key); !read.Ok())
    return read;
  if (Result read = ReadNameOf<Kind>(exchange.request, name); !read.Ok()) return read;
  const bool set = exchange.operation == BYOD_OP_SET;
  return Change<Kind>(exchange.daemon, key, set, [&](const typename Kind::Rule& rule) {
    // A rule that is set without a name keeps the one that it has.
    if (set && name[0] == '\0') return Wish();
    return SetField(rule.configured, &ByodDeviceInfo::name, set ? name : "");
  });
}

template <typename Kind>
Result ChangeValue(Exchange& exchange) {
  typename Kind::Key key;
  if (Result read = ReadKeyOf<Kind>(exchange.request, KeyUse::kChange, key); !read.Ok())
    return read;
  const bool set = exchange.operation == BYOD_OP_SET;
  return Change<Kind>(exchange.daemon, key, set, [&](const typename Kind::Rule& rule) -> Wish {
    if (set) return {};
    if (rule.origin == BYOD_RULE_CUSTOM) return {Wish::What::kErase, nullptr};
    if (rule.configured == nullptr) return {};
    return WishFor(nullptr);
  });
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

template <typename Kind>
Result ChangeAttribute(Exchange& exchange) {
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
  return Change<Kind>(exchange.daemon, key, set, [&](const typename Kind::Rule& rule) {
    Wish wish = SetField(rule.configured, attribute->field, set ? text : "");
    // A custom rule ends with the last that it says; one that is only to lose its name stays.
    const bool nothing_left = wish.what == Wish::What::kNewInfo && !wish.info;
    if (nothing_left && rule.origin == BYOD_RULE_CUSTOM) wish.what = Wish::What::kErase;
    return wish;
  });
}

}  // namespace

Result ChangeDhcpOptionRule(Exchange& exchange) {
  return ChangeRule<DhcpOptionKind>(exchange);
}
Result ChangeUserAgentRule(Exchange& exchange) {
  return ChangeRule<UserAgentKind>(exchange);
}
Result ChangeMacRule(Exchange& exchange) {
  return ChangeRule<MacKind>(exchange);
}

Result ChangeDhcpOptionValue(Exchange& exchange) {
  return ChangeValue<DhcpOptionKind>(exchange);
}
Result ChangeUserAgentValue(Exchange& exchange) {
  return ChangeValue<UserAgentKind>(exchange);
}
Result ChangeMacValue(Exchange& exchange) {
  return ChangeValue<MacKind>(exchange);
}

Result ChangeDhcpOptionAttribute(Exchange& exchange) {
  return ChangeAttribute<DhcpOptionKind>(exchange);
}
Result ChangeUserAgentAttribute(Exchange& exchange) {
  return ChangeAttribute<UserAgentKind>(exchange);
}
Result ChangeMacAttribute(Exchange& exchange) {
  return ChangeAttribute<MacKind>(exchange);
}

}  // namespace byod::lauthd
