// SPDX-License-Identifier: Apache-2.0
#include "platform/tlv/message.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "lauth_tlv.h"
#include "net/byte_order.h"

namespace lauth::tlv {
namespace {

constexpr size_t kFirstCapacity = 512;
constexpr size_t kFirstElements = 24;
constexpr size_t kMaxBytes = UINT32_MAX;

// Deletions are cleaned up once they outnumber what is left, which costs a constant share of each.
constexpr size_t kFewDeletions = 32;

constexpr uint32_t kFewSerialsLeft = 0xC0000000;

// Grows an array to hold `count`, at least by half so that many small steps stay cheap.
template <typename T>
bool Grow(T*& array, size_t& capacity, size_t count, size_t first) {
  if (count <= capacity) return true;
  size_t wanted = std::max({count, capacity + capacity / 2, first});
  if (wanted > SIZE_MAX / sizeof(T)) return false;
  void* grown = std::realloc(array, wanted * sizeof(T));
  if (grown == nullptr) return false;
  array = static_cast<T*>(grown);
  capacity = wanted;
  return true;
}

}  // namespace

bool Message::Reserve(size_t size) {
  return Grow(bytes_, capacity_, size, kFirstCapacity);
}

bool Message::ReserveElements(size_t count) {
  return Grow(elements_, element_capacity_, count, kFirstElements);
}

void Message::Reset(size_t size, uint32_t first_serial) {
  size_ = size;
  element_count_ = first_ = deleted_ = deleted_bytes_ = 0;
  next_serial_ = first_serial;
}

bool Message::Start(uint32_t first_serial) {
  if (!Reserve(kHeader) || !ReserveElements(1)) return false;
  Reset(kHeader, first_serial);
  return true;
}

bool Message::StartFrom(const uint8_t* bytes, size_t size, uint32_t first_serial) {
  if (!Reserve(size)) return false;
  std::memcpy(bytes_, bytes, size);
  size_ = size;
  return FinishPortions(first_serial);
}

bool Message::StartPortions(const uint8_t (&header)[kHeader]) {
  if (!Reserve(kHeader)) return false;
  std::memcpy(bytes_, header, kHeader);
  size_ = kHeader;
  return true;
}

uint8_t* Message::Extend(size_t count) {
  if (!Reserve(size_ + count)) return nullptr;
  uint8_t* room = bytes_ + size_;
  size_ += count;
  return room;
}

bool Message::FinishPortions(uint32_t first_serial) {
  Reset(size_, first_serial);
  return Index();
}

// Lists the elements of the bytes, which must fill them to the last one.
bool Message::Index() {
  size_t count = 0;
  size_t at = kHeader;
  while (size_ - at >= kElementHeader) {
    const size_t length = byod::net::LoadBig<uint16_t>(bytes_ + at + 2);
    if (length > size_ - at - kElementHeader) return false;
    at += kElementHeader + length;
    ++count;
  }
  if (at != size_ || !ReserveElements(std::max<size_t>(count, 1))) return false;

  at = kHeader;
  for (size_t i = 0; i < count; ++i) {
    const uint16_t type = byod::net::LoadBig<uint16_t>(bytes_ + at);
    const uint16_t length = byod::net::LoadBig<uint16_t>(bytes_ + at + 2);
    at += kElementHeader;
    elements_[i] = {next_serial_++, static_cast<uint32_t>(at), type, length};
    at += length;
  }
  element_count_ = count;
  return true;
}

uint32_t Message::Append(uint16_t type, uint16_t length, const void* value) {
  if (value == nullptr && length != 0) return TLV_ERR_ARGUMENT;
  if (deleted_ > kFewDeletions && deleted_ > element_count_ / 2) Compact();
  if (kElementHeader + length > kMaxBytes - size_) Compact();
  if (kElementHeader + length > kMaxBytes - size_) return TLV_ERR_LENGTH;
  if (next_serial_ == UINT32_MAX) return TLV_ERR_LENGTH;
  if (!ReserveElements(element_count_ + 1) || !Reserve(size_ + kElementHeader + length)) {
    return TLV_ERR_MEMORY;
  }

  uint8_t* at = bytes_ + size_;
  byod::net::StoreBig(at, type);
  byod::net::StoreBig(at + 2, length);
  if (length != 0) std::memcpy(at + kElementHeader, value, length);
  elements_[element_count_++] = {next_serial_++, static_cast<uint32_t>(size_ + kElementHeader),
                                 type, length};
  size_ += kElementHeader + length;
  return 0;
}

void Message::Delete(const Element* at) {
  Element& element = elements_[at - elements_];
  element.offset = Element::kDeleted;
  deleted_bytes_ += kElementHeader + element.length;
  ++deleted_;
  while (first_ < element_count_ && elements_[first_].offset == Element::kDeleted)
    ++first_;
  if (deleted_ == element_count_) {
    // Empty again. Serials go on, so that old iterators stay refused, while there are many left.
    Reset(kHeader, next_serial_ < kFewSerialsLeft ? next_serial_ : 1);
  }
}

// Finds a serial, also of a deleted element.
const Element* Message::Seek(uint32_t serial) const {
  const Element* const begin = elements_;
  const Element* const end = begin + element_count_;
  const Element* const found = std::lower_bound(
      begin, end, serial,
      [](const Element& element, uint32_t wanted) { return element.serial < wanted; });
  return found != end && found->serial == serial ? found : nullptr;
}

const Element* Message::FindType(uint16_t type) const {
  const Element* const begin = elements_;
  const Element* const end = begin + element_count_;
  const Element* found = std::find_if(begin + first_, end, [type](const Element& element) {
    return element.type == type && element.offset != Element::kDeleted;
  });
  return found != end ? found : nullptr;
}

const uint8_t* Message::Write() {
  if (deleted_ != 0) Compact();
  std::memcpy(bytes_, kMark, sizeof kMark);
  byod::net::StoreBig(bytes_ + sizeof kMark, static_cast<uint32_t>(size_));
  return bytes_;
}

// Closes the gaps that deleted elements left.
void Message::Compact() {
  size_t kept = 0;
  size_t at = kHeader;
  for (size_t i = first_; i < element_count_; ++i) {
    Element element = elements_[i];
    if (element.offset == Element::kDeleted) continue;
    std::memmove(bytes_ + at, bytes_ + element.offset - kElementHeader,
                 kElementHeader + element.length);
    element.offset = static_cast<uint32_t>(at + kElementHeader);
    at += kElementHeader + element.length;
    elements_[kept++] = element;
  }
  size_ = at;
  element_count_ = kept;
  first_ = deleted_ = deleted_bytes_ = 0;
}

void Message::Release() {
  std::free(bytes_);
  std::free(elements_);
  *this = Message{};
}

}  // namespace lauth::tlv
