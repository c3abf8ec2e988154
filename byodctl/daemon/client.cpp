// SPDX-License-Identifier: Apache-2.0
#include "byodctl/daemon/client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "byod_cfgmsg.h"
#include "byod_tlv.h"
#include "byodctl/daemon/connect_guard.h"
#include "lauth_tlv_stream.h"
#include "protocol/counter.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

std::string SecondsText(std::chrono::milliseconds time) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", static_cast<double>(time.count()) / 1000);
  return text + std::string{" s"};
}

ExitStatus StatusOf(uint32_t refusal) {
  switch (refusal) {
    case BYOD_REFUSAL_PERMISSION:
      return kExitPermission;
    case BYOD_REFUSAL_NOT_FOUND:
    case BYOD_REFUSAL_UNIDENTIFIED:
      return kExitUnknown;
    default:
      return kExitRefused;
  }
}

/// The daemon's reason, or else its code.
std::string ReasonOf(const Fields& reply) {
  std::string reason = reply.Text(BYOD_EXT_REASON);
  if (!reason.empty()) return reason;
  char text[48];
  std::snprintf(text, sizeof text, "refused by the daemon, code 0x%08X",
                static_cast<unsigned>(CodeOf(reply)));
  return text;
}

std::string WithoutNul(std::string bytes) {
  if (bytes.ends_with('\0')) bytes.pop_back();
  return bytes;
}

std::string BytesOf(uint32_t message, uintptr_t element) {
  std::string bytes(TLV_GetLenByIterator(message, element), '\0');
  const auto length = static_cast<uint16_t>(bytes.size());
  if (length > 0) TLV_GetValueByIterator(message, element, length, bytes.data());
  return bytes;
}

/// @return no message for bytes that are none
tlv::Message MessageIn(const std::string& bytes) {
  return tlv::Message(TLV_CreateReceiveMsg(tlv::kMemory, reinterpret_cast<uintptr_t>(bytes.data()),
                                           static_cast<uint32_t>(bytes.size())));
}

}  // namespace

// ---------------------------------------------------------------- requests

Request::Request(uint32_t operation, uint32_t kind) : message_(TLV_Create()) {
  if (!message_) throw std::bad_alloc();
  Number(BYOD_TLV_OPTYPE, operation);
  Number(BYOD_TLV_MSGTYPE, kind);
}

Request& Request::Check(uint32_t status) {
  if (status != 0) throw std::bad_alloc();
  return *this;
}

Request& Request::Number(uint16_t type, uint32_t value) {
  return Check(TLV_Append_UINT(handle(), type, value));
}

Request& Request::Counter(uint16_t type, uint64_t value) {
  return Check(protocol::AppendCounter(handle(), type, value));
}

Request& Request::Text(uint16_t type, const std::string& text) {
  return Bytes(type, text.c_str(), text.size() + 1);
}

Request& Request::Bytes(uint16_t type, const void* bytes, size_t length) {
  if (length > UINT16_MAX) throw Failure(kExitBadInput, "a text is too long for a message");
  return Check(TLV_Append_Data(handle(), type, static_cast<uint16_t>(length), bytes));
}

Request& Request::Nested(uint16_t type, const Request& inner) {
  return Check(BYOD_tlv_PutSubTlv(handle(), type, inner.handle()));
}

uint32_t Request::length() const {
  return TLV_GetMsgLen(handle(), tlv::kMemory);
}

std::string Request::ToBytes() const {
  std::string bytes(length(), '\0');
  const auto target = reinterpret_cast<uintptr_t>(bytes.data());
  if (TLV_Flush(handle(), tlv::kMemory, length(), target) != bytes.size()) throw std::bad_alloc();
  return bytes;
}

// ---------------------------------------------------------------- replies

bool Fields::Has(uint16_t type) const {
  return TLV_GetIteratorByType(message_, type) != 0;
}

uint32_t Fields::Number(uint16_t type, uint32_t otherwise) const {
  BYOD_tlv_GetUINTValueByType(message_, type, &otherwise);
  return otherwise;
}

uint64_t Fields::Counter(uint16_t type) const {
  uint64_t value = 0;
  protocol::GetCounter(message_, type, value);
  return value;
}

std::string Fields::Text(uint16_t type) const {
  return WithoutNul(Bytes(type));
}

std::string Fields::Bytes(uint16_t type) const {
  const uintptr_t element = TLV_GetIteratorByType(message_, type);
  return element != 0 ? BytesOf(message_, element) : std::string();
}

void Fields::ForEachNested(uint16_t type, const std::function<void(const Fields&)>& take) const {
  for (uintptr_t element = TLV_GetFirst(message_); element != 0;
       element = TLV_GetNext(message_, element)) {
    if (TLV_GetTypeByIterator(message_, element) != type) continue;
    const tlv::Message nested(BYOD_tlv_GetSubTlv(message_, element));
    if (nested) take(Fields(nested));
  }
}

void Fields::ForEach(const std::function<void(uint16_t, const std::string&)>& take) const {
  for (uintptr_t element = TLV_GetFirst(message_); element != 0;
       element = TLV_GetNext(message_, element)) {
    take(TLV_GetTypeByIterator(message_, element), WithoutNul(BytesOf(message_, element)));
  }
}

uint32_t CodeOf(const Fields& reply) {
  return BYOD_tlv_GetErrorCode(reply.handle());
}

Refusal::Refusal(const Fields& reply)
    : Failure(StatusOf(reply.Number(BYOD_EXT_REFUSAL)), ReasonOf(reply)) {}

// ---------------------------------------------------------------- the connection

Client::Client(const Settings& settings)
    : settings_(settings),
      place_(PlaceOfDaemon(settings)),
      timeout_(std::max<int64_t>(1, static_cast<int64_t>(settings.timeout_s * 1000))) {
  Connect();
}

void Client::Connect() {
  socket_ = ConnectWithin(timeout_, settings_, place_);
  if (socket_ < 0) {
    const ExitStatus status = errno == EACCES ? kExitPermission : kExitNoDaemon;
    throw Failure(status, "cannot reach the daemon at " + place_ + ": " + std::strerror(errno));
  }
  timeval time = {};
  time.tv_sec = static_cast<time_t>(timeout_.count() / 1000);
  time.tv_usec = static_cast<suseconds_t>(timeout_.count() % 1000 * 1000);
  setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

Client::~Client() {
  BYOD_Fini(socket_);
}

void Client::Renew() {
  char byte;
  const ssize_t got = recv(socket_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  if (got > 0 || (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))) return;
  BYOD_Fini(socket_);
  received_.clear();
  Connect();
}

void Client::Fail(const std::string& what) const {
  throw Failure(kExitNoDaemon, "the daemon at " + place_ + ' ' + what);
}

void Client::Send(const Request& request) {
  const uint32_t length = TLV_GetMsgLen(request.handle(), tlv::kSocket);
  errno = 0;
  if (TLV_Flush(request.handle(), tlv::kSocket, length, static_cast<uintptr_t>(socket_)) != 0) {
    return;
  }
  if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ETIMEDOUT) {
    Fail("did not take the request within " + SecondsText(timeout_));
  }
  Fail(std::string{"does not take the request: "} + std::strerror(errno));
}

void Client::Send(std::string_view requests) {
  while (!requests.empty()) {
    const ssize_t sent = send(socket_, requests.data(), requests.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) Fail(std::string{"does not take the requests: "} + std::strerror(errno));
    requests.remove_prefix(static_cast<size_t>(sent));
  }
}

bool Client::WaitForBytes(Clock::time_point until) const {
  for (;;) {
    int64_t left_ms = -1;
    if (until != Clock::time_point::max()) {
      left_ms = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
      if (left_ms <= 0) return false;
      left_ms = std::min<int64_t>(left_ms, INT32_MAX);
    }
    pollfd readable = {socket_, POLLIN, 0};
    const int ready = poll(&readable, 1, static_cast<int>(left_ms));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) Fail(std::string{"cannot be polled: "} + std::strerror(errno));
  }
}

std::string Client::ReceiveBytes(bool patient) {
  // One deadline for the whole reply, even if it arrives byte by byte.
  auto until = patient ? Clock::time_point::max() : Clock::now() + timeout_;
  for (;;) {
    const int64_t length = TLV_Stream_MessageLength(received_.data(), received_.size());
    if (length < 0 || length > BYOD_REPLY_MAX) Fail("answers with something that is not a message");
    if (length > 0 && static_cast<size_t>(length) <= received_.size()) {
      const auto end = received_.begin() + static_cast<ptrdiff_t>(length);
      std::string bytes(received_.begin(), end);
      received_.erase(received_.begin(), end);
      return bytes;
    }
    if (!WaitForBytes(until)) Fail("did not answer within " + SecondsText(timeout_));
    if (patient) {
      patient = false;
      until = Clock::now() + timeout_;
    }
    uint8_t bytes[65536];
    const ssize_t got = recv(socket_, bytes, sizeof bytes, 0);
    if (got == 0) Fail("closed the connection without an answer");
    if (got < 0) {
      if (errno == EINTR) continue;
      Fail(std::string{"does not answer: "} + std::strerror(errno));
    }
    received_.insert(received_.end(), bytes, bytes + got);
  }
}

tlv::Message Client::Receive(bool patient) {
  tlv::Message reply = MessageIn(ReceiveBytes(patient));
  if (!reply) Fail("answers with something that is not a message");
  return reply;
}

tlv::Message ReplyIn(const std::string& bytes) {
  tlv::Message reply = MessageIn(bytes);
  if (!reply)
    throw Failure(kExitNoDaemon, "the daemon answers with something that is not a message");
  return reply;
}

tlv::Message Client::Exchange(const Request& request) {
  Send(request);
  return Receive();
}

tlv::Message Client::Ask(const Request& request) {
  tlv::Message reply = Exchange(request);
  if (CodeOf(Fields(reply)) != 0) throw Refusal(Fields(reply));
  return reply;
}

tlv::Message Client::ExchangeChange(const Request& request) {
  Send(request);
  try {
    return Receive();
  } catch (const Failure& failure) {
    // The daemon drops what it has not begun when its client goes.
    throw Failure(
        failure.status(),
        std::string(failure.what()) +
            "; the change was made only if the daemon had begun it, which \"byodctl show\" "
            "shows");
  }
}

void Client::Commit(const Request& request) {
  const tlv::Message reply = ExchangeChange(request);
  if (CodeOf(Fields(reply)) != 0) throw Refusal(Fields(reply));
}

bool Client::Change(const Request& request) {
  const tlv::Message reply = ExchangeChange(request);
  const uint32_t code = CodeOf(Fields(reply));
  if (code == BYOD_ERR_NOCHANGE) return false;
  if (code != 0) throw Refusal(Fields(reply));
  return true;
}

void Client::Series(const Request& request, const std::function<void(const Fields&)>& take) {
  Send(request);
  for (;;) {
    const tlv::Message reply = Receive();
    const uint32_t code = CodeOf(Fields(reply));
    if (code != 0 && code != BYOD_ERR_CONTINUE) throw Refusal(Fields(reply));
    take(Fields(reply));
    if (code == 0) return;
  }
}

}  // namespace byod::ctl
