// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/series.h"

#include "byod_tlv.h"
#include "tlv/append.h"

namespace byod::lauthd {

bool Pieces::AddNested(uint16_t type, uint32_t message) {
  const uint32_t length = TLV_GetMsgLen(message, tlv::kMemory);
  if (length == 0 || length > UINT16_MAX) return false;
  const size_t start = bytes_.size();
  bytes_.resize(start + length);
  const auto target = reinterpret_cast<uintptr_t>(bytes_.data() + start);
  if (TLV_Flush(message, tlv::kMemory, length, target) != length) return false;
  elements_.push_back({type, static_cast<uint16_t>(length)});
  return true;
}

bool Pieces::AddBytes(uint16_t type, const void* bytes, size_t length) {
  if (length > UINT16_MAX) return false;
  const auto* const first = static_cast<const uint8_t*>(bytes);
  bytes_.insert(bytes_.end(), first, first + length);
  elements_.push_back({type, static_cast<uint16_t>(length)});
  return true;
}

tlv::Message Pieces::MakeReply(uint32_t code) const {
  tlv::Message reply(TLV_Create());
  if (!reply) return reply;
  tlv::Appender append(reply.get());
  append.Number(BYOD_TLV_ERRCODE, code);
  const uint8_t* next = bytes_.data();
  for (const Element& element : elements_) {
    append.Bytes(element.type, element.length, next);
    next += element.length;
  }
  if (append.status() != 0) return tlv::Message();
  return reply;
}

void Pieces::Clear() {
  elements_.clear();
  bytes_.clear();
}

}  // namespace byod::lauthd
