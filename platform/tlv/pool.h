// SPDX-License-Identifier: Apache-2.0
/// The messages in use, named by handles. A handle is a slot and the count of messages that the
/// slot has held before, so a handle of an earlier one is known for what it is.
#ifndef LAUTH_PLATFORM_TLV_POOL_H
#define LAUTH_PLATFORM_TLV_POOL_H

#include <atomic>
#include <cstdint>
#include <mutex>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

#include "platform/tlv/message.h"

namespace lauth::tlv {

// A lock that costs nothing as long as the process has one thread. No thread begins while one is
// held.
class Guard {
 public:
  explicit Guard(std::mutex& lock) : Guard(&lock) {}
  // None locks nothing.
  explicit Guard(std::mutex* lock) : lock_(IsAlone() ? nullptr : lock) {
    if (lock_ != nullptr) lock_->lock();
  }
  ~Guard() { Release(); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

  void Release() {
    if (lock_ != nullptr) lock_->unlock();
    lock_ = nullptr;
  }

 private:
  static bool IsAlone() {
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded != 0;
#else
    return false;
#endif
  }

  std::mutex* lock_;
};

struct Slot {
  std::mutex lock;  // over all but index and next_free
  Message message;
  uint16_t generation = 0;
  bool live = false;
  uint32_t index = 0;
  Slot* next_free = nullptr;
};

// The generation in the upper half, the slot's index + 1 in the lower, which is never 0.
inline uint32_t HandleOf(const Slot& slot) {
  return uint32_t{slot.generation} << 16 | (slot.index + 1);
}

inline constexpr uint32_t kMaxSlots = 0xFFFF;
inline constexpr uint32_t kSlotBlock = 64;

// The slots by their index, in blocks that stay where they are once they are made: looking one up
// takes no lock.
extern constinit std::atomic<Slot*> slot_blocks[kMaxSlots / kSlotBlock + 1];

// The slot that a handle names, whatever it holds now; null when there never was one.
inline Slot* FindSlot(uint32_t handle) {
  const uint32_t index = (handle & 0xFFFF) - 1;
  if (index >= kMaxSlots) return nullptr;
  Slot* block = slot_blocks[index / kSlotBlock].load(std::memory_order_acquire);
  return block != nullptr ? &block[index % kSlotBlock] : nullptr;
}

// A slot that no handle names yet, for its one owner to fill; goes back unless it is published.
class NewMessage {
 public:
  NewMessage();  // may find none
  ~NewMessage();
  NewMessage(const NewMessage&) = delete;
  NewMessage& operator=(const NewMessage&) = delete;

  explicit operator bool() const { return slot_ != nullptr; }
  Message* operator->() { return &slot_->message; }

  // Where the message's serials start: apart from those of other messages.
  uint32_t FirstSerial() const;

  // Makes the message known and returns its handle.
  uint32_t Publish();

 private:
  Slot* slot_;
};

// A message in use, locked while this lives. None for a handle that names no message.
class OpenMessage {
 public:
  explicit OpenMessage(uint32_t handle)
      : slot_(FindSlot(handle)), guard_(slot_ != nullptr ? &slot_->lock : nullptr) {
    if (slot_ != nullptr && (!slot_->live || HandleOf(*slot_) != handle)) {
      guard_.Release();
      slot_ = nullptr;
    }
  }
  OpenMessage(const OpenMessage&) = delete;
  OpenMessage& operator=(const OpenMessage&) = delete;

  explicit operator bool() const { return slot_ != nullptr; }
  Message* operator->() { return &slot_->message; }

  // Makes the handle invalid and gives the slot back.
  void Destroy();

 private:
  Slot* slot_;
  Guard guard_;
};

}  // namespace lauth::tlv

#endif
