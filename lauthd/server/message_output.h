// SPDX-License-Identifier: Apache-2.0
// Sends messages to a client, as fast as it takes them.
#ifndef LAUTHD_SERVER_MESSAGE_OUTPUT_H
#define LAUTHD_SERVER_MESSAGE_OUTPUT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tlv/message.h"

namespace byod::lauthd {

class MessageOutput {
 public:
  /**
   * Sends what the socket takes at once, and keeps the rest; nothing may be kept already.
   *
   * @param socket   the descriptor
   * @param scratch  for the message as bytes; shared by all clients
   * @return false when the client has gone, or the message is empty or too long
   */
  bool Send(int socket, const tlv::Message& message, std::span<uint8_t> scratch);

  /// Sends more of the rest. @return false when the client has gone
  bool SendRest(int socket);

  bool Empty() const { return rest_.empty(); }

 private:
  bool SendBytes(int socket, std::span<const uint8_t> bytes);

  std::vector<uint8_t> rest_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_MESSAGE_OUTPUT_H
