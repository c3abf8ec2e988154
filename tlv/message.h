// SPDX-License-Identifier: Apache-2.0
// A message that is destroyed with its scope.
#ifndef BYOD_TLV_MESSAGE_H
#define BYOD_TLV_MESSAGE_H

#include <cstdint>
#include <utility>

#include "lauth_tlv.h"

namespace byod::tlv {

/// How a message is laid down: on a connected socket, or in memory.
enum Form : uint32_t { kSocket = 1, kMemory = 2 };

class Message {
 public:
  Message() = default;
  explicit Message(uint32_t handle) : handle_(handle) {}
  Message(Message&& other) noexcept : handle_(std::exchange(other.handle_, 0)) {}
  Message& operator=(Message&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Message() {
    if (handle_ != 0) TLV_Destroy(handle_);
  }

  explicit operator bool() const { return handle_ != 0; }
  uint32_t get() const { return handle_; }
  uint32_t release() { return std::exchange(handle_, 0); }

 private:
  uint32_t handle_ = 0;
};

}  // namespace byod::tlv

#endif  // BYOD_TLV_MESSAGE_H
