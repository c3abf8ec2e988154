// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/message_output.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "byod_cfgmsg.h"

namespace byod::lauthd {

bool MessageOutput::SendBytes(int socket, std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    if (sent < 0) return false;
    bytes = bytes.subspan(static_cast<size_t>(sent));
  }
  rest_.assign(bytes.begin(), bytes.end());
  return true;
}

bool MessageOutput::Send(int socket, const tlv::Message& message, std::span<uint8_t> scratch) {
  const uint32_t length = TLV_GetMsgLen(message.get(), tlv::kMemory);
  if (length == 0 || length > BYOD_REPLY_MAX) return false;
  const auto target = reinterpret_cast<uintptr_t>(scratch.data());
  return TLV_Flush(message.get(), tlv::kMemory, length, target) == length &&
         SendBytes(socket, scratch.first(length));
}

bool MessageOutput::SendRest(int socket) {
  // Moved out, so that the memory is released with the last byte.
  const std::vector<uint8_t> rest = std::exchange(rest_, {});
  return SendBytes(socket, rest);
}

}  // namespace byod::lauthd
