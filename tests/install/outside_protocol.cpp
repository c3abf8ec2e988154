// SPDX-License-Identifier: Apache-2.0
// A client of somebody else's: uses the installed headers of messages and of the platform library.
#include <byod_tlv.h>
#include <lauth_tlv.h>
#include <protocol/counter.h>
#include <protocol/extensions.h>

#include <cstdint>

int main() {
  const uint32_t message = TLV_Create();
  uint64_t seen = 0;
  const bool carried = byod::protocol::AppendCounter(message, BYOD_EXT_SEEN, 12345678901) == 0 &&
                       BYOD_tlv_EncapErrCode(message, 0) == 0 &&
                       byod::protocol::GetCounter(message, BYOD_EXT_SEEN, seen);
  TLV_Destroy(message);
  return carried && seen == 12345678901 ? 0 : 1;
}
