// SPDX-License-Identifier: Apache-2.0
// Makes an event, which watchers share, of a message.
#ifndef LAUTHD_STATE_EVENT_H
#define LAUTHD_STATE_EVENT_H

#include <memory>
#include <vector>

#include "lauthd/state/watch_hub.h"
#include "tlv/message.h"

namespace byod::lauthd {

/// @return null for an empty handle, and when the message is too long
inline Event ToEvent(const tlv::Message& message) {
  if (!message) return nullptr;
  std::vector<uint8_t> bytes(TLV_GetMsgLen(message.get(), tlv::kMemory));
  const auto target = reinterpret_cast<uintptr_t>(bytes.data());
  const auto length = static_cast<uint32_t>(bytes.size());
  if (TLV_Flush(message.get(), tlv::kMemory, length, target) != length) return nullptr;
  return std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
}

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_EVENT_H
