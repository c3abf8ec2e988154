// SPDX-License-Identifier: Apache-2.0
#include "platform/tlv/pool.h"

#include <array>
#include <new>
#include <type_traits>

namespace lauth::tlv {
namespace {

// Slots are taken in turn, and this many of them are free when one is given back: it is taken again
// behind all the others, so that a handle comes back after 65,536 times as many messages.
constexpr uint32_t kSlotsInTurn = kSlotBlock;

// Memory that unused slots may keep for the next message, all of them and each.
constexpr size_t kMaxSpare = size_t{2} << 20;
constexpr size_t kMaxSpareEach = kMaxSpare / 16;

// Slots to be taken in the order in which they came.
class Queue {
 public:
  size_t size() const { return size_; }

  void Push(Slot* slot) {
    slot->next_free = nullptr;
    (oldest_ != nullptr ? newest_->next_free : oldest_) = slot;
    newest_ = slot;
    ++size_;
  }

  Slot* Pop() {
    Slot* slot = oldest_;
    if (slot == nullptr) return nullptr;
    oldest_ = slot->next_free;
    --size_;
    return slot;
  }

 private:
  Slot* oldest_ = nullptr;
  Slot* newest_ = nullptr;
  size_t size_ = 0;
};

class Pool {
 public:
  Slot* Take() {
    const Guard guard(lock_);
    if (free_.size() < kSlotsInTurn) {
      if (Slot* slot = Make()) return slot;
    }
    Slot* slot = free_.Pop();
    if (slot != nullptr) spare_ -= slot->message.Footprint();
    return slot;
  }

  void GiveBack(Slot* slot) {
    const size_t footprint = slot->message.Footprint();
    {
      const Guard guard(lock_);
      if (footprint <= kMaxSpareEach && spare_ + footprint <= kMaxSpare) {
        spare_ += footprint;
        return free_.Push(slot);
      }
    }
    slot->message.Release();
    const Guard guard(lock_);
    free_.Push(slot);
  }

 private:
  Slot* Make() {
    if (made_ == kMaxSlots) return nullptr;
    std::atomic<Slot*>& block = slot_blocks[made_ / kSlotBlock];
    if (block.load(std::memory_order_relaxed) == nullptr) {
      Slot* fresh = made_ == 0 ? first_block_.data() : new (std::nothrow) Slot[kSlotBlock];
      if (fresh == nullptr) return nullptr;
      for (uint32_t i = 0; i < kSlotBlock; ++i)
        fresh[i].index = made_ + i;
      block.store(fresh, std::memory_order_release);
    }
    return &block.load(std::memory_order_relaxed)[made_++ % kSlotBlock];
  }

  std::array<Slot, kSlotBlock> first_block_{};
  std::mutex lock_;  // over what follows
  uint32_t made_ = 0;
  Queue free_;
  size_t spare_ = 0;  // memory that the free slots keep
};

static_assert(std::is_trivially_destructible_v<Pool>, "messages are usable until the very end");

constinit Pool pool;

}  // namespace

constinit std::atomic<Slot*> slot_blocks[kMaxSlots / kSlotBlock + 1] = {};

NewMessage::NewMessage() : slot_(pool.Take()) {}

NewMessage::~NewMessage() {
  if (slot_ != nullptr) pool.GiveBack(slot_);
}

uint32_t NewMessage::FirstSerial() const {
  // Above 0, and with at least half of all numbers to come.
  return (HandleOf(*slot_) * 2654435761u >> 1) | 1;
}

uint32_t NewMessage::Publish() {
  Slot* slot = slot_;
  slot_ = nullptr;
  const Guard guard(slot->lock);
  slot->live = true;
  return HandleOf(*slot);
}

void OpenMessage::Destroy() {
  Slot* slot = slot_;
  slot_ = nullptr;
  slot->live = false;
  ++slot->generation;
  guard_.Release();
  pool.GiveBack(slot);
}

}  // namespace lauth::tlv
