// SPDX-License-Identifier: Apache-2.0
// Reads a packet from the front, never beyond its end.
#ifndef BYOD_CAPTURE_BYTE_READER_H
#define BYOD_CAPTURE_BYTE_READER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "capture/frame.h"
#include "net/byte_order.h"

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

  uint8_t Byte() { return Number(net::LoadBig<uint8_t>); }

  /// In network order.
  uint16_t Word() { return Number(net::LoadBig<uint16_t>); }

  /// In the order of little-endian machines.
  uint16_t LittleWord() { return Number(net::LoadLittle<uint16_t>); }
  uint32_t LittleLong() { return Number(net::LoadLittle<uint32_t>); }

  MacAddress Mac() {
    MacAddress mac = {};
    std::ranges::copy(Take(mac.size()), mac.begin());
    return mac;
  }

 private:
  template <typename Value>
  Value Number(Value (*load)(const void*)) {
    const Bytes taken = Take(sizeof(Value));
    return taken.empty() ? Value{0} : load(taken.data());
  }

  Bytes rest_;
  bool failed_ = false;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_BYTE_READER_H
