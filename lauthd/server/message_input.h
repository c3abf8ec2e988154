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
   * Takes the next message out of what has arrived. Reads from the socket at most once after each
   * Arrived or ReadNext: a client that just got its reply has rarely sent another request.
   *
   * @param socket   the descriptor
   * @param scratch  for the bytes of one read; shared by all clients
   * @return kEnd when the client has gone, or sent something that is not a message
   */
  Status Next(int socket, std::span<uint8_t> scratch, tlv::Message& message);

  /// Room for a read by the reactor; a longer message is read with the next Next.
  std::span<uint8_t> buffer() { return buffer_; }

  /// @param count  bytes that a read has put into buffer()
  void Arrived(size_t count);

  /// Makes the next Next read from the socket.
  void ReadNext() { read_next_ = true; }

  /// Whether part of a message, or another message, is waiting.
  bool Pending() const { return !pending_.empty(); }

 private:
  static Status Parse(std::span<const uint8_t> bytes, size_t& used, tlv::Message& message);
  Status ParsePending(tlv::Message& message);
  Status Append(std::span<const uint8_t> arrived, tlv::Message& message);
  Status Read(int socket, std::span<uint8_t> scratch, tlv::Message& message);

  std::array<uint8_t, 512> buffer_;   // a fingerprint fits
  std::span<const uint8_t> arrived_;  // the part of buffer_ that is not looked at yet
  std::vector<uint8_t> pending_;      // an incomplete message, or messages that wait for their turn
  size_t pending_start_ = 0;
  bool read_next_ = true;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_MESSAGE_INPUT_H
