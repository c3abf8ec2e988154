// SPDX-License-Identifier: Apache-2.0
// Elements that many messages share, and messages inside messages.
#include <cstdlib>
#include <memory>

#include "byod_tlv.h"
#include "net/free_deleter.h"
#include "tlv/append.h"
#include "tlv/message.h"
#include "tlv/scan.h"

namespace byod::tlv {
namespace {

using Buffer = std::unique_ptr<void, net::FreeDeleter>;

constexpr size_t kSlots = 3;

}  // namespace
}  // namespace byod::tlv

using byod::tlv::Appender;
using byod::tlv::Buffer;
using byod::tlv::kMemory;
using byod::tlv::kSlots;

uint32_t BYOD_tlv_EncapErrCode(uint32_t msg, uint32_t code) {
  return TLV_Append_UINT(msg, BYOD_TLV_ERRCODE, code);
}

uint32_t BYOD_tlv_GetErrorCode(uint32_t msg) {
  uint32_t code = BYOD_ERR_FAILED;
  BYOD_tlv_GetUINTValueByType(msg, BYOD_TLV_ERRCODE, &code);
  return code;
}

uint32_t BYOD_tlv_GetOpType(uint32_t msg, uint32_t* op) {
  return BYOD_tlv_GetUINTValueByType(msg, BYOD_TLV_OPTYPE, op);
}

uint32_t BYOD_tlv_GetUINTValueByType(uint32_t msg, uint16_t type, uint32_t* out) {
  const uintptr_t element = TLV_GetIteratorByType(msg, type);
  if (element == 0) return BYOD_ERR_FAILED;
  *out = TLV_GetUINTByIterator(msg, element);
  return 0;
}

uint32_t BYOD_tlv_GetStrValueByType(uint32_t msg, uint16_t type, uint32_t cap, char* buf) {
  const uintptr_t element = TLV_GetIteratorByType(msg, type);
  if (element == 0) return BYOD_ERR_FAILED;
  return byod::tlv::Store(msg, element, byod::tlv::Text(type, buf, cap));
}

uint32_t BYOD_tlv_GetMacValueByType(uint32_t msg, uint16_t type, uint32_t cap, uint8_t* buf) {
  const uintptr_t element = TLV_GetIteratorByType(msg, type);
  if (element == 0) return BYOD_ERR_FAILED;
  return byod::tlv::Store(msg, element, {type, byod::tlv::Field::Shape::kAddress, buf, cap});
}

uint32_t BYOD_tlv_EncapOrder(uint32_t msg, const uint32_t order[3]) {
  Appender append(msg);
  for (size_t slot = 0; slot < kSlots; ++slot) {
    if (order[slot] != BYOD_ORDER_NO_SLOT) append.Number(BYOD_TLV_ORDER, order[slot]);
  }
  return append.status();
}

uint32_t BYOD_tlv_GetOrder(uint32_t msg, uint32_t order[3]) {
  size_t slot = 0;
  for (uintptr_t element = TLV_GetFirst(msg); element != 0 && slot < kSlots;
       element = TLV_GetNext(msg, element)) {
    if (TLV_GetTypeByIterator(msg, element) != BYOD_TLV_ORDER) continue;
    const uint32_t method = TLV_GetUINTByIterator(msg, element);
    if (method < BYOD_METHOD_COUNT) order[slot++] = method;
  }
  return 0;
}

uint32_t BYOD_tlv_PutSubTlv(uint32_t msg, uint16_t type, uint32_t sub) {
  const uint32_t size = TLV_GetMsgLen(sub, kMemory);
  const Buffer bytes(size != 0 ? std::malloc(size) : nullptr);
  if (!bytes) return BYOD_ERR_FAILED;
  if (TLV_Flush(sub, kMemory, size, reinterpret_cast<uintptr_t>(bytes.get())) != size) {
    return BYOD_ERR_FAILED;
  }
  return TLV_Append_Data(msg, type, static_cast<uint16_t>(size), bytes.get());
}

uint32_t BYOD_tlv_GetSubTlv(uint32_t msg, uintptr_t iterator) {
  const uint16_t size = TLV_GetLenByIterator(msg, iterator);
  const Buffer bytes(size != 0 ? std::malloc(size) : nullptr);
  if (!bytes || TLV_GetValueByIterator(msg, iterator, size, bytes.get()) != 0) return 0;
  return TLV_CreateReceiveMsg(kMemory, reinterpret_cast<uintptr_t>(bytes.get()), size);
}

uint32_t BYOD_tlv_ClearTlv(uint32_t msg) {
  uint32_t result = 0;
  for (uintptr_t element = TLV_GetFirst(msg); element != 0;) {
    const uintptr_t next = TLV_GetNext(msg, element);
    result = TLV_Delete_Data(msg, element);
    element = next;
  }
  return result;
}
