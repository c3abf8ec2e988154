// SPDX-License-Identifier: Apache-2.0
#include "platform/dbm/handles.h"

#include <unistd.h>

#include <array>
#include <atomic>

namespace lauth::dbm {
namespace {

// A handle is a slot's number and, above it, how often the slot was given out before, so that a
// closed handle is not taken for its successor. Never negative, and 0 is the first.
constexpr uint32_t kSlotBits = 6;
constexpr uint32_t kSlots = 1U << kSlotBits;
constexpr uint32_t kUses = 1U << (31 - kSlotBits);

struct Slot {
  uint32_t uses = 0;
  std::shared_ptr<Database> database;
};

struct Table {
  std::mutex mutex;
  std::array<Slot, kSlots> slots;
  std::atomic<uint32_t> open{0};
  std::atomic<pid_t> process{0};
};

// Never destroyed: a process that ends closes nothing, and a forked child must not.
Table& TheTable() {
  static Table& table = *new Table;
  return table;
}

// A forked child shares the parent's files but none of its locks; SQLite there would believe in
// them.
Result RefuseAfterFork(const Table& table) {
  if (table.open.load() == 0 || table.process.load() == getpid()) return DBM_OK;
  return Fail(DBM_ERR_REFUSED, "a database was open when this process was forked");
}

Slot* FindSlot(Table& table, int32_t handle) {
  if (handle < 0) return nullptr;
  const auto number = static_cast<uint32_t>(handle);
  Slot& slot = table.slots[number % kSlots];
  return slot.database != nullptr && slot.uses == number >> kSlotBits ? &slot : nullptr;
}

Result FailUnknown(int32_t handle) {
  return Fail(DBM_ERR_REFUSED, "%d is not the handle of an open database", handle);
}

}  // namespace

Result MayOpen() {
  return RefuseAfterFork(TheTable());
}

Result AddHandle(std::shared_ptr<Database> database, int32_t& handle) {
  Table& table = TheTable();
  const std::lock_guard guard(table.mutex);
  for (uint32_t number = 0; number < kSlots; ++number) {
    Slot& slot = table.slots[number];
    if (slot.database != nullptr) continue;
    slot.database = std::move(database);
    table.process = getpid();
    ++table.open;
    handle = static_cast<int32_t>(slot.uses << kSlotBits | number);
    return DBM_OK;
  }
  return Fail(DBM_ERR_REFUSED, "%u databases are open already", kSlots);
}

Result FindHandle(int32_t handle, std::shared_ptr<Database>& database) {
  Table& table = TheTable();
  if (const Result result = RefuseAfterFork(table); result != DBM_OK) return result;
  const std::lock_guard guard(table.mutex);
  const Slot* slot = FindSlot(table, handle);
  if (slot == nullptr) return FailUnknown(handle);
  database = slot->database;
  return DBM_OK;
}

Result RemoveHandle(int32_t handle, std::shared_ptr<Database>& database) {
  Table& table = TheTable();
  if (const Result result = RefuseAfterFork(table); result != DBM_OK) return result;
  const std::lock_guard guard(table.mutex);
  Slot* slot = FindSlot(table, handle);
  if (slot == nullptr) return FailUnknown(handle);
  database = std::move(slot->database);
  slot->database.reset();
  slot->uses = (slot->uses + 1) % kUses;
  --table.open;
  return DBM_OK;
}

}  // namespace lauth::dbm
