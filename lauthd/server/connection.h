// One client: its requests, one after the other, and their answers.
#ifndef LAUTHD_SERVER_CONNECTION_H
#define LAUTHD_SERVER_CONNECTION_H

#include <array>
#include <asio/awaitable.hpp>
#include <asio/basic_stream_socket.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "lauthd/requests/backup_requests.h"
#include "lauthd/requests/dispatch.h"
#include "lauthd/server/access.h"
#include "lauthd/server/connections.h"
#include "lauthd/state/watch_hub.h"
#include "tlv/message.h"

namespace byod::lauthd {

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  /**
   * Serves a client until it goes, or has to.
   *
   * What it asks for at once is answered before this returns: who connects mostly does so with a
   * question, and goes when it has the answer.
   *
   * @param descriptor  of a connected socket; owned
   * @return false without memory for it; it has been closed then
   */
  static bool Begin(Daemon& daemon, int descriptor);

  /// Serves on a client that Begin has put off.
  void Continue();

  Connection(Daemon& daemon, int descriptor);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Ends what the client and we are waiting for, and with it the connection.
  void Close();

  /// Until when the client may keep us waiting for what it owes. Never, when it owes nothing.
  Connections::Clock::time_point deadline() const { return deadline_; }

  /// Whether it may be closed to make room: it owes nothing and has asked for nothing, or it pauses
  /// in a listing.
  bool Idle() const;

  const Peer& peer();

  // What a request leaves for the client's next one.
  std::unique_ptr<RestoreUpload> upload;

 private:
  // The executor by its own type: behind a general one every step of a coroutine costs more.
  using Executor = asio::io_context::executor_type;
  using Socket = asio::basic_stream_socket<asio::local::stream_protocol, Executor>;
  template <typename T>
  using Awaitable = asio::awaitable<T, Executor>;

  enum class Received { kMessage, kWait, kEnd };
  enum class Answered { kWhole, kLater, kNot };

  // How long a client may leave a reply unread.
  enum class Reading { kInTime, kAtLeisure };

  // What has to happen before the client can be served on.
  enum class Need { kInput, kRoom, kTime, kTurn, kEnd };

  template <typename Step>
  void AtOwnCost(Step step);
  void CloseSocket();
  Need ServeWhatIsThere();
  void SeeTo(Need need);
  void ServeOn();
  void WaitForInput();
  void Spawn(Need need);
  Awaitable<void> TakeTime(Need need);

  bool OwesSomething() const;
  void BecomeIdle();
  Connections::Clock::duration Patience() const;
  Received NextMessage();
  Received ReadMessage();
  Received TakeIn(std::span<const uint8_t> arrived);
  Received ParsePending();
  Received Parse(const uint8_t* bytes, size_t count, size_t& used);

  bool SendNow(const uint8_t* bytes, size_t length);
  bool SendNow(const tlv::Message& message);
  Awaitable<bool> SendRest(Reading reading);
  Awaitable<bool> Send(const tlv::Message& message, Reading reading);

  Answered AnswerAtOnce();
  Answered Perform();
  Awaitable<bool> AnswerInTime();
  Awaitable<bool> SendSeries(Series& series);
  Awaitable<bool> Watch();
  void NoticeMove(const std::shared_ptr<bool>& moved);
  bool ClientHasGone() const;
  Awaitable<bool> WaitForGate();
  Awaitable<bool> WaitForSocket(Socket::wait_type what);
  Awaitable<void> WaitForWake();
  Socket& socket();

  Daemon& daemon_;
  int descriptor_;                          // -1: closed, or the socket's
  std::optional<Socket> socket_;            // since something is waited for
  std::optional<asio::steady_timer> wake_;  // cancelled when something happens that is waited for
  Connections::Place place_;
  Connections::Clock::time_point deadline_ = Connections::Clock::time_point::max();
  std::optional<Peer> peer_;
  bool closed_ = false;
  bool idle_ = false;
  bool readable_ = true;  // as far as is known
  int requests_ = 0;

  // The request that is being answered, and how.
  tlv::Message request_;
  std::optional<Exchange> exchange_;
  Task task_;

  // Where the next request begins to arrive: room for a fingerprint. What is longer is read on when
  // that much is there.
  std::array<uint8_t, 512> first_bytes_;
  std::span<const uint8_t> arrived_;  // what of it is not looked at yet
  // Bytes that have arrived and are no whole message yet, or wait for their turn.
  std::vector<uint8_t> pending_;
  size_t pending_start_ = 0;
  // The rest of a message that the socket did not take at once.
  std::vector<uint8_t> outgoing_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_CONNECTION_H
