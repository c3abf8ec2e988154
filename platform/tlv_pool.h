/**
 * The messages in use, named by handles. A handle is a slot and the count of messages that the slot
 * has held before, so a handle of an earlier one is known for what it is.
 */
#ifndef LAUTH_TLV_POOL_H
#define LAUTH_TLV_POOL_H

#include <cstdint>
#include <mutex>

#include "tlv_message.h"

namespace lauth::tlv {

struct Slot {
  std::mutex lock;  // over all but index and next_free
  Message message;
  uint16_t generation = 0;
  bool live = false;
  uint32_t index = 0;
  Slot* next_free = nullptr;
};

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
  explicit OpenMessage(uint32_t handle);
  ~OpenMessage() {
    if (slot_ != nullptr) slot_->lock.unlock();
  }
  OpenMessage(const OpenMessage&) = delete;
  OpenMessage& operator=(const OpenMessage&) = delete;

  explicit operator bool() const { return slot_ != nullptr; }
  Message* operator->() { return &slot_->message; }

  // Makes the handle invalid and gives the slot back.
  void Destroy();

 private:
  Slot* slot_;
};

}  // namespace lauth::tlv

#endif
