// SPDX-License-Identifier: Apache-2.0
#include "support/platform_faults.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>

#include "lauth_tlv.h"

namespace support {
namespace {

// Without memory, so that a failing allocation is always the library's.
template <typename T>
struct Log {
  std::array<T, 4096> entries;
  size_t size = 0;

  // The first ones are kept.
  void Add(const T& entry) {
    if (size < entries.size()) entries[size++] = entry;
  }
  bool Remove(const T& entry) {
    T* const end = entries.data() + size;
    T* const at = std::find(entries.data(), end, entry);
    if (at == end) return false;
    *at = entries[--size];
    return true;
  }
  std::vector<T> All() const { return {entries.data(), entries.data() + size}; }
};

struct Failure {
  int call, n;
  uint32_t result;
};

struct Account {
  std::mutex mutex;
  std::array<int, PlatformFaults::kCalls> count = {};
  Log<Failure> failures;
  Log<uint32_t> alive;
  int made = 0;
  int wrong = 0;
  Log<PlatformFaults::Flush> flushes;
  Log<PlatformFaults::Receive> receives;
};

Account& TheAccount() {
  static Account account;
  return account;
}

thread_local int paused = 0;

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Counts a call; gives the result with which it is to fail.
std::optional<uint32_t> Enter(PlatformFaults::Call call) {
  if (paused > 0) return {};
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  const int n = ++account.count[call];
  std::optional<uint32_t> result;
  for (size_t i = 0; i < account.failures.size; ++i) {
    const Failure& failure = account.failures.entries[i];
    if (failure.call == call && failure.n == n) result = failure.result;  // the last one said
  }
  return result;
}

// What the container calls itself is not the library's.
template <typename Function, typename... Arguments>
uint32_t Forward(Function* real, Arguments... arguments) {
  const PlatformFaults::Pause inside;
  return real(arguments...);
}

uint32_t Made(uint32_t handle) {
  if (paused > 0 || handle == 0) return handle;
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  account.alive.Add(handle);
  ++account.made;
  return handle;
}

}  // namespace

PlatformFaults::Pause::Pause() {
  ++paused;
}
PlatformFaults::Pause::~Pause() {
  --paused;
}

void PlatformFaults::Reset() {
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  account.count.fill(0);
  account.failures.size = 0;
  account.alive.size = 0;
  account.made = 0;
  account.wrong = 0;
  account.flushes.size = 0;
  account.receives.size = 0;
}

void PlatformFaults::Fail(Call call, int n, uint32_t result) {
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  account.failures.Add({call, account.count[call] + n, result});
}

int PlatformFaults::Count(Call call) {
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  return account.count[call];
}

std::vector<uint32_t> PlatformFaults::Alive() {
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  return account.alive.All();
}

int PlatformFaults::Made() {
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  return account.made;
}

int PlatformFaults::WrongDestructions() {
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  return account.wrong;
}

void PlatformFaults::Forget(uint32_t handle) {
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  account.alive.Remove(handle);
}

std::vector<PlatformFaults::Flush> PlatformFaults::Flushes() {
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  return account.flushes.All();
}

std::vector<PlatformFaults::Receive> PlatformFaults::Receives() {
  Account& account = TheAccount();
  const std::lock_guard lock(account.mutex);
  return account.receives.All();
}

}  // namespace support

using namespace support;

extern "C" {

uint32_t TLV_Create(void) {
  if (const auto failure = Enter(PlatformFaults::kCreate)) return *failure;
  static auto* const real = Real<decltype(TLV_Create)>("TLV_Create");
  return Made(Forward(real));
}

uint32_t TLV_Append_UINT(uint32_t msg, uint16_t type, uint32_t value) {
  if (const auto failure = Enter(PlatformFaults::kAppend)) return *failure;
  static auto* const real = Real<decltype(TLV_Append_UINT)>("TLV_Append_UINT");
  return Forward(real, msg, type, value);
}

uint32_t TLV_Append_Data(uint32_t msg, uint16_t type, uint16_t length, const void* data) {
  if (const auto failure = Enter(PlatformFaults::kAppend)) return *failure;
  static auto* const real = Real<decltype(TLV_Append_Data)>("TLV_Append_Data");
  return Forward(real, msg, type, length, data);
}

uint32_t TLV_Delete_Data(uint32_t msg, uintptr_t iterator) {
  if (const auto failure = Enter(PlatformFaults::kDelete)) return *failure;
  static auto* const real = Real<decltype(TLV_Delete_Data)>("TLV_Delete_Data");
  return Forward(real, msg, iterator);
}

uint32_t TLV_GetValueByIterator(uint32_t msg, uintptr_t iterator, uint16_t length, void* value) {
  if (const auto failure = Enter(PlatformFaults::kGetValue)) return *failure;
  static auto* const real = Real<decltype(TLV_GetValueByIterator)>("TLV_GetValueByIterator");
  return Forward(real, msg, iterator, length, value);
}

uint32_t TLV_GetMsgLen(uint32_t msg, uint32_t mode) {
  if (const auto failure = Enter(PlatformFaults::kGetMsgLen)) return *failure;
  static auto* const real = Real<decltype(TLV_GetMsgLen)>("TLV_GetMsgLen");
  return Forward(real, msg, mode);
}

uint32_t TLV_Flush(uint32_t msg, uint32_t mode, uint32_t length, uintptr_t target) {
  const auto failure = Enter(PlatformFaults::kFlush);
  if (paused == 0) {
    Account& account = TheAccount();
    const std::lock_guard lock(account.mutex);
    account.flushes.Add({msg, mode, length, target});
  }
  if (failure) return *failure;
  static auto* const real = Real<decltype(TLV_Flush)>("TLV_Flush");
  return Forward(real, msg, mode, length, target);
}

uint32_t TLV_CreateReceiveMsg(uint32_t mode, uintptr_t source, uint32_t limit) {
  const auto failure = Enter(PlatformFaults::kReceive);
  if (paused == 0) {
    Account& account = TheAccount();
    const std::lock_guard lock(account.mutex);
    account.receives.Add({mode, source, limit});
  }
  if (failure) return *failure;
  static auto* const real = Real<decltype(TLV_CreateReceiveMsg)>("TLV_CreateReceiveMsg");
  return Made(Forward(real, mode, source, limit));
}

uint32_t TLV_Destroy(uint32_t msg) {
  if (paused == 0) {
    Account& account = TheAccount();
    const std::lock_guard lock(account.mutex);
    if (!account.alive.Remove(msg)) ++account.wrong;
  }
  static auto* const real = Real<decltype(TLV_Destroy)>("TLV_Destroy");
  return Forward(real, msg);
}

}  // extern "C"
