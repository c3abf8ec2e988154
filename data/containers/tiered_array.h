// SPDX-License-Identifier: Apache-2.0
// An array in which inserting in the middle moves little: docs/performance.md, "Lists".
#ifndef BYOD_DATA_CONTAINERS_TIERED_ARRAY_H
#define BYOD_DATA_CONTAINERS_TIERED_ARRAY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "data/containers/steps.h"

namespace byod::data {

/**
 * Elements in rings of 256, all full but the last. What an insertion pushes out at the end of a
 * ring becomes the first element of the next ring, which turns instead of moving:
 *
 *     ring 0          ring 1            ring 2
 *     a b c d         e f g h           i j -            x is put behind b
 *     a b x c    d -> d e f g    h ->   h i j
 *
 * So an insertion moves up to 256 elements and one for each ring behind, and an element's place
 * follows from its index.
 */
template <typename T>
class TieredArray {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  size_t size() const { return size_; }

  T& operator[](size_t index) const {
    Ring& ring = *rings_[index / kRing];
    return ring.elements[(ring.first + index) % kRing];
  }

  /// Makes room for this many elements. @return false without memory; nothing has changed then
  bool Reserve(size_t count) {
    while (ring_count_ * kRing < count) {
      if (ring_count_ == capacity_) {
        const size_t capacity = capacity_ * 2 + 8;
        void* const rings = std::realloc(rings_, capacity * sizeof *rings_);
        if (rings == nullptr) return false;
        rings_ = static_cast<Ring**>(rings);
        capacity_ = capacity;
      }
      auto* const ring = static_cast<Ring*>(std::calloc(1, sizeof(Ring)));
      if (ring == nullptr) return false;
      rings_[ring_count_++] = ring;
    }
    return true;
  }

  /// Room is reserved. @param index  at most the size
  void Insert(size_t index, T element) {
    const size_t last = size_++ / kRing;
    for (size_t r = index / kRing; r < last; ++r) {
      CountStep();
      const T pushed_out = rings_[r]->At(kRing - 1);
      rings_[r]->Insert(index % kRing, kRing - 1, element);
      element = pushed_out;
      index = (r + 1) * kRing;
    }
    rings_[last]->Insert(index % kRing, (size_ - 1) % kRing, element);
  }

  void Erase(size_t index) {
    const size_t last = --size_ / kRing;
    for (size_t r = index / kRing; r < last; ++r) {
      CountStep();
      rings_[r]->Erase(index % kRing, kRing - 1);
      rings_[r]->At(kRing - 1) = rings_[r + 1]->At(0);
      index = (r + 1) * kRing;
    }
    rings_[last]->Erase(index % kRing, size_ % kRing);
  }

  /// Forgets the elements, but not their memory.
  void Forget() { size_ = 0; }

  void Clear() {
    for (size_t r = 0; r < ring_count_; ++r)
      std::free(rings_[r]);
    std::free(rings_);
    *this = {};
  }

 private:
  static constexpr size_t kRing = 256;

  struct Ring {
    size_t first;  // where its first element stands
    T elements[kRing];

    T& At(size_t i) { return elements[(first + i) % kRing]; }

    /// Puts an element before the i-th of last; what stands at last is overwritten.
    void Insert(size_t i, size_t last, const T& element) {
      if (i == 0) {
        first = (first + kRing - 1) % kRing;
      } else {
        MoveUp(i, last - i);
      }
      At(i) = element;
    }

    /// Takes out the i-th of last + 1 elements.
    void Erase(size_t i, size_t last) {
      if (i == 0) {
        first = (first + 1) % kRing;
      } else {
        MoveDown(i + 1, last - i);
      }
    }

    // Both move count elements by one place, in two parts if they go around the memory's end.

    void MoveUp(size_t from, size_t count) {
      const size_t begin = (first + from) % kRing;
      if (begin + count < kRing) return Move(begin, begin + 1, count);
      const size_t before_end = kRing - begin;
      Move(0, 1, count - before_end);
      elements[0] = elements[kRing - 1];
      Move(begin, begin + 1, before_end - 1);
    }

    void MoveDown(size_t from, size_t count) {
      if (count == 0) return;
      const size_t begin = (first + from) % kRing;
      if (begin > 0 && begin + count <= kRing) return Move(begin, begin - 1, count);
      const size_t before_end = begin == 0 ? 0 : kRing - begin;
      if (before_end > 0) Move(begin, begin - 1, before_end);
      elements[kRing - 1] = elements[0];
      Move(1, 0, count - before_end - 1);
    }

    void Move(size_t from, size_t to, size_t count) {
      std::memmove(elements + to, elements + from, count * sizeof(T));
    }
  };

  Ring** rings_ = nullptr;
  size_t ring_count_ = 0;
  size_t capacity_ = 0;  // of rings_
  size_t size_ = 0;
};

}  // namespace byod::data

#endif  // BYOD_DATA_CONTAINERS_TIERED_ARRAY_H
