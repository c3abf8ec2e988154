// SPDX-License-Identifier: Apache-2.0
// A file descriptor that closes itself.
#ifndef BYOD_NET_DESCRIPTOR_H
#define BYOD_NET_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace byod::net {

class Descriptor {
 public:
  Descriptor() = default;
  /// @param number  negative = none
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Close();
      number_ = std::exchange(other.number_, -1);
    }
    return *this;
  }
  ~Descriptor() { Close(); }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }
  int release() { return std::exchange(number_, -1); }

  /// Closes it before its scope ends. @return false when close reports a failure; errno has it
  bool Close() { return number_ < 0 || close(std::exchange(number_, -1)) == 0; }

 private:
  int number_ = -1;
};

}  // namespace byod::net

#endif  // BYOD_NET_DESCRIPTOR_H
