#include "lauthd/requests/bulk_requests.h"

#include "lauthd/requests/dispatch.h"
#include "lauthd/server/connection.h"
#include "lauthd/server/daemon.h"
#include "lauthd/state/match_order.h"

namespace byod::lauthd {
namespace {

Result Begin(Exchange& exchange) {
  Daemon& daemon = exchange.daemon;
  if (daemon.bulk.Open()) return Refused(BYOD_REFUSAL_BUSY, "a bulk is open already");
  if (!daemon.store.Ready()) return daemon.store.NotSaved();
  daemon.bulk.Begin();
  daemon.gate.Take(&exchange.connection);
  return {};
}

/// Carries out one nested change. @return its code
uint32_t ApplyOne(Exchange& outer, uintptr_t element) {
  const tlv::Message message(BYOD_tlv_GetSubTlv(outer.request, element));
  if (!message) return BYOD_ERR_FAILED;
  Exchange inner{outer.daemon, outer.connection, message.get(), 0, 0, {}, nullptr, false};
  const Result result = ApplyInBulk(inner);
  if (result.Ok()) ++outer.daemon.counters.changes;
  return result.code;
}

Result Apply(Exchange& exchange) {
  tlv::Appender append = exchange.Answer();
  for (uintptr_t element = TLV_GetFirst(exchange.request); element != 0;
       element = TLV_GetNext(exchange.request, element)) {
    if (TLV_GetTypeByIterator(exchange.request, element) != BYOD_EXT_REQUEST) continue;
    append.Number(BYOD_EXT_RESULT, ApplyOne(exchange, element));
  }
  return exchange.Answered(append);
}

Result Commit(Daemon& daemon) {
  if (!ArrangeMatchList()) {
    daemon.AbortBulk();
    return NoMemory();
  }
  const bool kept = daemon.store.WriteTogether(
      [&] { return daemon.bulk.Save(daemon.idle, daemon.authorization); });
  if (!kept) {
    daemon.AbortBulk();
    return daemon.store.NotSaved();
  }
  daemon.bulk.Keep();
  daemon.idle.Retry();
  daemon.gate.Release();
  return {};
}

}  // namespace

Result ChangeBulk(Exchange& exchange) {
  uint32_t phase = UINT32_MAX;
  BYOD_tlv_GetUINTValueByType(exchange.request, BYOD_EXT_PHASE, &phase);
  if (phase == BYOD_PHASE_BEGIN) return Begin(exchange);
  if (!exchange.daemon.gate.OwnedBy(&exchange.connection)) {
    return Refused(BYOD_REFUSAL_BUSY, "no bulk is open");
  }
  switch (phase) {
    case BYOD_PHASE_MORE:
      return Apply(exchange);
    case BYOD_PHASE_COMMIT:
      return Commit(exchange.daemon);
    case BYOD_PHASE_ABORT:
      exchange.daemon.AbortBulk();
      return {};
    default:
      return Refused(BYOD_REFUSAL_MALFORMED, "unknown phase");
  }
}

}  // namespace byod::lauthd
