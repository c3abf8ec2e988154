// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/daemon_identifier.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "byod_tlv.h"
#include "byodctl/identification/identification_fields.h"
#include "byodctl/text/authorization_text.h"
#include "explain/explanation_message.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

bool HasAddress(const ByodFingerPrint& fingerprint) {
  return std::any_of(std::begin(fingerprint.mac), std::end(fingerprint.mac),
                     [](uint8_t byte) { return byte != 0; });
}

/// "Unknown" is an answer too.
bool IsAnswer(const Fields& reply) {
  return CodeOf(reply) == 0 || reply.Number(BYOD_EXT_REFUSAL) == BYOD_REFUSAL_UNIDENTIFIED;
}

}  // namespace

Request FingerprintRequest(uint32_t kind, const ByodFingerPrint& fingerprint) {
  Request request(BYOD_OP_GET, kind);
  if (fingerprint.option_length > 0) {
    request.Bytes(BYOD_TLV_OPTION55, fingerprint.options,
                  std::min(uint32_t{fingerprint.option_length}, uint32_t{BYOD_OPTION55_MAX}));
  }
  if (fingerprint.user_agent[0] != '\0') {
    request.Text(BYOD_TLV_USERAGENT, fingerprint.user_agent);
  }
  if (HasAddress(fingerprint)) {
    request.Bytes(BYOD_TLV_MAC, fingerprint.mac, sizeof fingerprint.mac);
  }
  return request;
}

DaemonIdentifier::DaemonIdentifier(const Settings& settings, std::string group, bool explains,
                                   bool remembers)
    : client_(settings), group_(std::move(group)), explains_(explains), remembers_(remembers) {}

tlv::Message DaemonIdentifier::Ask(uint32_t kind, const ByodFingerPrint& fingerprint) {
  Request request = FingerprintRequest(kind, fingerprint);
  if (kind == BYOD_EXT_MSG_IDENTIFY && !group_.empty()) request.Text(BYOD_EXT_GROUP, group_);
  // There may be any time between two terminals.
  client_.Renew();
  tlv::Message reply = client_.Exchange(request);
  if (!IsAnswer(Fields(reply))) throw Refusal(Fields(reply));
  return reply;
}

std::optional<Answer> DaemonIdentifier::Recall(const ByodFingerPrint& fingerprint) {
  Request request(BYOD_OP_GET, BYOD_EXT_MSG_STATION);
  request.Bytes(BYOD_TLV_MAC, fingerprint.mac, sizeof fingerprint.mac);
  if (!group_.empty()) request.Text(BYOD_EXT_GROUP, group_);
  const tlv::Message reply = client_.Exchange(request);
  const Fields station(reply);
  if (CodeOf(station) != 0) return std::nullopt;
  Answer answer = AnswerIn(station);
  station.ForEachNested(BYOD_EXT_AUTHORIZATION,
                        [&](const Fields& set) { answer.authorization = AuthorizationIn(set); });
  if (!explains_) return answer;
  ByodFingerPrint whole = fingerprint;
  for (const uint16_t type : {uint16_t{BYOD_EXT_SEEN_LIST}, uint16_t{BYOD_EXT_SEEN_AGENT}}) {
    station.ForEachNested(type, [&](const Fields& seen) {
      if (seen.Number(BYOD_EXT_CHOSEN) != 0) BYOD_tlv_GetFingerPrint(seen.handle(), &whole);
    });
  }
  std::memcpy(whole.mac, fingerprint.mac, sizeof whole.mac);
  answer.explanation = explain::ReadExplanation(Ask(BYOD_EXT_MSG_EXPLAIN, whole).get());
  return answer;
}

Answer DaemonIdentifier::Identify(const ByodFingerPrint& fingerprint) {
  const bool is_address_alone = fingerprint.option_length == 0 && fingerprint.user_agent[0] == '\0';
  if (remembers_ && is_address_alone && HasAddress(fingerprint)) {
    if (auto answer = Recall(fingerprint)) return std::move(*answer);
  }
  const tlv::Message reply = Ask(BYOD_EXT_MSG_IDENTIFY, fingerprint);
  const Fields fields(reply);
  Answer answer = AnswerIn(fields);
  fields.ForEachNested(BYOD_EXT_AUTHORIZATION,
                       [&](const Fields& set) { answer.authorization = AuthorizationIn(set); });
  if (explains_) {
    answer.explanation = explain::ReadExplanation(Ask(BYOD_EXT_MSG_EXPLAIN, fingerprint).get());
  }
  return answer;
}

}  // namespace byod::ctl
