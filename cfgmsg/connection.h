// SPDX-License-Identifier: Apache-2.0
// A connection to the daemon, and the two halves of an exchange on it.
#ifndef BYOD_CFGMSG_CONNECTION_H
#define BYOD_CFGMSG_CONNECTION_H

#include <cstdint>

#include "byod_cfgmsg.h"
#include "cfgmsg/reason.h"
#include "tlv/message.h"

namespace byod::cfgmsg {

/// Sends a whole message. @return whether it is sent
inline bool Send(int connection, uint32_t message) {
  const uint32_t length = TLV_GetMsgLen(message, tlv::kSocket);
  return TLV_Flush(message, tlv::kSocket, length, static_cast<uintptr_t>(connection)) != 0;
}

/// Waits for one message. @return it, or none
inline tlv::Message Receive(int connection) {
  return tlv::Message(
      TLV_CreateReceiveMsg(tlv::kSocket, static_cast<uintptr_t>(connection), BYOD_REPLY_MAX));
}

/// A connection that is closed with its scope.
class Connection {
 public:
  Connection() : socket_(BYOD_cfgmsg_ConnectToLauthd()) {}
  ~Connection() {
    KeepErrno([this] { BYOD_Fini(socket_); });
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  explicit operator bool() const { return socket_ >= 0; }
  int get() const { return socket_; }

 private:
  int socket_;
};

}  // namespace byod::cfgmsg

#endif  // BYOD_CFGMSG_CONNECTION_H
