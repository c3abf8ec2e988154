// SPDX-License-Identifier: Apache-2.0
// The client side of the protocol: builds requests, exchanges them for replies, reads the replies.
#ifndef BYODCTL_DAEMON_CLIENT_H
#define BYODCTL_DAEMON_CLIENT_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "byodctl/daemon/settings.h"
#include "byodctl/failure.h"
#include "tlv/append.h"
#include "tlv/message.h"

namespace byod::ctl {

/// A message under construction. Elements are appended in the order of the calls.
/// @throws std::bad_alloc without memory
class Request {
 public:
  Request(uint32_t operation, uint32_t kind);

  Request& Number(uint16_t type, uint32_t value);
  Request& Counter(uint16_t type, uint64_t value);
  Request& Text(uint16_t type, const std::string& text);
  Request& Bytes(uint16_t type, const void* bytes, size_t length);
  Request& Nested(uint16_t type, const Request& inner);
  /// Appends by one of the library's encoders: (msg) -> combined results.
  template <typename Encode>
  Request& Encoded(Encode encode) {
    return Check(encode(message_.get()));
  }

  uint32_t handle() const { return message_.get(); }
  uint32_t length() const;
  /// The bytes that are sent.
  std::string ToBytes() const;

 private:
  Request& Check(uint32_t status);

  tlv::Message message_;
};

/// The elements of a message. A missing one reads as 0 or empty.
class Fields {
 public:
  /// The message outlives the fields.
  explicit Fields(uint32_t message) : message_(message) {}
  explicit Fields(const tlv::Message& message) : message_(message.get()) {}

  bool Has(uint16_t type) const;
  uint32_t Number(uint16_t type, uint32_t otherwise = 0) const;
  uint64_t Counter(uint16_t type) const;
  std::string Text(uint16_t type) const;
  std::string Bytes(uint16_t type) const;
  /// Calls take(Fields) for each message nested under the type, in order.
  void ForEachNested(uint16_t type, const std::function<void(const Fields&)>& take) const;
  /// Calls take(type, text) for each element; text is its bytes without a final NUL.
  void ForEach(const std::function<void(uint16_t, const std::string&)>& take) const;

  uint32_t handle() const { return message_; }

 private:
  uint32_t message_;
};

/// A reply that is not 0, BYOD_ERR_CONTINUE or BYOD_ERR_NOCHANGE.
class Refusal : public Failure {
 public:
  explicit Refusal(const Fields& reply);
};

/**
 * A connection to the daemon.
 *
 * Every call ends within the timeout, a series within the timeout for each reply; then, and when
 * the daemon is not running or its answer is not a message, a Failure of kExitNoDaemon is thrown
 * that names the socket.
 */
class Client {
 public:
  /// Connects, so that a missing daemon is reported before anything is requested.
  explicit Client(const Settings& settings);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  /// Reconnects if the daemon has closed the connection, as it does when a client is idle.
  void Renew();

  /// @return the reply, whatever its code
  tlv::Message Exchange(const Request& request);

  /// @return the reply to a request. @throws Refusal
  tlv::Message Ask(const Request& request);

  /// Sends a change. @return the reply. @throws Failure  that says what a missing answer means
  tlv::Message ExchangeChange(const Request& request);

  /// @return whether anything changed. @throws Refusal, and as ExchangeChange
  bool Change(const Request& request);

  /// Ends a bulk of changes. @throws as Change
  void Commit(const Request& request);

  /// Calls take for every reply of a series. @throws Refusal
  void Series(const Request& request, const std::function<void(const Fields&)>& take);

  void Send(const Request& request);
  /// Sends requests that were encoded before.
  void Send(std::string_view requests);
  /// @param patient  waits for the first byte without a time limit
  tlv::Message Receive(bool patient = false);
  /// The bytes of the next reply.
  std::string ReceiveBytes(bool patient = false);

 private:
  using Clock = std::chrono::steady_clock;

  void Connect();
  [[noreturn]] void Fail(const std::string& what) const;
  /// @return false after the time limit
  bool WaitForBytes(Clock::time_point until) const;

  Settings settings_;
  std::string place_;
  std::chrono::milliseconds timeout_;
  int socket_ = -1;
  std::vector<uint8_t> received_;
};

/// @throws Failure of kExitNoDaemon for bytes that are not a message
tlv::Message ReplyIn(const std::string& bytes);

/// The code of a reply.
uint32_t CodeOf(const Fields& reply);

}  // namespace byod::ctl

#endif  // BYODCTL_DAEMON_CLIENT_H
