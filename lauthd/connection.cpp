#include "lauthd/connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <asio/post.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <cerrno>

#include "byod_cfgmsg.h"
#include "lauth_tlv_stream.h"
#include "lauthd/daemon.h"
#include "protocol/counter.h"

namespace byod::lauthd {
namespace {

constexpr size_t kLongestMessage = BYOD_REPLY_MAX;
// After so many requests that were there already it is the others' turn.
constexpr int kRequestsInARow = 16;
constexpr std::chrono::seconds kBulkPatience{10};
constexpr auto kNever = Connections::Clock::time_point::max();

}  // namespace

Connection::Connection(Daemon& daemon, Socket socket)
    : daemon_(daemon),
      socket_(std::move(socket)),
      wake_(socket_.get_executor(), kNever),
      place_(daemon.connections.Add(this)) {}

Connection::~Connection() {
  if (daemon_.gate.OwnedBy(this)) daemon_.AbortBulk();
  daemon_.connections.Remove(place_);
}

void Connection::Close() {
  closed_ = true;
  asio::error_code ignored;
  socket_.close(ignored);
  wake_.cancel();
}

const Peer& Connection::peer() {
  if (!peer_) peer_ = LookAtPeer(socket_.native_handle(), daemon_.admin_group);
  return *peer_;
}

asio::awaitable<bool> Connection::WaitForSocket(Socket::wait_type what) {
  if (closed_) co_return false;
  asio::error_code error;
  co_await socket_.async_wait(what, asio::redirect_error(asio::use_awaitable, error));
  co_return !error && !closed_;
}

// ---------------------------------------------------------------- receiving

/// Looks for a whole message at the start of some bytes.
Connection::Received Connection::Parse(const uint8_t* bytes, size_t count, tlv::Message& message,
                                       size_t& used) {
  const int64_t length = TLV_Stream_MessageLength(bytes, count);
  if (length < 0 || length > static_cast<int64_t>(kLongestMessage)) return Received::kEnd;
  if (length == 0 || static_cast<size_t>(length) > count) return Received::kWait;
  used = static_cast<size_t>(length);
  message = tlv::Message(TLV_CreateReceiveMsg(tlv::kMemory, reinterpret_cast<uintptr_t>(bytes),
                                              static_cast<uint32_t>(length)));
  return message ? Received::kMessage : Received::kEnd;
}

Connection::Received Connection::ParsePending(tlv::Message& message) {
  size_t used = 0;
  const Received received =
      Parse(pending_.data() + pending_start_, pending_.size() - pending_start_, message, used);
  pending_start_ += used;
  // A client that waits holds no memory.
  if (pending_start_ == pending_.size()) {
    std::vector<uint8_t>().swap(pending_);
    pending_start_ = 0;
  }
  return received;
}

/// How long the client may take for its next request. While it holds a bulk open, others wait.
Connections::Clock::duration Connection::Patience() const {
  if (!daemon_.gate.OwnedBy(this)) return daemon_.idle_timeout;
  return std::min<Connections::Clock::duration>(daemon_.idle_timeout, kBulkPatience);
}

/// Reads what has arrived, into memory that all connections share; what is no whole message is
/// kept.
Connection::Received Connection::ReadMessage(tlv::Message& message) {
  auto& arrived = daemon_.scratch;
  const ssize_t got = recv(socket_.native_handle(), arrived.data(), arrived.size(), MSG_DONTWAIT);
  if (got < 0) {
    const bool nothing_yet = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
    return nothing_yet ? Received::kWait : Received::kEnd;
  }
  if (got == 0) return Received::kEnd;
  const auto count = static_cast<size_t>(got);
  size_t used = 0;
  const bool first = pending_.empty();
  const Received received = first ? Parse(arrived.data(), count, message, used) : Received::kWait;
  if (received != Received::kEnd && used < count) {
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<ptrdiff_t>(pending_start_));
    pending_start_ = 0;
    pending_.insert(pending_.end(), arrived.begin() + static_cast<ptrdiff_t>(used),
                    arrived.begin() + got);
  }
  return first ? received : ParsePending(message);
}

/// Waits for the next message: not for ever, and not longer because it comes byte by byte.
asio::awaitable<bool> Connection::Receive(tlv::Message& message) {
  Received received = pending_.empty() ? Received::kWait : ParsePending(message);
  if (received == Received::kWait) {
    deadline_ = Connections::Clock::now() + Patience();
    do {
      // Not read on the off chance: who has its answer seldom has asked again by now.
      if (!co_await WaitForSocket(Socket::wait_read)) co_return false;
      received = ReadMessage(message);
    } while (received == Received::kWait);
    deadline_ = kNever;
  }
  co_return received == Received::kMessage;
}

// ---------------------------------------------------------------- sending

/// Lays a message down in the shared memory.
bool Connection::Serialize(const tlv::Message& message, size_t& length) {
  const uint32_t needed = TLV_GetMsgLen(message.get(), tlv::kMemory);
  if (needed == 0 || needed > kLongestMessage) return false;
  const auto target = reinterpret_cast<uintptr_t>(daemon_.scratch.data());
  length = TLV_Flush(message.get(), tlv::kMemory, needed, target);
  return length == needed;
}

/// Sends what the socket takes and keeps the rest. @return false when the client has gone
bool Connection::SendNow(const uint8_t* bytes, size_t length) {
  while (length > 0) {
    const ssize_t sent = send(socket_.native_handle(), bytes, length, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    if (sent < 0) return false;
    bytes += sent;
    length -= static_cast<size_t>(sent);
  }
  outgoing_.assign(bytes, bytes + length);
  return true;
}

asio::awaitable<bool> Connection::Send(const tlv::Message& message) {
  size_t length = 0;
  if (!message || !Serialize(message, length)) co_return false;
  if (!SendNow(daemon_.scratch.data(), length)) co_return false;
  if (outgoing_.empty()) co_return true;
  deadline_ = Connections::Clock::now() + daemon_.idle_timeout;
  while (!outgoing_.empty()) {
    if (!co_await WaitForSocket(Socket::wait_write)) co_return false;
    const std::vector<uint8_t> rest = std::move(outgoing_);
    outgoing_.clear();
    if (!SendNow(rest.data(), rest.size())) co_return false;
  }
  std::vector<uint8_t>().swap(outgoing_);
  deadline_ = kNever;
  co_return true;
}

asio::awaitable<bool> Connection::SendSeries(Series& series) {
  Pieces pieces;
  for (bool more = true; more;) {
    pieces.Clear();
    if (!series.Next(pieces, more)) co_return false;
    // A long stretch in which nothing was to be told is no reply.
    if (!more || !pieces.Empty()) {
      if (!co_await Send(pieces.MakeReply(more ? BYOD_ERR_CONTINUE : 0))) co_return false;
    }
    // Others are served between the replies, however fast this client reads.
    if (more) co_await asio::post(asio::use_awaitable);
    if (closed_) co_return false;
  }
  co_return true;
}

// ---------------------------------------------------------------- requests

asio::awaitable<bool> Connection::WaitForGate() {
  const ChangeGate::Waiter waiter(daemon_.gate, wake_);
  deadline_ = Connections::Clock::now() + daemon_.idle_timeout;
  while (!daemon_.gate.OpenFor(this)) {
    asio::error_code cancelled;
    wake_.expires_at(kNever);
    co_await wake_.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
    if (closed_) co_return false;
  }
  deadline_ = kNever;
  co_return true;
}

asio::awaitable<bool> Connection::Answer(const tlv::Message& request) {
  Exchange exchange{daemon_, *this, request.get(), 0, 0, {}, nullptr, false};
  Task task = FindTask(exchange);
  if (task.changes && !daemon_.gate.OpenFor(this) && !co_await WaitForGate()) co_return false;
  const Result result = task.handler != nullptr ? task.handler(exchange) : std::move(task.refusal);
  daemon_.Count(exchange, result);
  if (exchange.series) co_return co_await SendSeries(*exchange.series);
  if (exchange.watch) co_return co_await Watch();
  if (!exchange.reply && exchange.Answer(result).status() != 0) co_return false;
  co_return co_await Send(exchange.reply);
}

asio::awaitable<void> Connection::Run() {
  tlv::Message request;
  for (int in_a_row = 1; co_await Receive(request); ++in_a_row) {
    if (!co_await Answer(request)) break;
    request = tlv::Message();
    if (in_a_row % kRequestsInARow == 0) co_await asio::post(asio::use_awaitable);
    if (closed_) break;
  }
  // Whatever still waits for this socket lets go of it.
  Close();
}

// ---------------------------------------------------------------- watching

/// Sets the flag when there is something to read, the end of the connection included.
void Connection::NoticeMove(const std::shared_ptr<bool>& moved) {
  socket_.async_wait(Socket::wait_read, [self = shared_from_this(), moved](asio::error_code error) {
    char byte;
    const ssize_t got =
        error ? 0 : recv(self->socket_.native_handle(), &byte, 1, MSG_DONTWAIT | MSG_PEEK);
    // What is reported may be what was read before the wait began.
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return self->NoticeMove(moved);
    *moved = true;
    self->wake_.cancel();
  });
}

asio::awaitable<bool> Connection::Watch() {
  Watcher watcher([this] { wake_.cancel(); });
  const WatchHub::Registration registration(daemon_.watch_hub, watcher);
  Pieces pieces;
  if (!co_await Send(pieces.MakeReply(BYOD_ERR_CONTINUE))) co_return false;

  // Whatever the client does ends the watch: it goes, or asks for something else.
  const auto client_moved = std::make_shared<bool>(!pending_.empty());
  NoticeMove(client_moved);
  while (!*client_moved && !closed_) {
    if (watcher.Empty()) {
      asio::error_code cancelled;
      wake_.expires_at(kNever);
      co_await wake_.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
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
    if (!co_await Send(pieces.MakeReply(BYOD_ERR_CONTINUE))) co_return false;
  }
  pieces.Clear();
  co_return !closed_ && co_await Send(pieces.MakeReply(0));
}

}  // namespace byod::lauthd
