// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/order_requests.h"

#include "byod_order.h"
#include "lauthd/state/state.h"

namespace byod::lauthd {
namespace {

Result ReadOrder(uint32_t request, ByodOrder& order) {
  order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  BYOD_tlv_GetOrder(request, order.slots);
  if (order.slots[0] == BYOD_ORDER_NO_SLOT) {
    return Refused(BYOD_REFUSAL_MALFORMED, "the order names no method");
  }
  bool seen[BYOD_METHOD_COUNT] = {};
  for (const uint32_t slot : order.slots) {
    if (slot >= BYOD_METHOD_COUNT) break;
    if (seen[slot]) return Refused(BYOD_REFUSAL_MALFORMED, "the order names a method twice");
    seen[slot] = true;
  }
  return {};
}

/// Stores the order before it is set, as setting cannot fail.
Result Put(State& state, const ByodOrder& order) {
  if (!state.store.Ready()) return state.store.NotSaved();
  const bool saved =
      state.bulk.Open() || state.store.Write([&] { return BYOD_db_SetOrder(&order); });
  if (!saved) return state.store.NotSaved();
  ByodOrder former;
  BYOD_order_GetOrder(&former);
  state.bulk.Remember(former);
  BYOD_order_SetOrder(&order);
  return {};
}

}  // namespace

Result ShowOrder(Exchange& exchange) {
  ByodOrder order;
  BYOD_order_GetOrder(&order);
  tlv::Appender append = exchange.Answer();
  append.Combine(BYOD_tlv_EncapOrder(exchange.reply.get(), order.slots));
  return exchange.Answered(append);
}

Result ChangeOrder(Exchange& exchange) {
  ByodOrder current;
  ByodOrder order;
  BYOD_order_GetOrder(&current);
  if (exchange.operation == BYOD_OP_SET) {
    if (Result read = ReadOrder(exchange.request, order); !read.Ok()) return read;
    if (std::memcmp(&order, &current, sizeof order) == 0) return NoChange();
  } else {
    BYOD_order_SetDefaultOrder(&order);
    // Undoing the default order succeeds too.
    if (BYOD_orderIsDefault(&current)) return {};
  }
  return Put(exchange.state, order);
}

}  // namespace byod::lauthd
