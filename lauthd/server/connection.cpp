// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/connection.h"

#include <unistd.h>

#include <algorithm>
#include <asio/buffer.hpp>
#include <cerrno>
#include <exception>
#include <new>
#include <utility>

#include "lauthd/log.h"
#include "lauthd/server/runtime.h"
#include "protocol/counter.h"

namespace byod::lauthd {
namespace {

// A client with many requests, or a long listing, lets others be served after this time. By the
// clock, as a request may also wait for the disk.
constexpr std::chrono::milliseconds kTurn{1};
constexpr auto kOneRequest = Connections::Clock::time_point::min();
constexpr std::chrono::seconds kBulkPause{10};   // between two requests of a bulk
constexpr std::chrono::seconds kGateTimeout{4};  // byodctl waits for 5 seconds
constexpr auto kNever = Connections::Clock::time_point::max();

}  // namespace

// ---------------------------------------------------------------- from begin to end

bool Connection::Begin(Runtime& runtime, int descriptor, const Peer& peer) {
  std::shared_ptr<Connection> connection;
  try {
    connection = std::make_shared<Connection>(runtime, descriptor, peer);
  } catch (const std::bad_alloc&) {
    close(descriptor);
    return false;
  }
  connection->CloseOnException([&] {
    const BlockedOn blocked =
        connection->input_.Receive(descriptor) ? connection->ServeArrived() : BlockedOn::kEnd;
    if (blocked == BlockedOn::kInput && connection->requests_ == 1) {
      runtime.connections.Defer(connection);
    } else {
      connection->WaitFor(blocked);
    }
  });
  return true;
}

void Connection::Continue() {
  if (!socket_.closed() && !input_.Receive(socket_.descriptor())) return Close();
  Serve();
}

void Connection::TakeTurn() {
  if (std::exchange(waiting_for_turn_, false)) return Wake();
  CloseOnException([this] { WaitFor(ServeUntil(Connections::Clock::now() + kTurn)); });
}

Connection::Connection(Runtime& runtime, int descriptor, const Peer& peer)
    : runtime_(runtime),
      state_(runtime.state),
      socket_(runtime.io, descriptor),
      peer_(peer),
      user_place_(runtime.places, peer.user),
      session_(state_, [this] { return peer_; }),
      place_(runtime.connections.Add(this)) {}

Connection::~Connection() {
  socket_.Close();
  runtime_.connections.Remove(place_);
}

void Connection::Close() {
  socket_.Close();
  Wake();
}

/// Runs a step of serving this client; an exception closes this connection and no other.
template <typename Step>
void Connection::CloseOnException(Step step) {
  try {
    step();
  } catch (const std::exception& reason) {
    Log(Severity::kWarning, "a client is dropped: %s", reason.what());
    Close();
  }
}

// ---------------------------------------------------------------- serving

/// Answers one request of what has just arrived; whatever more there is waits for the client's
/// turn. To find out costs as little as can be: that is all that each of a thousand clients can do
/// to another one at once.
Connection::BlockedOn Connection::ServeArrived() {
  return input_.Filled() ? BlockedOn::kTurn : ServeUntil(kOneRequest);
}

/// Answers requests, at least one, until the time is over or the client is blocked on something.
/// Called again too early, it returns the same again.
Connection::BlockedOn Connection::ServeUntil(Connections::Clock::time_point end) {
  for (;;) {
    if (socket_.closed()) return BlockedOn::kEnd;
    if (exchange_) return BlockedOn::kReply;
    if (!output_.Empty()) return BlockedOn::kOutput;
    switch (input_.Next(socket_.descriptor(), runtime_.scratch, request_)) {
      case MessageInput::Status::kEnd:
        return BlockedOn::kEnd;
      case MessageInput::Status::kIncomplete:
        return BlockedOn::kInput;
      case MessageInput::Status::kMessage:
        break;
    }
    deadline_ = kNever;
    const Outcome outcome = TryAnswer();
    if (outcome == Outcome::kFailed) return BlockedOn::kEnd;
    if (outcome == Outcome::kPending) return BlockedOn::kReply;
    EndRequest();
    if (output_.Empty() && input_.MayHaveMore() && Connections::Clock::now() >= end) {
      return BlockedOn::kTurn;
    }
  }
}

void Connection::Serve() {
  CloseOnException([this] { WaitFor(ServeArrived()); });
}

/// Waits for input, a turn, or room in the socket, whichever the client is blocked on, and resumes
/// serving it then.
void Connection::WaitFor(BlockedOn blocked) {
  switch (blocked) {
    case BlockedOn::kInput:
      return WaitForInput();
    case BlockedOn::kEnd:
      return Close();
    case BlockedOn::kTurn:
      return runtime_.connections.AwaitTurn(shared_from_this());
    default:
      Spawn(ServeBlocked(blocked), [self = shared_from_this()](const std::exception_ptr& error) {
        if (error) self->CloseOnException([&error] { std::rethrow_exception(error); });
      });
  }
}

/// A plain callback, as a waiting coroutine costs more; and a read instead of a wait, as the
/// reactor tries a read at once and needs no event for bytes that are there.
void Connection::WaitForInput() {
  if (!HasUnfinished()) {
    BecomeIdle();
  } else if (deadline_ == kNever) {
    // Set once: it is not put off when the request comes byte by byte.
    deadline_ = Connections::Clock::now() + InputTimeout();
  }
  BeginWait();
  const auto buffer = input_.buffer();
  socket_.stream().async_receive(asio::buffer(buffer.data(), buffer.size()),
                                 [self = shared_from_this()](asio::error_code error, size_t count) {
                                   self->idle_ = false;
                                   if (error) return self->Close();
                                   self->EndWait();
                                   self->input_.Arrived(count);
                                   self->Serve();
                                 });
}

/// Waits for room in the socket or for a reply, until the client is blocked on something else.
Awaitable<void> Connection::ServeBlocked(BlockedOn blocked) {
  while (blocked == BlockedOn::kOutput || blocked == BlockedOn::kReply) {
    bool open = true;
    if (blocked == BlockedOn::kOutput) {
      open = co_await SendRest(ReadLimit::kTimeout);
    } else {
      open = co_await FinishAnswer();
      EndRequest();
    }
    blocked = open ? ServeUntil(kOneRequest) : BlockedOn::kEnd;
  }
  WaitFor(blocked);
}

/// Answers the request, unless it has to wait for another client's bulk or needs many replies.
Connection::Outcome Connection::TryAnswer() {
  exchange_.emplace(Exchange{state_, session_, request_.get(), 0, 0, {}, nullptr, false});
  task_ = FindTask(*exchange_);
  if (task_.waits_for_bulk) {
    // A client that gave up does not expect its change to be made later.
    if (socket_.PeerHasGone()) return Outcome::kFailed;
    if (!state_.gate.MayPass(&session_)) return Outcome::kPending;
  }
  return Answer();
}

/// Carries the request out, and sends the reply unless it is one of many.
Connection::Outcome Connection::Answer() {
  const Result result = Perform(task_, *exchange_);
  if (exchange_->series || exchange_->watch) return Outcome::kPending;
  const bool made = exchange_->reply || exchange_->Answer(result).status() == 0;
  return made && SendNow(exchange_->reply) ? Outcome::kSent : Outcome::kFailed;
}

/// Does what TryAnswer left pending. @return false when the connection has to end
Awaitable<bool> Connection::FinishAnswer() {
  if (!exchange_->series && !exchange_->watch) {
    if (!co_await WaitForGate()) co_return false;
    const Outcome outcome = Answer();
    if (outcome != Outcome::kPending) co_return outcome == Outcome::kSent;
  }
  if (exchange_->series) co_return co_await SendSeries(*exchange_->series);
  co_return co_await Watch();
}

void Connection::EndRequest() {
  const bool owned_bulk = std::exchange(owned_bulk_, session_.OwnsBulk());
  if (owned_bulk_ && !owned_bulk) bulk_left_ = runtime_.bulk_timeout;
  exchange_.reset();
  request_ = tlv::Message();
  ++requests_;
  // Not when it begins to wait, which a client with a single question is spared for a while.
  runtime_.connections.MoveToEnd(place_);
}

// ---------------------------------------------------------------- limits of time

/// Whether something is begun that only the client can finish: a request, a bulk, a restore.
bool Connection::HasUnfinished() const {
  return input_.Pending() || session_.upload != nullptr || session_.OwnsBulk();
}

/// How long the client may take to finish. While it holds a bulk open, others wait.
Connections::Clock::duration Connection::InputTimeout() const {
  if (!session_.OwnsBulk()) return runtime_.idle_timeout;
  return std::min<Connections::Clock::duration>({runtime_.idle_timeout, kBulkPause, bulk_left_});
}

/// The time that the daemon takes for the requests of a bulk is not the client's.
void Connection::BeginWait() {
  if (session_.OwnsBulk()) waiting_since_ = Connections::Clock::now();
}

void Connection::EndWait() {
  if (!session_.OwnsBulk()) return;
  bulk_left_ -= Connections::Clock::now() - waiting_since_;
  if (BulkIsOver()) session_.ExpireBulk();
}

bool Connection::BulkIsOver() const {
  return session_.OwnsBulk() && bulk_left_ <= Connections::Clock::duration::zero();
}

/// Closes the connection, but for one that has had a bulk open for too long and owes nothing else:
/// that one gets the reason with its next request.
void Connection::EndOverdue() {
  if (session_.OwnsBulk()) {
    Log(Severity::kWarning, "a bulk of user %u is rolled back: its client took too long",
        static_cast<unsigned>(peer_.user));
    EndWait();
  }
  if (!session_.bulk_expired || HasUnfinished() || exchange_ || !output_.Empty()) return Close();
  BecomeIdle();
}

void Connection::BecomeIdle() {
  deadline_ = kNever;
  idle_ = true;
}

bool Connection::Idle() const {
  if (!idle_ || socket_.closed()) return false;
  return exchange_.has_value() || socket_.Peek() < 0;
}

// ---------------------------------------------------------------- sending

bool Connection::SendNow(const tlv::Message& message) {
  return output_.Send(socket_.descriptor(), message, runtime_.scratch);
}

/// Waits for room for what the socket did not take.
Awaitable<bool> Connection::SendRest(ReadLimit limit) {
  deadline_ = Connections::Clock::now() + InputTimeout();
  BeginWait();
  while (!output_.Empty()) {
    if (limit == ReadLimit::kNone) {
      BecomeIdle();
      runtime_.connections.MoveToEnd(place_);
    }
    const bool writable = co_await socket_.Wait(ClientSocket::Stream::wait_write);
    idle_ = false;
    if (!writable || !output_.SendRest(socket_.descriptor())) co_return false;
  }
  deadline_ = kNever;
  EndWait();
  co_return true;
}

Awaitable<bool> Connection::Send(const tlv::Message& message, ReadLimit limit) {
  if (!SendNow(message)) co_return false;
  co_return output_.Empty() || co_await SendRest(limit);
}

Awaitable<bool> Connection::SendSeries(Series& series) {
  Pieces pieces;
  // A person may read a listing page by page; that costs no more than the memory of one reply.
  const ReadLimit limit = series.HoldsFile() ? ReadLimit::kTimeout : ReadLimit::kNone;
  for (bool more = true; more;) {
    // Other clients are served before each reply, the first one too, however fast this one reads.
    if (!co_await WaitForTurn()) co_return false;
    if (!series.Next(pieces, more)) co_return false;
    // A long stretch without anything to report makes no reply.
    if (!more || !pieces.Empty()) {
      if (!SendNow(pieces.MakeReply(more ? BYOD_ERR_CONTINUE : 0))) co_return false;
      pieces = Pieces();  // a client that does not read holds no more than what is left of a reply
      if (!output_.Empty() && !co_await SendRest(limit)) co_return false;
    }
  }
  co_return true;
}

// ---------------------------------------------------------------- watching

/// Sets the flag when there is something to read, or the connection has ended.
void Connection::NoticeInput(const std::shared_ptr<bool>& noticed) {
  socket_.stream().async_wait(ClientSocket::Stream::wait_read, [self = shared_from_this(),
                                                                noticed](asio::error_code error) {
    // The event may be of bytes that were read before the wait began.
    const bool nothing =
        !error && self->socket_.Peek() < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    if (nothing) {
      return self->CloseOnException([&] { self->NoticeInput(noticed); });
    }
    *noticed = true;
    self->Wake();
  });
}

Awaitable<bool> Connection::SendEvents(Watcher& watcher) {
  Pieces pieces;
  if (const uint64_t lost = watcher.TakeLost(); lost != 0) {
    uint8_t counter[protocol::kCounterSize];
    protocol::StoreCounter(lost, counter);
    pieces.AddBytes(BYOD_EXT_LOST, counter, sizeof counter);
  }
  while (!watcher.Empty() && !pieces.Full()) {
    const Event event = watcher.Pop();
    pieces.AddBytes(BYOD_EXT_EVENT, event->data(), event->size());
  }
  co_return co_await Send(pieces.MakeReply(BYOD_ERR_CONTINUE), ReadLimit::kTimeout);
}

Awaitable<bool> Connection::Watch() {
  Watcher watcher([this] { Wake(); });
  const WatchHub::Registration registration(*exchange_->hub, watcher, peer_.user);
  const Pieces nothing;
  if (!co_await Send(nothing.MakeReply(BYOD_ERR_CONTINUE), ReadLimit::kTimeout)) co_return false;

  // Whatever the client does ends the watch: it goes, or sends another request.
  const auto noticed = std::make_shared<bool>(input_.Pending());
  NoticeInput(noticed);
  while (!*noticed && !socket_.closed()) {
    if (watcher.Empty()) {
      co_await Sleep();
    } else if (!co_await SendEvents(watcher)) {
      co_return false;
    }
  }
  co_return !socket_.closed() && co_await Send(nothing.MakeReply(0), ReadLimit::kTimeout);
}

// ---------------------------------------------------------------- waiting

/// Waits for the end of another client's bulk, or refuses the request.
/// @return false when this client has gone meanwhile
Awaitable<bool> Connection::WaitForGate() {
  const ChangeGate::Waiter waiter(state_.gate, [this] { Wake(); });
  const auto end = Connections::Clock::now() + kGateTimeout;
  while (!waiter.MayPass()) {
    if (Connections::Clock::now() >= end) {
      task_ = {nullptr, false, Refused(BYOD_REFUSAL_BUSY, state_.gate.WhyClosed())};
      break;
    }
    co_await SleepUntil(end);
    if (socket_.closed()) co_return false;
  }
  co_return !socket_.PeerHasGone();
}

/// Lets clients with less to do be served. @return false when this client has gone meanwhile
Awaitable<bool> Connection::WaitForTurn() {
  waiting_for_turn_ = true;
  runtime_.connections.AwaitTurn(shared_from_this());
  while (waiting_for_turn_ && !socket_.closed())
    co_await Sleep();
  co_return !socket_.closed();
}

/// Waits until Wake is called.
Awaitable<void> Connection::Sleep() {
  return SleepUntil(kNever);
}

Awaitable<void> Connection::SleepUntil(Connections::Clock::time_point end) {
  if (!sleep_) sleep_.emplace(runtime_.io);
  sleep_->expires_at(end);
  co_await Operation([&](auto done) { sleep_->async_wait(std::move(done)); });
}

void Connection::Wake() {
  if (sleep_) sleep_->cancel();
}

}  // namespace byod::lauthd
