#include "lauthd/server/connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/co_spawn.hpp>
#include <asio/post.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <cerrno>
#include <exception>
#include <new>

#include "byod_cfgmsg.h"
#include "lauth_tlv_stream.h"
#include "lauthd/log.h"
#include "lauthd/server/daemon.h"
#include "protocol/counter.h"

namespace byod::lauthd {
namespace {

constexpr size_t kLongestMessage = BYOD_REPLY_MAX;
// After so many requests that were there already it is the others' turn.
constexpr int kRequestsInARow = 16;
constexpr std::chrono::seconds kBulkPatience{10};
constexpr auto kNever = Connections::Clock::time_point::max();
constexpr asio::use_awaitable_t<asio::io_context::executor_type> kAwait;

void Drop(const std::exception& reason) {
  Log(Severity::kWarning, "a client is dropped: %s", reason.what());
}

}  // namespace

bool Connection::Begin(Daemon& daemon, int descriptor) {
  std::shared_ptr<Connection> connection;
  try {
    connection = std::make_shared<Connection>(daemon, descriptor);
  } catch (const std::bad_alloc&) {
    close(descriptor);
    return false;
  }
  connection->AtOwnCost([&] {
    const Need need = connection->ServeWhatIsThere();
    // Who has been answered will probably have gone before long: see then.
    if (need == Need::kInput && connection->requests_ == 1) {
      daemon.LookAgainAt(connection);
    } else {
      connection->SeeTo(need);
    }
  });
  return true;
}

void Connection::Continue() {
  readable_ = true;
  ServeOn();
}

/// Does something for the client; what it throws ends this connection and nothing else.
template <typename Step>
void Connection::AtOwnCost(Step step) {
  try {
    step();
  } catch (const std::exception& reason) {
    Drop(reason);
    Close();
  }
}

/// Makes what the client needs to be served on happen.
void Connection::SeeTo(Need need) {
  switch (need) {
    case Need::kInput:
      return WaitForInput();
    case Need::kEnd:
      return Close();
    case Need::kTurn:
      return asio::post(daemon_.io, [self = shared_from_this()] { self->ServeOn(); });
    default:
      return Spawn(need);
  }
}

void Connection::ServeOn() {
  AtOwnCost([this] { SeeTo(ServeWhatIsThere()); });
}

void Connection::Spawn(Need need) {
  asio::co_spawn(daemon_.io, TakeTime(need),
                 [self = shared_from_this()](const std::exception_ptr& error) {
                   if (error) self->AtOwnCost([&error] { std::rethrow_exception(error); });
                 });
}

Connection::Connection(Daemon& daemon, int descriptor)
    : daemon_(daemon), descriptor_(descriptor), place_(daemon.connections.Add(this)) {}

Connection::~Connection() {
  CloseSocket();
  if (daemon_.gate.OwnedBy(this)) daemon_.AbortBulk();
  daemon_.connections.Remove(place_);
}

void Connection::Close() {
  if (closed_) return;
  CloseSocket();
  if (wake_) wake_->cancel();
}

void Connection::CloseSocket() {
  if (std::exchange(closed_, true)) return;
  asio::error_code ignored;
  if (socket_) {
    socket_->close(ignored);
  } else {
    close(descriptor_);
  }
  descriptor_ = -1;
}

const Peer& Connection::peer() {
  if (!peer_) peer_ = LookAtPeer(descriptor_, daemon_.admin_group);
  return *peer_;
}

/// The socket as something to wait for, which costs the system more than a short visit.
Connection::Socket& Connection::socket() {
  if (!socket_) socket_.emplace(daemon_.io, asio::local::stream_protocol(), descriptor_);
  return *socket_;
}

Connection::Awaitable<bool> Connection::WaitForSocket(Socket::wait_type what) {
  if (closed_) co_return false;
  asio::error_code error;
  co_await socket().async_wait(what, asio::redirect_error(kAwait, error));
  co_return !error && !closed_;
}

/// Waits until somebody cancels the timer.
Connection::Awaitable<void> Connection::WaitForWake() {
  asio::error_code cancelled;
  wake_->expires_at(kNever);
  co_await wake_->async_wait(asio::redirect_error(kAwait, cancelled));
}

// ---------------------------------------------------------------- receiving

/// Looks for a whole message at the start of some bytes.
Connection::Received Connection::Parse(const uint8_t* bytes, size_t count, size_t& used) {
  const int64_t length = TLV_Stream_MessageLength(bytes, count);
  if (length < 0 || length > static_cast<int64_t>(kLongestMessage)) return Received::kEnd;
  if (length == 0 || static_cast<size_t>(length) > count) return Received::kWait;
  used = static_cast<size_t>(length);
  request_ = tlv::Message(TLV_CreateReceiveMsg(tlv::kMemory, reinterpret_cast<uintptr_t>(bytes),
                                               static_cast<uint32_t>(length)));
  return request_ ? Received::kMessage : Received::kEnd;
}

Connection::Received Connection::ParsePending() {
  size_t used = 0;
  const Received received =
      Parse(pending_.data() + pending_start_, pending_.size() - pending_start_, used);
  pending_start_ += used;
  // A client that waits keeps no memory for what it has sent.
  if (pending_start_ == pending_.size()) {
    std::vector<uint8_t>().swap(pending_);
    pending_start_ = 0;
  }
  return received;
}

/// Whether something is begun that only the client can finish: a request, a bulk, a restore.
bool Connection::OwesSomething() const {
  return !pending_.empty() || upload != nullptr || daemon_.gate.OwnedBy(this);
}

void Connection::BecomeIdle() {
  deadline_ = kNever;
  idle_ = true;
  daemon_.connections.MoveToEnd(place_);
}

bool Connection::Idle() const {
  if (!idle_ || closed_) return false;
  if (exchange_) return true;
  char byte;
  return recv(descriptor_, &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0;
}

/// How long the client may take to finish. While it holds a bulk open, others wait.
Connections::Clock::duration Connection::Patience() const {
  if (!daemon_.gate.OwnedBy(this)) return daemon_.idle_timeout;
  return std::min<Connections::Clock::duration>(daemon_.idle_timeout, kBulkPatience);
}

/// Takes a message out of bytes that have arrived; what is no whole message is kept.
Connection::Received Connection::TakeIn(std::span<const uint8_t> arrived) {
  size_t used = 0;
  const bool first = pending_.empty();
  const Received received = first ? Parse(arrived.data(), arrived.size(), used) : Received::kWait;
  if (received != Received::kEnd && used < arrived.size()) {
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<ptrdiff_t>(pending_start_));
    pending_start_ = 0;
    pending_.insert(pending_.end(), arrived.begin() + static_cast<ptrdiff_t>(used), arrived.end());
  }
  return first ? received : ParsePending();
}

/// Reads what has arrived, into memory that all connections share.
Connection::Received Connection::ReadMessage() {
  auto& room = daemon_.scratch;
  const ssize_t got = recv(descriptor_, room.data(), room.size(), MSG_DONTWAIT);
  if (got < 0) {
    const bool nothing_yet = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
    return nothing_yet ? Received::kWait : Received::kEnd;
  }
  if (got == 0) return Received::kEnd;
  return TakeIn({room.data(), static_cast<size_t>(got)});
}

/// Takes the next message out of what has arrived. Nothing is read on the off chance: who has its
/// answer seldom has asked again by now.
Connection::Received Connection::NextMessage() {
  Received received = pending_.empty() ? Received::kWait : ParsePending();
  if (received == Received::kWait && !arrived_.empty()) {
    received = TakeIn(std::exchange(arrived_, {}));
  }
  if (received == Received::kWait && std::exchange(readable_, false)) received = ReadMessage();
  return received;
}

// ---------------------------------------------------------------- sending

/// Sends what the socket takes and keeps the rest. @return false when the client has gone
bool Connection::SendNow(const uint8_t* bytes, size_t length) {
  while (length > 0) {
    const ssize_t sent = send(descriptor_, bytes, length, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    if (sent < 0) return false;
    bytes += sent;
    length -= static_cast<size_t>(sent);
  }
  outgoing_.assign(bytes, bytes + length);
  return true;
}

/// The same for a message, laid down in the memory that all connections share.
bool Connection::SendNow(const tlv::Message& message) {
  const uint32_t length = TLV_GetMsgLen(message.get(), tlv::kMemory);
  if (length == 0 || length > kLongestMessage) return false;
  const auto target = reinterpret_cast<uintptr_t>(daemon_.scratch.data());
  return TLV_Flush(message.get(), tlv::kMemory, length, target) == length &&
         SendNow(daemon_.scratch.data(), length);
}

/// Waits for room for what the socket did not take.
Connection::Awaitable<bool> Connection::SendRest(Reading reading) {
  deadline_ = Connections::Clock::now() + daemon_.idle_timeout;
  while (!outgoing_.empty()) {
    if (reading == Reading::kAtLeisure) BecomeIdle();
    const bool writable = co_await WaitForSocket(Socket::wait_write);
    idle_ = false;
    if (!writable) co_return false;
    const std::vector<uint8_t> rest = std::move(outgoing_);
    outgoing_.clear();
    if (!SendNow(rest.data(), rest.size())) co_return false;
  }
  std::vector<uint8_t>().swap(outgoing_);
  deadline_ = kNever;
  co_return true;
}

Connection::Awaitable<bool> Connection::Send(const tlv::Message& message, Reading reading) {
  if (!SendNow(message)) co_return false;
  co_return outgoing_.empty() || co_await SendRest(reading);
}

Connection::Awaitable<bool> Connection::SendSeries(Series& series) {
  Pieces pieces;
  // A person may read a listing page by page. Nothing but one reply is kept for that.
  const Reading reading = series.HoldsFile() ? Reading::kInTime : Reading::kAtLeisure;
  for (bool more = true; more;) {
    pieces.Clear();
    if (!series.Next(pieces, more)) co_return false;
    // A long stretch in which nothing was to be told is no reply.
    if (!more || !pieces.Empty()) {
      if (!co_await Send(pieces.MakeReply(more ? BYOD_ERR_CONTINUE : 0), reading)) {
        co_return false;
      }
    }
    // Others are served between the replies, however fast this client reads.
    if (more) co_await asio::post(kAwait);
    if (closed_) co_return false;
  }
  co_return true;
}

// ---------------------------------------------------------------- requests

/// Whether nobody is there to read an answer. A client that only sends nothing more still is.
bool Connection::ClientHasGone() const {
  pollfd socket = {descriptor_, 0, 0};
  return poll(&socket, 1, 0) > 0 && (socket.revents & (POLLHUP | POLLERR)) != 0;
}

Connection::Awaitable<bool> Connection::WaitForGate() {
  if (!wake_) wake_.emplace(daemon_.io);
  const ChangeGate::Waiter waiter(daemon_.gate, *wake_);
  while (!daemon_.gate.OpenFor(this)) {
    co_await WaitForWake();
    if (closed_) co_return false;
  }
  // A client that gave up does not expect its change to be made later.
  co_return !ClientHasGone();
}

/// Answers the request, unless that takes longer than this moment.
Connection::Answered Connection::AnswerAtOnce() {
  exchange_.emplace(Exchange{daemon_, *this, request_.get(), 0, 0, {}, nullptr, false});
  task_ = FindTask(*exchange_);
  if (task_.changes && !daemon_.gate.OpenFor(this)) return Answered::kLater;
  return Perform();
}

/// Carries the request out, and sends the answer unless it is one of many replies.
Connection::Answered Connection::Perform() {
  const Result result =
      task_.handler != nullptr ? task_.handler(*exchange_) : std::move(task_.refusal);
  daemon_.Count(*exchange_, result);
  if (exchange_->series || exchange_->watch) return Answered::kLater;
  const bool made = exchange_->reply || exchange_->Answer(result).status() == 0;
  return made && SendNow(exchange_->reply) ? Answered::kWhole : Answered::kNot;
}

/// What AnswerAtOnce left for later.
Connection::Awaitable<bool> Connection::AnswerInTime() {
  if (!exchange_->series && !exchange_->watch) {
    if (!co_await WaitForGate()) co_return false;
    const Answered answered = Perform();
    if (answered != Answered::kLater) co_return answered == Answered::kWhole;
  }
  if (exchange_->series) co_return co_await SendSeries(*exchange_->series);
  co_return co_await Watch();
}

/// Answers requests until something has to be waited for; says so again when asked again.
Connection::Need Connection::ServeWhatIsThere() {
  for (;;) {
    if (closed_) return Need::kEnd;
    if (exchange_) return Need::kTime;
    if (!outgoing_.empty()) return Need::kRoom;
    const Received received = NextMessage();
    if (received == Received::kEnd) return Need::kEnd;
    if (received == Received::kWait) return Need::kInput;
    deadline_ = kNever;
    const Answered answered = AnswerAtOnce();
    if (answered == Answered::kNot) return Need::kEnd;
    if (answered == Answered::kLater) return Need::kTime;
    exchange_.reset();
    request_ = tlv::Message();
    ++requests_;
    if (outgoing_.empty() && requests_ % kRequestsInARow == 0) return Need::kTurn;
  }
}

/// Serves the client on when something has arrived: by a plain call, as a coroutine that waits
/// costs more, and by a read, as the reactor has to be told of each wait that is none.
void Connection::WaitForInput() {
  if (!OwesSomething()) {
    BecomeIdle();
  } else if (deadline_ == kNever) {
    // Once, and not longer because it comes byte by byte.
    deadline_ = Connections::Clock::now() + Patience();
  }
  socket().async_receive(asio::buffer(first_bytes_),
                         [self = shared_from_this()](asio::error_code error, size_t count) {
                           self->idle_ = false;
                           if (error) return self->Close();
                           self->arrived_ = {self->first_bytes_.data(), count};
                           self->readable_ = count == self->first_bytes_.size();
                           self->ServeOn();
                         });
}

/// Waits for room or for what takes time, as long as the client needs that.
Connection::Awaitable<void> Connection::TakeTime(Need need) {
  while (need == Need::kRoom || need == Need::kTime) {
    bool goes_on = true;
    if (need == Need::kRoom) {
      goes_on = co_await SendRest(Reading::kInTime);
    } else {
      goes_on = co_await AnswerInTime();
      exchange_.reset();
      request_ = tlv::Message();
      ++requests_;
    }
    need = goes_on ? ServeWhatIsThere() : Need::kEnd;
  }
  SeeTo(need);
}

// ---------------------------------------------------------------- watching

/// Sets the flag when there is something to read, the end of the connection included.
void Connection::NoticeMove(const std::shared_ptr<bool>& moved) {
  socket().async_wait(
      Socket::wait_read, [self = shared_from_this(), moved](asio::error_code error) {
        char byte;
        const ssize_t got = error ? 0 : recv(self->descriptor_, &byte, 1, MSG_DONTWAIT | MSG_PEEK);
        // What is reported may be what was read before the wait began.
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return self->NoticeMove(moved);
        *moved = true;
        self->wake_->cancel();
      });
}

Connection::Awaitable<bool> Connection::Watch() {
  if (!wake_) wake_.emplace(daemon_.io);
  Watcher watcher([this] { wake_->cancel(); });
  const WatchHub::Registration registration(daemon_.watch_hub, watcher);
  Pieces pieces;
  if (!co_await Send(pieces.MakeReply(BYOD_ERR_CONTINUE), Reading::kInTime)) co_return false;

  // Whatever the client does ends the watch: it goes, or asks for something else.
  const auto client_moved = std::make_shared<bool>(!pending_.empty());
  NoticeMove(client_moved);
  while (!*client_moved && !closed_) {
    if (watcher.Empty()) {
      co_await WaitForWake();
      continue;
    }
    pieces.Clear();
    if (const uint64_t lost = watcher.TakeLost(); lost != 0) {
      uint8_t counter[protocol::kCounterSize];
      protocol::StoreCounter(lost, counter);
      pieces.AddBytes(BYOD_EXT_LOST, counter, sizeof counter);
    }
    while (!watcher.Empty() && !pieces.Full()) {
      const Event event = watcher.Pop();
      pieces.AddBytes(BYOD_EXT_EVENT, event->data(), event->size());
    }
    if (!co_await Send(pieces.MakeReply(BYOD_ERR_CONTINUE), Reading::kInTime)) co_return false;
  }
  pieces.Clear();
  co_return !closed_ && co_await Send(pieces.MakeReply(0), Reading::kInTime);
}

}  // namespace byod::lauthd
