// One client: its requests, one after the other, and their answers.
#ifndef LAUTHD_CONNECTION_H
#define LAUTHD_CONNECTION_H

#include <asio/awaitable.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "lauthd/access.h"
#include "lauthd/backup_requests.h"
#include "lauthd/connections.h"
#include "lauthd/dispatch.h"
#include "lauthd/watch_hub.h"
#include "tlv/message.h"

namespace byod::lauthd {

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  using Socket = asio::local::stream_protocol::socket;

  Connection(Daemon& daemon, Socket socket);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Serves the client until it goes, or has to.
  asio::awaitable<void> Run();

  /// Ends what the client and we are waiting for; Run returns then.
  void Close();

  /// Until when the client may keep us waiting.
  Connections::Clock::time_point deadline() const { return deadline_; }

  const Peer& peer();

  // What a request leaves for the client's next one.
  std::unique_ptr<RestoreUpload> upload;

 private:
  enum class Received { kMessage, kWait, kEnd };

  Connections::Clock::duration Patience() const;
  Received ReadMessage(tlv::Message& message);
  Received ParsePending(tlv::Message& message);
  Received Parse(const uint8_t* bytes, size_t count, tlv::Message& message, size_t& used);
  asio::awaitable<bool> Receive(tlv::Message& message);

  bool Serialize(const tlv::Message& message, size_t& length);
  bool SendNow(const uint8_t* bytes, size_t length);
  asio::awaitable<bool> Send(const tlv::Message& message);

  asio::awaitable<bool> Answer(const tlv::Message& request);
  asio::awaitable<bool> SendSeries(Series& series);
  asio::awaitable<bool> Watch();
  void NoticeMove(const std::shared_ptr<bool>& moved);
  asio::awaitable<bool> WaitForGate();
  asio::awaitable<bool> WaitForSocket(Socket::wait_type what);

  Daemon& daemon_;
  Socket socket_;
  asio::steady_timer wake_;  // cancelled when something happens that a client waits for
  Connections::Place place_;
  Connections::Clock::time_point deadline_ = Connections::Clock::time_point::max();
  std::optional<Peer> peer_;
  bool closed_ = false;

  // Bytes that have arrived and are no whole message yet, or wait for their turn.
  std::vector<uint8_t> pending_;
  size_t pending_start_ = 0;
  // The rest of a message that the socket did not take at once.
  std::vector<uint8_t> outgoing_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_CONNECTION_H
