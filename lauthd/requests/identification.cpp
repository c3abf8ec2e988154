#include "lauthd/requests/identification.h"

#include <algorithm>
#include <cstring>

#include "byod_order.h"
#include "data/bounded_copy.h"
#include "data/byte_order.h"
#include "explain/explanation_message.h"
#include "lauthd/requests/authorization_requests.h"
#include "lauthd/requests/session.h"
#include "lauthd/requests/wall_clock.h"
#include "mac.h"
#include "protocol/counter.h"

namespace byod::lauthd {
namespace {

Result Unidentified() {
  return Refused(BYOD_REFUSAL_UNIDENTIFIED, "nothing matches the fingerprint");
}

void AppendAttributes(tlv::Appender& append, const ByodDeviceAttribute& attributes) {
  append.PresentText(BYOD_TLV_VENDOR, attributes.vendor)
      .PresentText(BYOD_TLV_DEVTYPE, attributes.category)
      .PresentText(BYOD_TLV_OS, attributes.os);
}

/// Whether no rule at all has something to say, whatever was asked.
bool NothingMatches(const ByodFingerPrint& fingerprint) {
  ByodDeviceAttribute attributes = {};
  char name[BYOD_DEVNAME_SIZE];
  return BYOD_data_GetDeviceAttributeByFingerPrint(&fingerprint, &attributes) != 0 &&
         BYOD_data_GetDeviceTypeByFingerPrint(&fingerprint, sizeof name, name) != 0;
}

bool IsInOrder(uint32_t method) {
  ByodOrder order;
  BYOD_order_GetOrder(&order);
  for (const uint32_t slot : order.slots) {
    if (slot >= BYOD_METHOD_COUNT) return false;
    if (slot == method) return true;
  }
  return false;
}

bool LacksOptionRule(const ByodFingerPrint& fingerprint) {
  char text[BYOD_RULETEXT_SIZE];
  const uint32_t count = std::min<uint32_t>(fingerprint.option_length, BYOD_OPTION55_MAX);
  // A list whose text is too long cannot be a rule's.
  return count != 0 &&
         BYOD_data_GetDhcpOption55String(count, fingerprint.options, sizeof text, text) == 0 &&
         BYOD_data_FindDhcpOptionRule(text) == nullptr;
}

bool LacksUserAgentRule(const ByodFingerPrint& fingerprint) {
  if (fingerprint.user_agent[0] == '\0') return false;
  ByodFingerPrint alone = {};
  CopyText(alone.user_agent, fingerprint.user_agent);
  // No terminal has this address. One of zeros would be looked up for the name.
  MAC_BroadcastAddr(alone.mac);
  return NothingMatches(alone);
}

bool LacksMacRule(const ByodFingerPrint& fingerprint) {
  if (LoadMac(fingerprint.mac) == 0) return false;
  ByodMacRule probe = {};
  std::memcpy(probe.mac, fingerprint.mac, sizeof probe.mac);
  MAC_BroadcastAddr(probe.mask);
  return BYOD_data_FindMacRule(&probe) == nullptr;
}

/// The parts of a fingerprint that no rule matches, of those that the order looks at, as
/// 1 << BYOD_METHOD_*.
uint32_t UnmatchedParts(const ByodFingerPrint& fingerprint) {
  constexpr bool (*kLacks[])(const ByodFingerPrint&) = {LacksOptionRule, LacksUserAgentRule,
                                                        LacksMacRule};
  uint32_t unmatched = 0;
  for (uint32_t method = 0; method < BYOD_METHOD_COUNT; ++method) {
    if (IsInOrder(method) && kLacks[method](fingerprint)) unmatched |= 1u << method;
  }
  return unmatched;
}

/// @return the event as a message; null without memory
Event MakeEvent(const Exchange& exchange, const ByodFingerPrint& fingerprint, uint32_t code,
                const Identity& identity, uint64_t now) {
  const tlv::Message message(TLV_Create());
  tlv::Appender append(message.get());
  append.Combine(protocol::AppendCounter(message.get(), BYOD_EXT_TIME, now))
      .Number(BYOD_EXT_CLIENT, exchange.session.peer().user)
      .Number(BYOD_TLV_MSGTYPE, exchange.kind)
      .Number(BYOD_TLV_ERRCODE, code);
  AppendFingerPrint(append, fingerprint);
  AppendIdentity(append, identity);
  if (append.status() != 0) return nullptr;
  std::vector<uint8_t> bytes(TLV_GetMsgLen(message.get(), tlv::kMemory));
  const auto target = reinterpret_cast<uintptr_t>(bytes.data());
  const auto length = static_cast<uint32_t>(bytes.size());
  if (TLV_Flush(message.get(), tlv::kMemory, length, target) != length) return nullptr;
  return std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
}

/**
 * Answers one of the three plain questions.
 *
 * @param look    (fingerprint, identity) -> 0 or a code; fills in what it finds
 * @param append  (appender, identity): what is answered
 */
template <typename Look, typename Append>
Result AnswerQuery(Exchange& exchange, Look look, Append append) {
  ByodFingerPrint fingerprint;
  if (Result read = ReadFingerPrint(exchange.request, fingerprint); !read.Ok()) return read;
  Identity identity;
  const uint32_t code = look(fingerprint, identity);
  Account(exchange, fingerprint, code, identity);
  if (code != 0) return Unidentified();
  tlv::Appender answer = exchange.Answer();
  append(answer, identity);
  return exchange.Answered(answer);
}

/**
 * Answers all that is known, as far as anything is.
 *
 * @param append_more  (appender, fingerprint, identity): what is answered besides, in any case
 */
template <typename AppendMore>
Result AnswerWithIdentity(Exchange& exchange, AppendMore append_more) {
  ByodFingerPrint fingerprint;
  if (Result read = ReadFingerPrint(exchange.request, fingerprint); !read.Ok()) return read;
  const Identity identity = LookUp(fingerprint);
  const Result result = identity.Known() ? Result() : Unidentified();
  Account(exchange, fingerprint, result.code, identity);
  tlv::Appender append = exchange.Answer(result);
  AppendIdentity(append, identity);
  append_more(append, fingerprint, identity);
  const Result answered = exchange.Answered(append);
  return answered.Ok() ? result : answered;
}

}  // namespace

Identity LookUp(const ByodFingerPrint& fingerprint) {
  Identity identity;
  BYOD_data_GetDeviceAttributeByFingerPrint(&fingerprint, &identity.attributes);
  BYOD_data_GetDeviceTypeByFingerPrint(&fingerprint, sizeof identity.name, identity.name);
  if (identity.name[0] != '\0') {
    BYOD_data_GetDeviceVendorByFingerPrint(&fingerprint, sizeof identity.derived_vendor,
                                           identity.derived_vendor);
  }
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
  if (LoadMac(fingerprint.mac) != 0) append.Address(BYOD_TLV_MAC, fingerprint.mac);
}

void AppendIdentity(tlv::Appender& append, const Identity& identity) {
  append.PresentText(BYOD_TLV_DEVNAME, identity.name);
  AppendAttributes(append, identity.attributes);
  append.PresentText(BYOD_EXT_DERIVED_VENDOR, identity.derived_vendor);
}

void Account(Exchange& exchange, const ByodFingerPrint& fingerprint, uint32_t code,
             const Identity& identity) {
  State& state = exchange.state;
  ++state.counters.identifications;
  const bool unknown = code != 0 && NothingMatches(fingerprint);
  const uint32_t unmatched = UnmatchedParts(fingerprint);
  // An address that no rule covers is nothing special where the rest of the fingerprint is known.
  const bool noted = unknown || (unmatched & ~(1u << BYOD_METHOD_MAC)) != 0;
  if (!noted && state.watch_hub.Empty()) return;
  const uint64_t now = MicrosecondsSince1970();
  if (unknown) ++state.counters.unknowns;
  if (noted) state.unknowns.Note(fingerprint, unmatched, now);
  if (state.watch_hub.Empty()) return;
  if (const Event event = MakeEvent(exchange, fingerprint, code, identity, now)) {
    state.watch_hub.Publish(event);
  }
}

Result QueryDeviceName(Exchange& exchange) {
  return AnswerQuery(
      exchange,
      [](const ByodFingerPrint& fingerprint, Identity& found) {
        return BYOD_data_GetDeviceTypeByFingerPrint(&fingerprint, sizeof found.name, found.name);
      },
      [](tlv::Appender& append, const Identity& found) {
        append.Text(BYOD_TLV_DEVNAME, found.name);
      });
}

Result QueryVendor(Exchange& exchange) {
  return AnswerQuery(
      exchange,
      [](const ByodFingerPrint& fingerprint, Identity& found) {
        return BYOD_data_GetDeviceVendorByFingerPrint(&fingerprint, sizeof found.derived_vendor,
                                                      found.derived_vendor);
      },
      [](tlv::Appender& append, const Identity& found) {
        append.Text(BYOD_TLV_VENDOR, found.derived_vendor);
      });
}

Result QueryAttributes(Exchange& exchange) {
  return AnswerQuery(
      exchange,
      [](const ByodFingerPrint& fingerprint, Identity& found) {
        return BYOD_data_GetDeviceAttributeByFingerPrint(&fingerprint, &found.attributes);
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
      exchange, [&](tlv::Appender& append, const ByodFingerPrint&, const Identity& identity) {
        const auto* const set =
            group.empty() ? nullptr : authorization.Applying(group, identity.attributes.category);
        if (set != nullptr && !AppendSet(append, group, set->first, set->second)) {
          append.Combine(BYOD_ERR_FAILED);
        }
      });
}

Result Explain(Exchange& exchange) {
  return AnswerWithIdentity(
      exchange, [](tlv::Appender& append, const ByodFingerPrint& fingerprint, const Identity&) {
        append.Combine(explain::AppendExplanation(append.message(), explain::Explain(fingerprint)));
      });
}

}  // namespace byod::lauthd
