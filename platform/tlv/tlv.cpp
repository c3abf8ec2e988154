// SPDX-License-Identifier: Apache-2.0
#include "lauth_tlv.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "lauth_tlv_stream.h"
#include "net/byte_order.h"
#include "platform/tlv/message.h"
#include "platform/tlv/pool.h"
#include "platform/tlv/socket.h"

using lauth::tlv::Element;
using lauth::tlv::kHeader;
using lauth::tlv::NewMessage;
using lauth::tlv::OpenMessage;

namespace {

// Memory for a message out of a socket grows with what has arrived, not with what was announced.
constexpr size_t kFirstPortion = 65536;

// An iterator is the element's serial, and where a pointer has room for it the message's handle.
constexpr unsigned kHandleShift = sizeof(uintptr_t) > 4 ? 32 : 0;

uintptr_t IteratorOf(uint32_t msg, const Element* element) {
  if (element == nullptr) return 0;
  const uintptr_t handle = kHandleShift != 0 ? uintptr_t{msg} << kHandleShift : 0;
  return handle | element->serial;
}

const Element* ElementOf(OpenMessage& message, uint32_t msg, uintptr_t iterator) {
  const Element* element = message ? message->Find(static_cast<uint32_t>(iterator)) : nullptr;
  return IteratorOf(msg, element) == iterator ? element : nullptr;
}

// What an exported getter starts with: the element, or none for a wrong handle or iterator.
struct Lookup {
  Lookup(uint32_t msg, uintptr_t iterator)
      : message(msg), element(ElementOf(message, msg, iterator)) {}
  OpenMessage message;
  const Element* element;
};

int DescriptorOf(uintptr_t word) {
  return word <= INT_MAX ? static_cast<int>(word) : -1;
}

uint32_t ReceiveFromMemory(const uint8_t* bytes, uint32_t size) {
  const int64_t length = TLV_Stream_MessageLength(bytes, size);
  if (length <= 0 || length > int64_t{size}) return 0;
  NewMessage message;
  if (!message) return 0;
  if (!message->StartFrom(bytes, static_cast<size_t>(length), message.FirstSerial())) return 0;
  return message.Publish();
}

uint32_t ReceiveFromSocket(int socket, uint32_t limit) {
  uint8_t header[kHeader];
  size_t received = 0;
  int64_t length = 0;
  if (limit < kHeader) return 0;
  while (length == 0) {
    const size_t count =
        lauth::tlv::ReceiveSome(socket, header + received, sizeof header - received);
    if (count == 0) return 0;
    received += count;
    length = TLV_Stream_MessageLength(header, received);
  }
  if (length < 0 || length > int64_t{limit}) return 0;

  NewMessage message;
  if (!message || !message->StartPortions(header)) return 0;
  size_t left = static_cast<size_t>(length) - kHeader;
  for (size_t portion = kFirstPortion; left > 0; portion *= 2) {
    size_t count = std::min(left, portion);
    left -= count;
    uint8_t* room = message->Extend(count);
    if (room == nullptr) return 0;
    while (count > 0) {
      const size_t some = lauth::tlv::ReceiveSome(socket, room, count);
      if (some == 0) return 0;
      room += some;
      count -= some;
    }
  }
  return message->FinishPortions(message.FirstSerial()) ? message.Publish() : 0;
}

}  // namespace

uint32_t TLV_Create() {
  NewMessage message;
  return message && message->Start(message.FirstSerial()) ? message.Publish() : 0;
}

uint32_t TLV_Append_UINT(uint32_t msg, uint16_t type, uint32_t value) {
  uint8_t bytes[4];
  byod::net::StoreBig(bytes, value);
  return TLV_Append_Data(msg, type, sizeof bytes, bytes);
}

uint32_t TLV_Append_Data(uint32_t msg, uint16_t type, uint16_t length, const void* value) {
  OpenMessage message(msg);
  return message ? message->Append(type, length, value) : TLV_ERR_HANDLE;
}

uint32_t TLV_Delete_Data(uint32_t msg, uintptr_t iterator) {
  Lookup at(msg, iterator);
  if (!at.message) return TLV_ERR_HANDLE;
  if (at.element == nullptr) return TLV_ERR_ITERATOR;
  at.message->Delete(at.element);
  return 0;
}

uintptr_t TLV_GetFirst(uint32_t msg) {
  OpenMessage message(msg);
  return message ? IteratorOf(msg, message->First()) : 0;
}

uintptr_t TLV_GetNext(uint32_t msg, uintptr_t iterator) {
  Lookup at(msg, iterator);
  return at.element != nullptr ? IteratorOf(msg, at.message->Next(at.element)) : 0;
}

uintptr_t TLV_GetIteratorByType(uint32_t msg, uint16_t type) {
  OpenMessage message(msg);
  return message ? IteratorOf(msg, message->FindType(type)) : 0;
}

uint16_t TLV_GetTypeByIterator(uint32_t msg, uintptr_t iterator) {
  const Lookup at(msg, iterator);
  return at.element != nullptr ? at.element->type : uint16_t{0};
}

uint16_t TLV_GetLenByIterator(uint32_t msg, uintptr_t iterator) {
  const Lookup at(msg, iterator);
  return at.element != nullptr ? at.element->length : uint16_t{0};
}

uint32_t TLV_GetValueByIterator(uint32_t msg, uintptr_t iterator, uint16_t length, void* out) {
  Lookup at(msg, iterator);
  if (!at.message) return TLV_ERR_HANDLE;
  if (at.element == nullptr) return TLV_ERR_ITERATOR;
  if (length > at.element->length) return TLV_ERR_LENGTH;
  if (length == 0) return 0;
  if (out == nullptr) return TLV_ERR_ARGUMENT;
  std::memcpy(out, at.message->Value(at.element), length);
  return 0;
}

uint32_t TLV_GetUINTByIterator(uint32_t msg, uintptr_t iterator) {
  Lookup at(msg, iterator);
  if (at.element == nullptr || at.element->length != sizeof(uint32_t)) return 0;
  return byod::net::LoadBig<uint32_t>(at.message->Value(at.element));
}

uint32_t TLV_GetMsgLen(uint32_t msg, uint32_t mode) {
  if (mode != TLV_MODE_SOCKET && mode != TLV_MODE_MEMORY) return 0;
  OpenMessage message(msg);
  return message ? static_cast<uint32_t>(message->WrittenSize()) : 0;
}

uint32_t TLV_Flush(uint32_t msg, uint32_t mode, uint32_t length, uintptr_t target) {
  OpenMessage message(msg);
  if (!message || length < message->WrittenSize()) return 0;
  const auto size = static_cast<uint32_t>(message->WrittenSize());
  switch (mode) {
    case TLV_MODE_SOCKET:
      return lauth::tlv::SendAll(DescriptorOf(target), message->Write(), size) ? size : 0;
    case TLV_MODE_MEMORY:
      if (target == 0) return 0;
      std::memcpy(reinterpret_cast<void*>(target), message->Write(), size);
      return size;
    default:
      return 0;
  }
}

uint32_t TLV_CreateReceiveMsg(uint32_t mode, uintptr_t source, uint32_t limit) {
  switch (mode) {
    case TLV_MODE_SOCKET:
      return ReceiveFromSocket(DescriptorOf(source), limit);
    case TLV_MODE_MEMORY:
      return ReceiveFromMemory(reinterpret_cast<const uint8_t*>(source), limit);
    default:
      return 0;
  }
}

uint32_t TLV_Destroy(uint32_t msg) {
  OpenMessage message(msg);
  if (!message) return TLV_ERR_HANDLE;
  message.Destroy();
  return 0;
}
