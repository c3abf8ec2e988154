// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/message_input.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "byod_cfgmsg.h"
#include "lauth_tlv_stream.h"

namespace byod::lauthd {

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

MessageInput::Status MessageInput::Read(int socket, std::span<uint8_t> scratch,
                                        tlv::Message& message) {
  const ssize_t got = recv(socket, scratch.data(), scratch.size(), MSG_DONTWAIT);
  if (got < 0) {
    const bool nothing_yet = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
    return nothing_yet ? Status::kIncomplete : Status::kEnd;
  }
  if (got == 0) return Status::kEnd;
  return Append(scratch.first(static_cast<size_t>(got)), message);
}

void MessageInput::Arrived(size_t count) {
  arrived_ = std::span(buffer_).first(count);
  read_next_ = count == buffer_.size();
}

MessageInput::Status MessageInput::Next(int socket, std::span<uint8_t> scratch,
                                        tlv::Message& message) {
  Status status = pending_.empty() ? Status::kIncomplete : ParsePending(message);
  if (status == Status::kIncomplete && !arrived_.empty()) {
    status = Append(std::exchange(arrived_, {}), message);
  }
  if (status == Status::kIncomplete && std::exchange(read_next_, false)) {
    status = Read(socket, scratch, message);
  }
  return status;
}

}  // namespace byod::lauthd
