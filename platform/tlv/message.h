// SPDX-License-Identifier: Apache-2.0
/// One message, held in the very form in which it is written (docs/message-format.md), with an
/// index of its elements beside it.
#ifndef LAUTH_PLATFORM_TLV_MESSAGE_H
#define LAUTH_PLATFORM_TLV_MESSAGE_H

#include <cstddef>
#include <cstdint>

namespace lauth::tlv {

//   F9 4C 4D 01   length     type length value   type length value ...
//   mark          u32        u16  u16            u16  u16
//   `------ header ------'   `---- element ----' `---- element ----'
inline constexpr uint8_t kMark[] = {0xF9, 'L', 'M', 0x01};
inline constexpr size_t kHeader = 8;
inline constexpr size_t kElementHeader = 4;

struct Element {
  uint32_t serial;  // ascending along the message, never given twice
  uint32_t offset;  // of the value; kDeleted for an element that is gone
  uint16_t type;
  uint16_t length;

  static constexpr uint32_t kDeleted = 0;  // where the header is
};

// Trivially destructible, so that messages may be used until the very end of the program: Release
// gives the memory back.
class Message {
 public:
  // Starts an empty message, keeping the memory of an earlier one. False without memory.
  bool Start(uint32_t first_serial);

  // Starts a message out of its written form. False without memory and when it is not consistent.
  bool StartFrom(const uint8_t* bytes, size_t size, uint32_t first_serial);

  // The same for bytes that come in portions: the header, then as often as need be room for more.
  // Not usable as a message until it is finished.
  bool StartPortions(const uint8_t (&header)[kHeader]);
  uint8_t* Extend(size_t count);
  bool FinishPortions(uint32_t first_serial);

  // Results as in lauth_tlv.h.
  uint32_t Append(uint16_t type, uint16_t length, const void* value);
  void Delete(const Element* element);

  // Borrowed until the message is changed or written; null when there is none.
  const Element* First() const { return first_ < element_count_ ? &elements_[first_] : nullptr; }
  const Element* Next(const Element* element) const;
  const Element* Find(uint32_t serial) const;
  const Element* FindType(uint16_t type) const;
  const uint8_t* Value(const Element* element) const { return bytes_ + element->offset; }

  size_t WrittenSize() const { return size_ - deleted_bytes_; }

  // The written form; borrowed until the message is changed. The elements keep their serials.
  const uint8_t* Write();

  size_t Footprint() const { return capacity_ + element_capacity_ * sizeof(Element); }
  void Release();

 private:
  bool Reserve(size_t size);
  bool ReserveElements(size_t count);
  const Element* Seek(uint32_t serial) const;
  bool Index();
  void Reset(size_t size, uint32_t first_serial);
  void Compact();

  uint8_t* bytes_ = nullptr;  // the header, then the elements in order, deleted ones in between
  size_t size_ = 0;
  size_t capacity_ = 0;
  Element* elements_ = nullptr;
  size_t element_count_ = 0;
  size_t element_capacity_ = 0;
  size_t first_ = 0;  // all before it are deleted
  size_t deleted_ = 0;
  size_t deleted_bytes_ = 0;
  uint32_t next_serial_ = 0;
};

inline const Element* Message::Next(const Element* element) const {
  const Element* const end = elements_ + element_count_;
  do {
    if (++element == end) return nullptr;
  } while (element->offset == Element::kDeleted);
  return element;
}

inline const Element* Message::Find(uint32_t serial) const {
  if (element_count_ == 0) return nullptr;
  // Where no deleted element was cleaned away, serials are without gaps.
  const size_t guess = static_cast<uint32_t>(serial - elements_->serial);
  const bool met = guess < element_count_ && elements_[guess].serial == serial;
  const Element* const found = met ? &elements_[guess] : Seek(serial);
  return found != nullptr && found->offset != Element::kDeleted ? found : nullptr;
}

}  // namespace lauth::tlv

#endif
