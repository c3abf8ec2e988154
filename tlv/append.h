// SPDX-License-Identifier: Apache-2.0
// The elements of a message, in the order in which they are written down.
#ifndef BYOD_TLV_APPEND_H
#define BYOD_TLV_APPEND_H

#include <cstdint>
#include <cstring>

#include "byod_tlv.h"
#include "lauth_tlv.h"

namespace byod::tlv {

/// Appends to a message. Every append is made, also behind one that failed; the results are
/// combined bit by bit.
class Appender {
 public:
  explicit Appender(uint32_t msg) : msg_(msg) {}

  Appender& Number(uint16_t type, uint32_t value) {
    return Combine(TLV_Append_UINT(msg_, type, value));
  }

  Appender& Bytes(uint16_t type, uint32_t length, const void* bytes) {
    return Combine(TLV_Append_Data(msg_, type, static_cast<uint16_t>(length), bytes));
  }

  Appender& Address(uint16_t type, const uint8_t* mac) { return Bytes(type, BYOD_MAC_SIZE, mac); }

  /// The text and its NUL; a length above 16 bits is sent modulo 65536.
  Appender& Text(uint16_t type, const char* text) {
    return Bytes(type, static_cast<uint32_t>(std::strlen(text) + 1), text);
  }

  Appender& PresentText(uint16_t type, const char* text) {
    return text[0] != '\0' ? Text(type, text) : *this;
  }

  Appender& Combine(uint32_t result) {
    status_ |= result;
    return *this;
  }

  uint32_t message() const { return msg_; }
  uint32_t status() const { return status_; }

 private:
  uint32_t msg_;
  uint32_t status_ = 0;
};

}  // namespace byod::tlv

#endif  // BYOD_TLV_APPEND_H
