// SPDX-License-Identifier: Apache-2.0
// One request and its answer.
#ifndef LAUTHD_REQUESTS_EXCHANGE_H
#define LAUTHD_REQUESTS_EXCHANGE_H

#include <cstdint>
#include <memory>

#include "lauthd/requests/series.h"
#include "lauthd/state/result.h"
#include "tlv/append.h"
#include "tlv/message.h"

namespace byod::lauthd {

class State;
class WatchHub;
class Session;

struct Exchange {
  State& state;
  Session& session;
  uint32_t request;  // the message; borrowed
  uint32_t kind = 0;
  uint32_t operation = 0;

  // A handler that answers more than its result fills in one of these.
  tlv::Message reply;
  std::unique_ptr<Series> series;
  bool watch = false;
  WatchHub* hub = nullptr;  // of a watch

  /// Begins the reply. Without memory the handle stays empty and the appender fails.
  tlv::Appender Answer(const Result& result = {}) {
    reply = tlv::Message(TLV_Create());
    tlv::Appender append(reply.get());
    append.Number(BYOD_TLV_ERRCODE, result.code);
    if (result.refusal != 0) append.Number(BYOD_EXT_REFUSAL, result.refusal);
    if (!result.reason.empty()) {
      append.Text(BYOD_EXT_REASON, result.reason.substr(0, BYOD_EXT_REASON_SIZE - 1).c_str());
    }
    return append;
  }

  /// Ends the reply; an incomplete one is dropped.
  Result Answered(const tlv::Appender& append) {
    if (append.status() == 0) return {};
    reply = {};
    return NoMemory();
  }
};

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_EXCHANGE_H
