// SPDX-License-Identifier: Apache-2.0
// One client: its requests, one after the other, and their answers.
#ifndef LAUTHD_SERVER_CONNECTION_H
#define LAUTHD_SERVER_CONNECTION_H

#include <asio/steady_timer.hpp>
#include <memory>
#include <optional>

#include "lauthd/requests/dispatch.h"
#include "lauthd/requests/session.h"
#include "lauthd/server/client_socket.h"
#include "lauthd/server/connections.h"
#include "lauthd/server/message_input.h"
#include "lauthd/server/message_output.h"

namespace byod::lauthd {

struct Runtime;

class Connection : public Client, public std::enable_shared_from_this<Connection> {
 public:
  /**
   * Serves a client until it goes, or has to.
   *
   * A request that has arrived already is answered before this returns: most clients connect to ask
   * one question, and go when they have the answer. A client that sent more waits for its turn.
   *
   * @param descriptor  of a connected socket; owned
   * @param peer        for whom there is a place
   * @return false without memory for the client; the descriptor has been closed then
   */
  static bool Begin(Runtime& runtime, int descriptor, const Peer& peer);

  Connection(Runtime& runtime, int descriptor, const Peer& peer);
  ~Connection() override;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void Close() override;
  Connections::Clock::time_point deadline() const override { return deadline_; }
  void EndOverdue() override;
  bool Idle() const override;
  const Peer& peer() const override { return peer_; }
  void Continue() override;
  void TakeTurn() override;

 private:
  // How an attempt to answer a request ended.
  enum class Outcome { kSent, kPending, kFailed };

  // How long a client may leave a reply unread.
  enum class ReadLimit { kTimeout, kNone };

  // What a client is blocked on.
  enum class BlockedOn { kInput, kOutput, kReply, kTurn, kEnd };

  template <typename Step>
  void CloseOnException(Step step);

  // Serving.
  void Serve();
  BlockedOn ServeArrived();
  BlockedOn ServeUntil(Connections::Clock::time_point end);
  void WaitFor(BlockedOn blocked);
  void WaitForInput();
  Awaitable<void> ServeBlocked(BlockedOn blocked);
  Outcome TryAnswer();
  Outcome Answer();
  Awaitable<bool> FinishAnswer();
  void EndRequest();

  // Limits of time.
  bool HasUnfinished() const;
  Connections::Clock::duration InputTimeout() const;
  void BecomeIdle();
  void BeginWait();
  void EndWait();
  bool BulkIsOver() const;

  // Sending.
  bool SendNow(const tlv::Message& message);
  Awaitable<bool> SendRest(ReadLimit limit);
  Awaitable<bool> Send(const tlv::Message& message, ReadLimit limit);
  Awaitable<bool> SendSeries(Series& series);

  // Watching.
  Awaitable<bool> Watch();
  Awaitable<bool> SendEvents(Watcher& watcher);
  void NoticeInput(const std::shared_ptr<bool>& noticed);

  // Waiting for something that is not the socket.
  Awaitable<bool> WaitForGate();
  Awaitable<void> SleepUntil(Connections::Clock::time_point end);
  Awaitable<bool> WaitForTurn();
  Awaitable<void> Sleep();
  void Wake();

  Runtime& runtime_;
  State& state_;
  ClientSocket socket_;
  const Peer peer_;
  const SharedPlaces::Place user_place_;
  Session session_;
  MessageInput input_;
  MessageOutput output_;
  std::optional<asio::steady_timer> sleep_;  // cancelled by Wake; since something was waited for
  Connections::Place place_;
  // Until when the client may leave a request unfinished or a reply unread.
  Connections::Clock::time_point deadline_ = Connections::Clock::time_point::max();
  // How long the client may still have others wait with its bulk, and since when they do.
  bool owned_bulk_ = false;  // after the last request
  Connections::Clock::duration bulk_left_ = {};
  Connections::Clock::time_point waiting_since_;
  bool idle_ = false;              // has nothing unfinished, or pauses in a listing
  bool waiting_for_turn_ = false;  // in the middle of a request
  int requests_ = 0;

  // The request that is being answered, and how.
  tlv::Message request_;
  std::optional<Exchange> exchange_;
  Task task_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_CONNECTION_H
