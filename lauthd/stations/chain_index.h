// SPDX-License-Identifier: Apache-2.0
// A hash index over elements that are kept elsewhere and named by number.
#ifndef LAUTHD_STATIONS_CHAIN_INDEX_H
#define LAUTHD_STATIONS_CHAIN_INDEX_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace byod::lauthd {

/// No element.
inline constexpr uint32_t kNoElement = UINT32_MAX;

/**
 * The chains go through the elements themselves, so an insertion into an index that has room
 * allocates nothing.
 *
 * @tparam Elements  its Next(number) is a uint32_t& of the element that the index alone uses, and
 *                   its HashOf(number) the hash of the element's key
 */
template <typename Elements>
class ChainIndex {
 public:
  /// @param elements  borrowed
  explicit ChainIndex(Elements& elements) : elements_(elements) {}

  size_t size() const { return size_; }

  /// Makes room for one more. @throws std::bad_alloc, with nothing changed
  void Reserve() {
    if (size_ < buckets_.size()) return;
    std::vector<uint32_t> larger(buckets_.empty() ? 16 : 2 * buckets_.size(), kNoElement);
    buckets_.swap(larger);
    for (uint32_t number : larger) {
      while (number != kNoElement) {
        const uint32_t next = elements_.Next(number);
        Link(number);
        number = next;
      }
    }
  }

  /// Adds an element whose key is not in the index. Reserve was called before.
  void Insert(uint32_t number) {
    Link(number);
    ++size_;
  }

  /// Removes an element that is in the index.
  void Remove(uint32_t number) {
    uint32_t* link = &BucketOf(elements_.HashOf(number));
    while (*link != number)
      link = &elements_.Next(*link);
    *link = elements_.Next(number);
    --size_;
  }

  /// @param is  (number) -> whether it is the wanted element
  /// @return the element; kNoElement if there is none
  template <typename Predicate>
  uint32_t Find(uint64_t hash, Predicate is) const {
    if (buckets_.empty()) return kNoElement;
    uint32_t number = buckets_[hash & (buckets_.size() - 1)];
    while (number != kNoElement && !is(number))
      number = elements_.Next(number);
    return number;
  }

 private:
  uint32_t& BucketOf(uint64_t hash) { return buckets_[hash & (buckets_.size() - 1)]; }

  void Link(uint32_t number) {
    uint32_t& bucket = BucketOf(elements_.HashOf(number));
    elements_.Next(number) = bucket;
    bucket = number;
  }

  Elements& elements_;
  std::vector<uint32_t> buckets_;  // a power of two
  size_t size_ = 0;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_CHAIN_INDEX_H
