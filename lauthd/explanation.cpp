// How a fingerprint is identified: each method of the order, and what its rule supplies.
#include <cstddef>

#include "byod_order.h"
#include "data/byte_order.h"
#include "lauthd/identification.h"
#include "lauthd/rule_kind.h"
#include "mac.h"

namespace byod::lauthd {
namespace {

/// What the methods before have found.
struct Progress {
  uint32_t known = 0;  // BYOD_FIELD_* bits

  bool AttributesKnown() const {
    constexpr uint32_t kAll = BYOD_FIELD_VENDOR | BYOD_FIELD_CATEGORY | BYOD_FIELD_OS;
    return (known & kAll) == kAll;
  }
  bool AllKnown() const { return AttributesKnown() && (known & BYOD_FIELD_NAME) != 0; }
};

uint32_t FieldsOf(const ByodDeviceInfo* info) {
  if (info == nullptr) return 0;
  uint32_t fields = 0;
  if (info->name[0] != '\0') fields |= BYOD_FIELD_NAME;
  if (info->vendor[0] != '\0') fields |= BYOD_FIELD_VENDOR;
  if (info->category[0] != '\0') fields |= BYOD_FIELD_CATEGORY;
  if (info->os[0] != '\0') fields |= BYOD_FIELD_OS;
  return fields;
}

/// The lookup of one method: whether the fingerprint has its part, and the rule that decides.
template <typename Kind>
struct Lookup {
  bool has_part = false;
  const typename Kind::Rule* rule = nullptr;
  std::string option_text;
};

Lookup<DhcpOptionKind> LookUpRule(DhcpOptionKind, const ByodFingerPrint& fingerprint) {
  char text[BYOD_RULETEXT_SIZE] = "";
  Lookup<DhcpOptionKind> found;
  found.has_part = fingerprint.option_length != 0 &&
                   BYOD_data_GetDhcpOption55String(fingerprint.option_length, fingerprint.options,
                                                   sizeof text, text) == 0;
  if (!found.has_part) return found;
  found.rule = BYOD_data_FindDhcpOptionRule(text);
  found.option_text = text;
  return found;
}

Lookup<UserAgentKind> LookUpRule(UserAgentKind, const ByodFingerPrint& fingerprint) {
  Lookup<UserAgentKind> found;
  found.has_part = fingerprint.user_agent[0] != '\0';
  if (!found.has_part) return found;
  for (ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
       link = link->next) {
    const auto* const rule = reinterpret_cast<const ByodUserAgentRule*>(
        reinterpret_cast<const char*>(link) - offsetof(ByodUserAgentRule, match_link));
    if (byod_data_UserAgentMatch(fingerprint.user_agent, rule->keyword) == 1) {
      found.rule = rule;
      break;
    }
  }
  return found;
}

Lookup<MacKind> LookUpRule(MacKind, const ByodFingerPrint& fingerprint) {
  Lookup<MacKind> found;
  found.has_part = LoadMac(fingerprint.mac) != 0;
  if (!found.has_part) return found;
  ByodMacRule probe = {};
  std::memcpy(probe.mac, fingerprint.mac, sizeof probe.mac);
  MAC_BroadcastAddr(probe.mask);
  found.rule = BYOD_data_FindMacRule(&probe);
  return found;
}

/// Appends what the rule supplies to the step, and notes it.
template <typename Kind>
void AppendRule(tlv::Appender& append, const typename Kind::Rule& rule, Progress& progress) {
  const uint32_t configured = FieldsOf(rule.configured);
  const uint32_t supplied = (configured | FieldsOf(rule.predefined)) & ~progress.known;
  progress.known |= supplied;
  append.Number(BYOD_EXT_SUPPLIED, supplied)
      .Number(BYOD_EXT_CONFIGURED, supplied & configured)
      .Combine(Kind::Encode(append.message(), &rule, 2));
}

template <typename Kind>
void AppendLookup(tlv::Appender& append, const ByodFingerPrint& fingerprint, Progress& progress) {
  if (progress.AllKnown()) {
    append.Number(BYOD_EXT_OUTCOME, BYOD_OUTCOME_NOT_TRIED);
    return;
  }
  const Lookup<Kind> found = LookUpRule(Kind(), fingerprint);
  append.Number(BYOD_EXT_OUTCOME, !found.has_part         ? BYOD_OUTCOME_NO_PART
                                  : found.rule == nullptr ? BYOD_OUTCOME_NO_RULE
                                                          : BYOD_OUTCOME_MATCHED);
  append.PresentText(BYOD_EXT_OPTION_TEXT, found.option_text.c_str());
  if (found.rule != nullptr) AppendRule<Kind>(append, *found.rule, progress);
}

bool AppendStep(tlv::Appender& answer, uint32_t method, const ByodFingerPrint& fingerprint,
                Progress& progress) {
  const tlv::Message step(TLV_Create());
  if (!step) return false;
  tlv::Appender append(step.get());
  append.Number(BYOD_EXT_METHOD, method);
  ForEachKind([&](auto kind) {
    if (kind.kMethod == method) AppendLookup<decltype(kind)>(append, fingerprint, progress);
  });
  if (append.status() != 0) return false;
  answer.Combine(BYOD_tlv_PutSubTlv(answer.message(), BYOD_EXT_STEP, step.get()));
  return answer.status() == 0;
}

}  // namespace

Result Explain(Exchange& exchange) {
  ByodFingerPrint fingerprint;
  if (Result read = ReadFingerPrint(exchange.request, fingerprint); !read.Ok()) return read;
  const Identity identity = LookUp(fingerprint);
  const Result result = identity.Known()
                            ? Result()
                            : Refused(BYOD_REFUSAL_UNIDENTIFIED, "nothing matches the fingerprint");
  Account(exchange, fingerprint, result.code, identity);
  tlv::Appender append = exchange.Answer(result);
  AppendIdentity(append, identity);
  ByodOrder order;
  BYOD_order_GetOrder(&order);
  Progress progress;
  for (const uint32_t method : order.slots) {
    if (method >= BYOD_METHOD_COUNT) break;
    if (!AppendStep(append, method, fingerprint, progress)) {
      exchange.reply = {};
      return NoMemory();
    }
  }
  const Result answered = exchange.Answered(append);
  return answered.Ok() ? result : answered;
}

}  // namespace byod::lauthd
