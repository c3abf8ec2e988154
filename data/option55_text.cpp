// SPDX-License-Identifier: Apache-2.0
// The text form of a DHCP option 55 list. Written by hand, not by a formatter: it is made for every
// terminal that is identified. docs/performance.md, "Option texts", has the figures.
#include "byod_data.h"

namespace {

/// Appends to a buffer as a bounded formatter does: what does not fit is cut.
class BoundedText {
 public:
  /// @param size  above 0
  BoundedText(char* out, uint32_t size) : out_(out), size_(size) { *out = '\0'; }

  void Put(char c) {
    if (length_ + 1 < size_) {
      out_[length_++] = c;
      out_[length_] = '\0';
    } else {
      cut_ = true;
    }
  }

  void PutNumber(uint8_t number) {
    if (number >= 100) Put(static_cast<char>('0' + number / 100));
    if (number >= 10) Put(static_cast<char>('0' + number / 10 % 10));
    Put(static_cast<char>('0' + number % 10));
  }

  void DropLast() { out_[--length_] = '\0'; }
  bool cut() const { return cut_; }

 private:
  char* out_;
  uint32_t size_;
  uint32_t length_ = 0;
  bool cut_ = false;
};

}  // namespace

uint32_t BYOD_data_GetDhcpOption55String(uint32_t count, const uint8_t* bytes, uint32_t size,
                                         char* out) {
  if (size < count) return BYOD_ERR_FAILED;
  if (count == 0) return 0;
  BoundedText text(out, size);
  for (uint32_t i = 0; i < count; ++i) {
    text.PutNumber(bytes[i]);
    // Every number must fit with its comma, the last one's too.
    text.Put(',');
    if (text.cut()) return BYOD_ERR_FAILED;
  }
  text.DropLast();
  return 0;
}
