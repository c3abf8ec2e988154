// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/request_form.h"

#include "byod_tlv.h"

namespace byod::lauthd {
namespace {

/// Whether a number of a request has another size than its 4 bytes, and would be read as 0.
bool HasBadNumber(uint32_t request) {
  for (uintptr_t element = TLV_GetFirst(request); element != 0;
       element = TLV_GetNext(request, element)) {
    switch (TLV_GetTypeByIterator(request, element)) {
      case BYOD_TLV_OPTYPE:
      case BYOD_TLV_MSGTYPE:
      case BYOD_TLV_RULESRC:
      case BYOD_TLV_ORDER:
      case BYOD_TLV_ATTRKIND:
      case BYOD_TLV_QUERYARG:
      case BYOD_TLV_QUERYARG2:
      case BYOD_EXT_PHASE:
      case BYOD_EXT_LIMIT:
      case BYOD_EXT_WANTED_FLAGS:
        if (TLV_GetLenByIterator(request, element) != sizeof(uint32_t)) return true;
        break;
      default:
        break;
    }
  }
  return false;
}

/// A request with a selector is a query, whatever operation the caller of the client library gave
/// it.
bool IsQuery(uint32_t request) {
  return TLV_GetIteratorByType(request, BYOD_TLV_QUERYARG) != 0 ||
         TLV_GetIteratorByType(request, BYOD_TLV_QUERYARG2) != 0;
}

}  // namespace

bool ReadKind(Exchange& exchange) {
  return BYOD_tlv_GetOpType(exchange.request, &exchange.operation) == 0 &&
         BYOD_tlv_GetUINTValueByType(exchange.request, BYOD_TLV_MSGTYPE, &exchange.kind) == 0;
}

bool IsChange(uint32_t operation) {
  return operation == BYOD_OP_SET || operation == BYOD_OP_UNDO;
}

Result CheckForm(const Exchange& exchange) {
  if (HasBadNumber(exchange.request)) {
    return Refused(BYOD_REFUSAL_MALFORMED, "a number has 4 bytes");
  }
  if (IsChange(exchange.operation) && IsQuery(exchange.request)) {
    return Refused(BYOD_REFUSAL_MALFORMED, "a query has the operation \"get\"");
  }
  return {};
}

}  // namespace byod::lauthd
