// An answer of many replies, made piece by piece as the client takes them.
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
  /// Whether the reply holds enough. Small beside the 65,534 bytes that a reply may have: other
  /// clients wait while it is made.
  bool Full() const { return bytes_.size() >= kEnough; }
  bool Empty() const { return elements_.empty(); }

  /// Takes a message in as one nested element. @return false without memory
  bool AddNested(uint16_t type, uint32_t message);

  /// Takes bytes in as one element.
  bool AddBytes(uint16_t type, const void* bytes, size_t length);

  /// @return a reply with this code and the elements; none without memory
  tlv::Message MakeReply(uint32_t code) const;

  void Clear();

 private:
  static constexpr size_t kEnough = size_t{16} * 1024;

  struct Element {
    uint16_t type;
    uint16_t length;
  };
  std::vector<Element> elements_;
  std::vector<uint8_t> bytes_;  // of all elements, one behind the other
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

  /// Whether room on the disk is taken until its end; the client has to read it in time then.
  virtual bool HoldsFile() const { return false; }
};

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_SERIES_H
