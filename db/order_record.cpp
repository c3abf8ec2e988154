// SPDX-License-Identifier: Apache-2.0
// The stored order: a message of its slots, in memory form.
#include <algorithm>

#include "byod_db.h"
#include "byod_tlv.h"
#include "lauth_dbm.h"
#include "tlv/message.h"

using byod::tlv::kMemory;
using byod::tlv::Message;

uint32_t BYOD_db_SetOrder(const ByodOrder* order) {
  if (order == nullptr) return BYOD_ERR_FAILED;
  const Message msg(TLV_Create());
  if (!msg) return BYOD_ERR_FAILED;
  if (const uint32_t status = BYOD_tlv_EncapOrder(msg.get(), order->slots)) return status;
  uint8_t value[BYOD_DB_ORDER_MAX];
  const uint32_t length =
      TLV_Flush(msg.get(), kMemory, sizeof value, reinterpret_cast<uintptr_t>(value));
  if (length == 0) return BYOD_ERR_FAILED;
  return DBM_SetBinary(BYOD_db_GetDBHandle(), BYOD_DB_ORDER_KEY, sizeof BYOD_DB_ORDER_KEY, 0,
                       length, value, 4) == 0
             ? 0
             : BYOD_ERR_FAILED;
}

void BYOD_db_ReCoverOrder(int32_t handle, const char* key, uint32_t key_length) {
  uint8_t value[BYOD_DB_ORDER_MAX];
  const int32_t stored = DBM_GetBinary(handle, key, key_length, 0, sizeof value, value);
  if (stored <= 0) return;
  // The length returned is that of the value, which may exceed what was read.
  const uint32_t length = std::min<uint32_t>(static_cast<uint16_t>(stored), sizeof value);
  const Message msg(TLV_CreateReceiveMsg(kMemory, reinterpret_cast<uintptr_t>(value), length));
  if (!msg) return;
  ByodOrder order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  if (BYOD_tlv_GetOrder(msg.get(), order.slots) == 0) BYOD_order_SetOrder(&order);
}
