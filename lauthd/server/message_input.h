// SPDX-License-Identifier: Apache-2.0
// Cuts what a client sends into messages.
#ifndef LAUTHD_SERVER_MESSAGE_INPUT_H
#define LAUTHD_SERVER_MESSAGE_INPUT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tlv/message.h"

namespace byod::lauthd {

class MessageInput {
 public:
  enum class Status { kMessage, kIncomplete, kEnd };

  /**
   * Takes the next message out of what has arrived. Reads from the socket only after a Receive or
   * Arrived that filled the buffer, or a ReadNext, and then no more than the message needs or a few
   * others: what a client sends ahead waits in its socket.
   *
   * @param socket   the descriptor
   * @param scratch  for the bytes of one read; shared by all clients
   * @return kEnd when the client has gone, or sent something that is not a message
   */
  Status Next(int socket, std::span<uint8_t> scratch, tlv::Message& message);

  /// Reads what has arrived, as far as the buffer takes it. @return false when the client has gone
  bool Receive(int socket);

  /// Room for a read by the reactor; a longer message is read with the next Next.
  std::span<uint8_t> buffer() { return buffer_; }

  /// @param count  bytes that a read has put into buffer()
  void Arrived(size_t count);

  /// Makes the next Next read from the socket.
  void ReadNext() { read_next_ = true; }

  /// Whether part of a message, or another message, is waiting.
  bool Pending() const { return !pending_.empty(); }

  /// Whether the next Next may find a message: some bytes wait here, or have not been read.
  bool MayHaveMore() const { return Pending() || !arrived_.empty() || read_next_; }

  /// Whether what arrived last filled the buffer, as more than one question does.
  bool Filled() const { return arrived_.size() == buffer_.size(); }

 private:
  static Status Parse(std::span<const uint8_t> bytes, size_t& used, tlv::Message& message);
  Status ParsePending(tlv::Message& message);
  Status Append(std::span<const uint8_t> arrived, tlv::Message& message);
  Status Read(int socket, std::span<uint8_t> scratch, tlv::Message& message);
  size_t ReadSize() const;

  std::array<uint8_t, 640> buffer_;   // the longest fingerprint fits
  std::span<const uint8_t> arrived_;  // the part of buffer_ that is not looked at yet
  std::vector<uint8_t> pending_;      // an incomplete message, or messages that wait for their turn
  size_t pending_start_ = 0;
  bool read_next_ = true;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_MESSAGE_INPUT_H
