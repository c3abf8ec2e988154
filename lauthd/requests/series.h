// SPDX-License-Identifier: Apache-2.0
// A response of many replies, each made when the client has read the one before.
#ifndef LAUTHD_REQUESTS_SERIES_H
#define LAUTHD_REQUESTS_SERIES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tlv/message.h"

namespace byod::lauthd {

/// The elements of one reply.
class Pieces {
 public:
  /// Whether the reply is large enough to be sent. Well below the 65,534 bytes that a reply may
  /// have, as other clients wait while it is made.
  bool Full() const { return bytes_.size() >= kTargetSize; }
  bool Empty() const { return elements_.empty(); }

  /// Appends a message as one nested element. @return false when it is empty or too long
  bool AddNested(uint16_t type, uint32_t message);

  /// Appends bytes as one element. @return false when they are too long
  bool AddBytes(uint16_t type, const void* bytes, size_t length);

  /// @return a reply with this code and the elements; an empty handle without memory
  tlv::Message MakeReply(uint32_t code) const;

  void Clear();

 private:
  static constexpr size_t kTargetSize = size_t{16} * 1024;

  struct Element {
    uint16_t type;
    uint16_t length;
  };
  std::vector<Element> elements_;
  std::vector<uint8_t> bytes_;  // of all elements, concatenated
};

class Series {
 public:
  virtual ~Series() = default;

  /**
   * Fills the next reply.
   *
   * @param more  gets whether another one follows
   * @return false when it cannot be made; the connection ends then
   */
  virtual bool Next(Pieces& pieces, bool& more) = 0;

  /// Whether it occupies room on the disk until its end; the client must read it in time then.
  virtual bool HoldsFile() const { return false; }
};

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_SERIES_H
