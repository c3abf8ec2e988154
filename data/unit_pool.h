// Many small records in one array, named by number.
#ifndef BYOD_DATA_UNIT_POOL_H
#define BYOD_DATA_UNIT_POOL_H

#include <cstddef>
#include <cstdint>

namespace byod::data {

/**
 * Hands out runs of units of 32 bytes, two to a cache line, so that a small record lies within one.
 * A record is named by the number of its first unit, which is half as wide as a pointer; where it
 * lies changes as the array grows. What is given back is used again for records of the same size.
 */
class UnitPool {
 public:
  static constexpr size_t kUnit = 32;
  static constexpr size_t kMostUnits = 10;  // of a record

  static constexpr size_t UnitsFor(size_t bytes) { return (bytes + kUnit - 1) / kUnit; }

  /// @return the record's number, or 0 without memory; nothing has changed then
  uint32_t Get(size_t units);
  void Put(uint32_t number, size_t units);

  /// Where a record lies, until the next Get.
  void* At(uint32_t number) const { return memory_ + number * kUnit; }

  /// Gives the memory back.
  void Clear();

 private:
  bool Grow(size_t units);

  char* memory_ = nullptr;
  size_t used_ = 0;  // units; the first one names no record
  size_t capacity_ = 0;
  uint32_t free_[kMostUnits] = {};  // by size; each leads to the next one
};

}  // namespace byod::data

#endif  // BYOD_DATA_UNIT_POOL_H
