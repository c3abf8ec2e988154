// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/message_input.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "byod_cfgmsg.h"
#include "lauth_tlv_stream.h"

namespace byod::lauthd {
namespace {

// Requests that a client sends ahead are read in portions of this size, so that they cost little
// memory here, and little time before the first is answered.
constexpr size_t kReadSize = size_t{16} * 1024;

bool NothingYet(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

/// Looks for a whole message at the start of some bytes.
MessageInput::Status MessageInput::Parse(std::span<const uint8_t> bytes, size_t& used,
                                         tlv::Message& message) {
  const int64_t length = TLV_Stream_MessageLength(bytes.data(), bytes.size());
  if (length < 0 || length > BYOD_REPLY_MAX) return Status::kEnd;
  if (length == 0 || static_cast<size_t>(length) > bytes.size()) return Status::kIncomplete;
  used = static_cast<size_t>(length);
  message = tlv::Message(TLV_CreateReceiveMsg(
      tlv::kMemory, reinterpret_cast<uintptr_t>(bytes.data()), static_cast<uint32_t>(length)));
  return message ? Status::kMessage : Status::kEnd;
}

MessageInput::Status MessageInput::ParsePending(tlv::Message& message) {
  size_t used = 0;
  const Status status = Parse(std::span(pending_).subspan(pending_start_), used, message);
  pending_start_ += used;
  // An idle client keeps no memory for what it has sent.
  if (pending_start_ == pending_.size()) {
    std::vector<uint8_t>().swap(pending_);
    pending_start_ = 0;
  }
  return status;
}

/// Takes a message out of bytes that have arrived, and keeps what follows it.
MessageInput::Status MessageInput::Append(std::span<const uint8_t> arrived, tlv::Message& message) {
  size_t used = 0;
  const bool first = pending_.empty();
  const Status status = first ? Parse(arrived, used, message) : Status::kIncomplete;
  if (status != Status::kEnd && used < arrived.size()) {
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<ptrdiff_t>(pending_start_));
    pending_start_ = 0;
    pending_.insert(pending_.end(), arrived.begin() + static_cast<ptrdiff_t>(used), arrived.end());
  }
  return first ? status : ParsePending(message);
}

/// @return how much to read: the rest of a message that has begun, or a portion
size_t MessageInput::ReadSize() const {
  const auto begun = std::span(pending_).subspan(pending_start_);
  const int64_t length = TLV_Stream_MessageLength(begun.data(), begun.size());
  const auto missing = length - static_cast<int64_t>(begun.size());
  return std::max(kReadSize, static_cast<size_t>(std::max<int64_t>(missing, 0)));
}

MessageInput::Status MessageInput::Read(int socket, std::span<uint8_t> scratch,
                                        tlv::Message& message) {
  const auto room = scratch.first(std::min(scratch.size(), ReadSize()));
  const ssize_t got = recv(socket, room.data(), room.size(), MSG_DONTWAIT);
  if (got < 0) return NothingYet(errno) ? Status::kIncomplete : Status::kEnd;
  if (got == 0) return Status::kEnd;
  const auto arrived = room.first(static_cast<size_t>(got));
  read_next_ = arrived.size() == room.size();
  return Append(arrived, message);
}

bool MessageInput::Receive(int socket) {
  const ssize_t got = recv(socket, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
  if (got < 0) {
    read_next_ = false;
    return NothingYet(errno);
  }
  Arrived(static_cast<size_t>(got));
  return got > 0;
}

void MessageInput::Arrived(size_t count) {
  arrived_ = std::span(buffer_).first(count);
  read_next_ = Filled();
}

MessageInput::Status MessageInput::Next(int socket, std::span<uint8_t> scratch,
                                        tlv::Message& message) {
  Status status = pending_.empty() ? Status::kIncomplete : ParsePending(message);
  if (status == Status::kIncomplete && !arrived_.empty()) {
    status = Append(std::exchange(arrived_, {}), message);
  }
  // A message takes a few portions at most.
  while (status == Status::kIncomplete && std::exchange(read_next_, false)) {
    status = Read(socket, scratch, message);
  }
  return status;
}

}  // namespace byod::lauthd
