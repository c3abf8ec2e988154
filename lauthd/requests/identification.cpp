// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/identification.h"

#include <algorithm>

#include "data/bounded_copy.h"
#include "explain/explanation_message.h"
#include "lauthd/requests/authorization_requests.h"
#include "lauthd/requests/session.h"
#include "lauthd/requests/wall_clock.h"
#include "lauthd/state/event.h"
#include "lauthd/state/rule_kind.h"
#include "mac.h"
#include "net/mac_address.h"
#include "protocol/counter.h"

namespace byod::lauthd {

using explain::RuleSearch;

namespace {

Result Unidentified() {
  return Refused(BYOD_REFUSAL_UNIDENTIFIED, "nothing matches the fingerprint");
}

void AppendAttributes(tlv::Appender& append, const ByodDeviceAttribute& attributes) {
  append.PresentText(BYOD_TLV_VENDOR, attributes.vendor)
      .PresentText(BYOD_TLV_DEVTYPE, attributes.category)
      .PresentText(BYOD_TLV_OS, attributes.os);
}

/// Whether no rule has anything to say, whatever was asked.
bool NothingMatches(RuleSearch& rules) {
  return rules.FindAttributes().result != 0 && rules.FindName().result != 0;
}

/// Names the rule of which the table holds only pieces.
void NameWholeRules(const ByodFingerPrint& fingerprint, std::vector<explain::Step>& steps) {
  ByodMacRule probe = {};
  std::memcpy(probe.mac, fingerprint.mac, sizeof probe.mac);
  MAC_BroadcastAddr(probe.mask);
  for (explain::Step& step : steps) {
    if (step.method != BYOD_METHOD_MAC || step.lookup != explain::Lookup::kRuleMatched) continue;
    const ByodMacRule* const rule = MacKind::Rules().Covering(probe);
    step.rule = MacKind::Describe(MacKind::KeyOf(*rule));
    step.is_custom = rule->origin == BYOD_RULE_CUSTOM;
  }
}

/// The parts of a fingerprint that no rule matches, of those that the order looks at, as
/// 1 << BYOD_METHOD_*. A list whose text is too long cannot be a rule's, and is not one of them.
uint32_t UnmatchedParts(RuleSearch& rules) {
  uint32_t unmatched = 0;
  for (const uint32_t method : rules.methods()) {
    if (method == BYOD_METHOD_MAC && !rules.HasAddress()) continue;
    if (rules.Of(method).lookup == explain::Lookup::kNoRule) unmatched |= 1u << method;
  }
  return unmatched;
}

/// @return the event as a message; null without memory
Event MakeEvent(const Exchange& exchange, const ByodFingerPrint& fingerprint, uint32_t code,
                const Identity& identity, uint64_t now) try {
  const tlv::Message message(TLV_Create());
  tlv::Appender append(message.get());
  append.Combine(protocol::AppendCounter(message.get(), BYOD_EXT_TIME, now))
      .Number(BYOD_EXT_CLIENT, exchange.session.peer().user)
      .Number(BYOD_TLV_MSGTYPE, exchange.kind)
      .Number(BYOD_TLV_ERRCODE, code);
  AppendFingerPrint(append, fingerprint);
  AppendIdentity(append, identity);
  return append.status() == 0 ? ToEvent(message) : nullptr;
} catch (const std::bad_alloc&) {
  return nullptr;
}

/**
 * Answers one of the three plain questions.
 *
 * @param look    (rules, identity) -> 0 or a code; fills in what it finds
 * @param append  (appender, identity): what is answered
 */
template <typename Look, typename Append>
Result AnswerQuery(Exchange& exchange, Look look, Append append) {
  ByodFingerPrint fingerprint;
  if (Result read = ReadFingerPrint(exchange.request, fingerprint); !read.Ok()) return read;
  RuleSearch rules(fingerprint);
  Identity identity;
  const uint32_t code = look(rules, identity);
  RecordIdentification(exchange, rules, code, identity);
  if (code != 0) return Unidentified();
  tlv::Appender answer = exchange.Answer();
  append(answer, identity);
  return exchange.Answered(answer);
}

/**
 * Answers all that is known, as far as anything is.
 *
 * @param append_more  (appender, rules, identity): what is answered besides, in any case
 */
template <typename AppendMore>
Result AnswerWithIdentity(Exchange& exchange, AppendMore append_more) {
  ByodFingerPrint fingerprint;
  if (Result read = ReadFingerPrint(exchange.request, fingerprint); !read.Ok()) return read;
  RuleSearch rules(fingerprint);
  const Identity identity = IdentityFrom(rules);
  const Result result = identity.Known() ? Result() : Unidentified();
  RecordIdentification(exchange, rules, result.code, identity);
  tlv::Appender append = exchange.Answer(result);
  AppendIdentity(append, identity);
  append_more(append, rules, identity);
  const Result answered = exchange.Answered(append);
  return answered.Ok() ? result : answered;
}

}  // namespace

Identity IdentityFrom(RuleSearch& rules) {
  Identity identity;
  identity.attributes = rules.FindAttributes().values;
  CopyText(identity.name, rules.FindName().text);
  rules.FindDerivedVendor(identity.derived_vendor);
  return identity;
}

Result ReadFingerPrint(uint32_t request, ByodFingerPrint& fingerprint) {
  fingerprint = {};
  if (BYOD_tlv_GetFingerPrint(request, &fingerprint) != 0) {
    return Refused(BYOD_REFUSAL_MALFORMED, "a part of the fingerprint is too long");
  }
  return {};
}

void AppendFingerPrint(tlv::Appender& append, const ByodFingerPrint& fingerprint) {
  if (fingerprint.option_length != 0) {
    append.Bytes(BYOD_TLV_OPTION55,
                 std::min<uint32_t>(fingerprint.option_length, BYOD_OPTION55_MAX),
                 fingerprint.options);
  }
  append.PresentText(BYOD_TLV_USERAGENT, fingerprint.user_agent);
  if (net::LoadMac(fingerprint.mac) != 0) append.Address(BYOD_TLV_MAC, fingerprint.mac);
}

void AppendIdentity(tlv::Appender& append, const Identity& identity) {
  append.PresentText(BYOD_TLV_DEVNAME, identity.name);
  AppendAttributes(append, identity.attributes);
  append.PresentText(BYOD_EXT_DERIVED_VENDOR, identity.derived_vendor);
}

void RecordIdentification(Exchange& exchange, RuleSearch& rules, uint32_t code,
                          const Identity& identity) {
  State& state = exchange.state;
  ++state.counters.identifications;
  const bool unknown = code != 0 && NothingMatches(rules);
  const uint32_t unmatched = UnmatchedParts(rules);
  // An address that no rule covers is nothing special where the rest of the fingerprint is known.
  const bool noted = unknown || (unmatched & ~(1u << BYOD_METHOD_MAC)) != 0;
  if (!noted && state.watch_hub.Empty()) return;
  const uint64_t now = MicrosecondsSince1970();
  if (unknown) ++state.counters.unknowns;
  if (noted) state.unknowns.Note(rules.fingerprint(), unmatched, now);
  if (state.watch_hub.Empty()) return;
  if (const Event event = MakeEvent(exchange, rules.fingerprint(), code, identity, now)) {
    state.watch_hub.Publish(event);
  } else {
    state.watch_hub.Lose();
  }
}

Result QueryDeviceName(Exchange& exchange) {
  return AnswerQuery(
      exchange,
      [](RuleSearch& rules, Identity& found) {
        const explain::NameAnswer& name = rules.FindName();
        CopyText(found.name, name.text);
        return name.result;
      },
      [](tlv::Appender& append, const Identity& found) {
        append.Text(BYOD_TLV_DEVNAME, found.name);
      });
}

Result QueryVendor(Exchange& exchange) {
  return AnswerQuery(
      exchange,
      [](RuleSearch& rules, Identity& found) {
        return rules.FindDerivedVendor(found.derived_vendor);
      },
      [](tlv::Appender& append, const Identity& found) {
        append.Text(BYOD_TLV_VENDOR, found.derived_vendor);
      });
}

Result QueryAttributes(Exchange& exchange) {
  return AnswerQuery(
      exchange,
      [](RuleSearch& rules, Identity& found) {
        const explain::AttributeAnswer& attributes = rules.FindAttributes();
        found.attributes = attributes.values;
        return attributes.result;
      },
      [](tlv::Appender& append, const Identity& found) {
        AppendAttributes(append, found.attributes);
      });
}

Result Identify(Exchange& exchange) {
  std::string group;
  if (!ReadGroup(exchange.request, group)) {
    return Refused(BYOD_REFUSAL_MALFORMED, "a group has a name of at most 32 characters");
  }
  const Authorization& authorization = exchange.state.authorization;
  return AnswerWithIdentity(
      exchange, [&](tlv::Appender& append, RuleSearch&, const Identity& identity) {
        const auto* const set =
            group.empty() ? nullptr : authorization.Applying(group, identity.attributes.category);
        if (set != nullptr && !AppendSet(append, group, set->first, set->second)) {
          append.Combine(BYOD_ERR_FAILED);
        }
      });
}

Result Explain(Exchange& exchange) {
  return AnswerWithIdentity(
      exchange, [](tlv::Appender& append, RuleSearch& rules, const Identity&) {
        explain::Explanation explanation = explain::Explain(rules);
        NameWholeRules(rules.fingerprint(), explanation.attributes);
        NameWholeRules(rules.fingerprint(), explanation.name);
        append.Combine(explain::AppendExplanation(append.message(), explanation));
      });
}

}  // namespace byod::lauthd
