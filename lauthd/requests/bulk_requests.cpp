// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/bulk_requests.h"

#include "lauthd/requests/configuration_rows.h"
#include "lauthd/requests/request_form.h"
#include "lauthd/requests/session.h"
#include "lauthd/requests/wall_clock.h"
#include "lauthd/state/state.h"

namespace byod::lauthd {
namespace {

Result Begin(Exchange& exchange) {
  State& state = exchange.state;
  if (state.bulk.Open()) return Refused(BYOD_REFUSAL_BUSY, "a bulk is open already");
  if (!state.store.Ready()) return state.store.NotSaved();
  std::string time = TimeOfDay();
  const uid_t user = exchange.session.peer().user;
  // Nothing fails from here on: the bulk must have an owner, who ends it.
  state.bulk.Begin();
  state.gate.Take(&exchange.session, user, std::move(time));
  exchange.session.bulk_expired = false;
  return {};
}

Result ApplyChange(Exchange& exchange) {
  const Row* const row = ReadKind(exchange) ? FindConfigurationRow(exchange.kind) : nullptr;
  if (row == nullptr || row->change == nullptr || !IsChange(exchange.operation)) {
    return Refused(BYOD_REFUSAL_UNKNOWN_KIND, "not a change that a bulk can hold");
  }
  if (Result form = CheckForm(exchange); !form.Ok()) return form;
  return row->change(exchange);
}

/// Carries out one nested change. @return its code
uint32_t ApplyOne(Exchange& outer, uintptr_t element) {
  const tlv::Message message(BYOD_tlv_GetSubTlv(outer.request, element));
  if (!message) return BYOD_ERR_FAILED;
  Exchange inner{outer.state, outer.session, message.get(), 0, 0, {}, nullptr, false};
  const Result result = ApplyChange(inner);
  if (result.Ok()) ++outer.state.counters.changes;
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

Result Commit(State& state) {
  const bool kept = state.store.WriteTogether(
      [&] { return state.bulk.Save(state.idle_rules, state.authorization); });
  if (!kept) {
    state.AbortBulk();
    return state.store.NotSaved();
  }
  state.bulk.Finish();
  state.idle_rules.Retry();
  state.gate.Release();
  return {};
}

}  // namespace

Result ChangeBulk(Exchange& exchange) {
  uint32_t phase = UINT32_MAX;
  BYOD_tlv_GetUINTValueByType(exchange.request, BYOD_EXT_PHASE, &phase);
  if (phase == BYOD_PHASE_BEGIN) return Begin(exchange);
  if (!exchange.session.OwnsBulk()) {
    if (!exchange.session.bulk_expired) return Refused(BYOD_REFUSAL_BUSY, "no bulk is open");
    return Refused(BYOD_REFUSAL_BUSY, "the bulk took longer than " +
                                          std::to_string(exchange.state.options.bulk_timeout) +
                                          " s and was rolled back");
  }
  switch (phase) {
    case BYOD_PHASE_MORE:
      return Apply(exchange);
    case BYOD_PHASE_COMMIT:
      return Commit(exchange.state);
    case BYOD_PHASE_ABORT:
      exchange.state.AbortBulk();
      return {};
    default:
      return Refused(BYOD_REFUSAL_MALFORMED, "unknown phase");
  }
}

}  // namespace byod::lauthd
