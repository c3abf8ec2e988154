// SPDX-License-Identifier: Apache-2.0
// Building a request: its fields in a row, in the order in which they are sent.
#ifndef BYOD_CFGMSG_REQUEST_H
#define BYOD_CFGMSG_REQUEST_H

#include <cerrno>

#include "byod_cfgmsg.h"
#include "byod_tlv.h"
#include "tlv/append.h"
#include "tlv/message.h"

namespace byod::cfgmsg {

// The fields that a request is made of: each appends itself.

inline auto Number(uint16_t type, uint32_t value) {
  return [=](tlv::Appender& append) { append.Number(type, value); };
}

inline auto Address(uint16_t type, const uint8_t* mac) {
  return [=](tlv::Appender& append) { append.Address(type, mac); };
}

inline auto Text(uint16_t type, const char* text) {
  return [=](tlv::Appender& append) { append.Text(type, text); };
}

/// What one of the encoders appends.
template <typename Encode>
auto Encoded(Encode encode) {
  return [=](tlv::Appender& append) { append.Combine(encode(append.message())); };
}

/// A request that is sent once, provided that its status is 0.
struct Request {
  tlv::Message message;
  uint32_t status;

  bool Ready() const { return status == 0; }
};

/// errno is for the case that the request is not ready.
/// @return without memory no message and BYOD_ERR_FAILED; else the combined results of the appends
template <typename... Fields>
Request MakeRequest(const Fields&... fields) {
  tlv::Message message(TLV_Create());
  errno = ENOMEM;
  if (!message) return {std::move(message), BYOD_ERR_FAILED};
  tlv::Appender append(message.get());
  (fields(append), ...);
  // The encoders refuse arguments with this code; without memory the container has another one.
  if (append.status() == BYOD_ERR_FAILED) errno = EINVAL;
  return {std::move(message), append.status()};
}

/// A request that begins with an operation and a message kind, as most do.
template <typename... Fields>
Request MakeRequestOf(uint32_t operation, uint32_t kind, const Fields&... fields) {
  return MakeRequest(Number(BYOD_TLV_OPTYPE, operation), Number(BYOD_TLV_MSGTYPE, kind), fields...);
}

}  // namespace byod::cfgmsg

#endif  // BYOD_CFGMSG_REQUEST_H
