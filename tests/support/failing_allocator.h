// SPDX-License-Identifier: Apache-2.0
/**
 * Makes a chosen allocation of this thread fail, to walk through every out-of-memory path:
 *
 *     for (uint32_t n = 1;; ++n) {
 *       FailingAllocation failing(n);
 *       ... the operation ...
 *       if (!failing.Failed()) break;  // fewer than n allocations: every path has been seen
 *     }
 *
 * A test program that links failing_allocator.cpp has its malloc, calloc, realloc, aligned_alloc
 * and posix_memalign, and with them operator new, pass through it; those of the shared libraries it
 * uses, too. Other threads, and code outside the scope, allocate as ever.
 */
#ifndef TESTS_SUPPORT_FAILING_ALLOCATOR_H
#define TESTS_SUPPORT_FAILING_ALLOCATOR_H

#include <cstdint>

namespace support {

/// Counts this thread's allocations while it lives, and makes one of them fail. Not nested.
class FailingAllocation {
 public:
  /// @param nth  the allocation from now on that fails, from 1; 0 for none
  explicit FailingAllocation(uint32_t nth);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// Stops counting and failing ahead of the end of the scope.
  void Disarm();

  /// The allocations asked for so far, the failed one included.
  uint32_t Count() const;

  /// Whether the chosen allocation has been asked for.
  bool Failed() const;

 private:
  uint32_t nth_;
  uint32_t count_ = 0;
  bool armed_ = true;
};

/// What this thread has allocated and not freed. Only differences are meaningful: a scope that
/// frees all it allocates leaves the number as it was.
int64_t LiveAllocations();

}  // namespace support

#endif
