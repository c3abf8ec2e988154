#include "tlv_pool.h"

#include <array>
#include <new>
#include <type_traits>

namespace lauth::tlv {
namespace {

// Slots are taken in turn, so that a handle comes back late, and this many before any comes again.
constexpr uint32_t kSlotsInTurn = kSlotBlock;

// Memory that unused slots may keep for the next message, all of them and each.
constexpr size_t kMostSpare = size_t{2} << 20;
constexpr size_t kMostSpareEach = kMostSpare / 16;

// Slots to be taken in the order in which they came.
class Queue {
 public:
  bool IsEmpty() const { return oldest_ == nullptr; }

  void Push(Slot* slot) {
    slot->next_free = nullptr;
    (oldest_ != nullptr ? newest_->next_free : oldest_) = slot;
    newest_ = slot;
  }

  Slot* Pop() {
    Slot* slot = oldest_;
    if (slot != nullptr) oldest_ = slot->next_free;
    return slot;
  }

 private:
  Slot* oldest_ = nullptr;
  Slot* newest_ = nullptr;
};

class Pool {
 public:
  Slot* Take() {
    const Guard guard(lock_);
    if (made_ < kSlotsInTurn || (with_memory_.IsEmpty() && without_memory_.IsEmpty())) {
      if (Slot* slot = Make()) return slot;
    }
    Slot* slot = with_memory_.Pop();
    if (slot == nullptr) return without_memory_.Pop();
    spare_ -= slot->message.Footprint();
    return slot;
  }

  void GiveBack(Slot* slot) {
    const size_t footprint = slot->message.Footprint();
    {
      const Guard guard(lock_);
      if (footprint <= kMostSpareEach && spare_ + footprint <= kMostSpare) {
        spare_ += footprint;
        return with_memory_.Push(slot);
      }
    }
    slot->message.Release();
    const Guard guard(lock_);
    without_memory_.Push(slot);
  }

 private:
  Slot* Make() {
    if (made_ == kMostSlots) return nullptr;
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
  Queue with_memory_;
  Queue without_memory_;
  size_t spare_ = 0;
};

static_assert(std::is_trivially_destructible_v<Pool>, "messages are usable until the very end");

constinit Pool pool;

}  // namespace

constinit std::atomic<Slot*> slot_blocks[kMostSlots / kSlotBlock + 1] = {};

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
