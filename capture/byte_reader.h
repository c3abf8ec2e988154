// Reads a packet from the front, never beyond its end.
#ifndef BYOD_CAPTURE_BYTE_READER_H
#define BYOD_CAPTURE_BYTE_READER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "capture/frame.h"

namespace byod::capture {

/// A read beyond the end returns zeros and sets a flag, so that one check at the end is enough.
class ByteReader {
 public:
  explicit ByteReader(Bytes bytes) : rest_(bytes) {}

  bool failed() const { return failed_; }
  Bytes rest() const { return rest_; }

  Bytes Take(size_t count) {
    if (count > rest_.size()) {
      failed_ = true;
      rest_ = {};
      return {};
    }
    const Bytes taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }

  void Skip(size_t count) { Take(count); }

  uint8_t Byte() {
    const Bytes taken = Take(1);
    return taken.empty() ? uint8_t{0} : taken[0];
  }

  /// In network order.
  uint16_t Word() {
    const auto high = Byte();
    return static_cast<uint16_t>(high << 8 | Byte());
  }

  /// In the order of little-endian machines.
  uint16_t LittleWord() {
    const auto low = Byte();
    return static_cast<uint16_t>(low | Byte() << 8);
  }

  uint32_t LittleLong() {
    const uint32_t low = LittleWord();
    return low | static_cast<uint32_t>(LittleWord()) << 16;
  }

  MacAddress Mac() {
    MacAddress mac = {};
    std::ranges::copy(Take(mac.size()), mac.begin());
    return mac;
  }

 private:
  Bytes rest_;
  bool failed_ = false;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_BYTE_READER_H
