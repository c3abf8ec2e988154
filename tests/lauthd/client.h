// SPDX-License-Identifier: Apache-2.0
// Asks the daemon message by message.
#ifndef TESTS_LAUTHD_CLIENT_H
#define TESTS_LAUTHD_CLIENT_H

#include <sys/time.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "byod_cfgmsg.h"
#include "byod_tlv.h"
#include "lauth_tlv.h"
#include "protocol/counter.h"
#include "protocol/extensions.h"
#include "tests/lauthd/daemon_process.h"
#include "tlv/append.h"
#include "tlv/message.h"

namespace byod::test {

using tlv::Appender;
using tlv::Message;

inline Message MakeRequest(uint32_t operation, uint32_t kind,
                           const std::function<void(Appender&)>& fill = {}) {
  Message request(TLV_Create());
  Appender append(request.get());
  append.Number(BYOD_TLV_OPTYPE, operation).Number(BYOD_TLV_MSGTYPE, kind);
  if (fill) fill(append);
  EXPECT_EQ(append.status(), 0u);
  return request;
}

inline std::vector<uint8_t> BytesOf(const Message& message) {
  std::vector<uint8_t> bytes(TLV_GetMsgLen(message.get(), tlv::kMemory));
  TLV_Flush(message.get(), tlv::kMemory, static_cast<uint32_t>(bytes.size()),
            reinterpret_cast<uintptr_t>(bytes.data()));
  return bytes;
}

inline uint32_t NumberOf(const Message& message, uint16_t type, uint32_t otherwise = 0) {
  BYOD_tlv_GetUINTValueByType(message.get(), type, &otherwise);
  return otherwise;
}

inline uint64_t CounterOf(const Message& message, uint16_t type) {
  uint64_t value = UINT64_MAX;
  protocol::GetCounter(message.get(), type, value);
  return value;
}

inline std::string TextOf(const Message& message, uint16_t type) {
  char text[1024] = "";
  BYOD_tlv_GetStrValueByType(message.get(), type, sizeof text, text);
  return text;
}

/// All messages nested under one type.
inline std::vector<Message> NestedIn(const Message& message, uint16_t type) {
  std::vector<Message> nested;
  for (uintptr_t at = TLV_GetFirst(message.get()); at != 0; at = TLV_GetNext(message.get(), at)) {
    if (TLV_GetTypeByIterator(message.get(), at) == type)
      nested.emplace_back(BYOD_tlv_GetSubTlv(message.get(), at));
  }
  return nested;
}

/// One connection.
class Client {
 public:
  explicit Client(const DaemonProcess& daemon) : socket_(daemon.NewSocket()) {
    const timeval patience = {30, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  }
  ~Client() { Close(); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  int socket() const { return socket_; }
  void Close() {
    if (socket_ >= 0) close(socket_);
    socket_ = -1;
  }

  bool SendBytes(const void* bytes, size_t length) {
    return send(socket_, bytes, length, MSG_NOSIGNAL) == static_cast<ssize_t>(length);
  }
  bool Send(const Message& request) {
    return TLV_Flush(request.get(), tlv::kSocket, TLV_GetMsgLen(request.get(), tlv::kSocket),
                     static_cast<uintptr_t>(socket_)) != 0;
  }
  Message Receive() {
    return Message(TLV_CreateReceiveMsg(tlv::kSocket, static_cast<uintptr_t>(socket_), 65534));
  }
  Message Ask(const Message& request) { return Send(request) ? Receive() : Message(); }
  Message Ask(uint32_t operation, uint32_t kind, const std::function<void(Appender&)>& fill = {}) {
    return Ask(MakeRequest(operation, kind, fill));
  }

  /// Reads a series to its end. @return the last code
  uint32_t AskSeries(const Message& request, const std::function<void(const Message&)>& take) {
    if (!Send(request)) return BYOD_ERR_FAILED;
    for (;;) {
      const Message reply = Receive();
      if (!reply) return BYOD_ERR_FAILED;
      const uint32_t code = BYOD_tlv_GetErrorCode(reply.get());
      if (code == 0 || code == BYOD_ERR_CONTINUE) take(reply);
      if (code != BYOD_ERR_CONTINUE) return code;
    }
  }

  /// Whether the daemon has closed the connection.
  bool Ended() {
    char byte;
    return recv(socket_, &byte, 1, 0) <= 0 && errno != EAGAIN;
  }

 private:
  int socket_;
};

/// The code and the refusal of an answer.
struct Verdict {
  uint32_t code;
  uint32_t refusal;
  bool operator==(const Verdict&) const = default;
};

inline Verdict VerdictOf(const Message& reply) {
  return {BYOD_tlv_GetErrorCode(reply.get()), NumberOf(reply, BYOD_EXT_REFUSAL)};
}

inline ByodFingerPrint UserAgent(const char* text) {
  ByodFingerPrint fp = {};
  std::strncpy(fp.user_agent, text, sizeof fp.user_agent - 1);
  return fp;
}

inline ByodDeviceInfo Info(const char* name, const char* vendor = "", const char* category = "",
                           const char* os = "") {
  ByodDeviceInfo info = {};
  std::strncpy(info.name, name, sizeof info.name - 1);
  std::strncpy(info.vendor, vendor, sizeof info.vendor - 1);
  std::strncpy(info.category, category, sizeof info.category - 1);
  std::strncpy(info.os, os, sizeof info.os - 1);
  return info;
}

}  // namespace byod::test

#endif  // TESTS_LAUTHD_CLIENT_H
