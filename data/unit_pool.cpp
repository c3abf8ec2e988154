#include "data/unit_pool.h"

#include <cstdlib>
#include <cstring>

namespace byod::data {

namespace {
constexpr size_t kCacheLine = 64;
constexpr size_t kFirstUnits = 64;
}  // namespace

bool UnitPool::Grow(size_t units) {
  if (used_ + units > UINT32_MAX) return false;
  size_t capacity = capacity_ == 0 ? kFirstUnits : capacity_;
  while (capacity < used_ + units)
    capacity *= 2;
  auto* const memory = static_cast<char*>(std::aligned_alloc(kCacheLine, capacity * kUnit));
  if (memory == nullptr) return false;
  if (used_ > 0) std::memcpy(memory, memory_, used_ * kUnit);
  std::free(memory_);
  memory_ = memory;
  capacity_ = capacity;
  return true;
}

uint32_t UnitPool::Get(size_t units) {
  uint32_t& free = free_[units - 1];
  if (free != 0) {
    const uint32_t number = free;
    std::memcpy(&free, At(number), sizeof free);
    return number;
  }
  const size_t number = used_ == 0 ? 1 : used_;
  if (number + units > capacity_ && !Grow(1 + units)) return 0;
  used_ = number + units;
  return static_cast<uint32_t>(number);
}

void UnitPool::Put(uint32_t number, size_t units) {
  uint32_t& free = free_[units - 1];
  std::memcpy(At(number), &free, sizeof free);
  free = number;
}

void UnitPool::Clear() {
  std::free(memory_);
  *this = {};
}

}  // namespace byod::data
