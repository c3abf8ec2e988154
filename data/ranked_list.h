// An intrusive list in order, in which a position is reached without walking.
#ifndef BYOD_DATA_RANKED_LIST_H
#define BYOD_DATA_RANKED_LIST_H

#include <cstddef>
#include <cstdint>

#include "byod_data.h"

namespace byod::data {

/// Takes a link out of whatever list it is in; one in no list is left alone.
inline void Unlink(ByodLink& link) {
  if (link.prev != nullptr) *link.prev = link.next;
  if (link.next != nullptr) link.next->prev = link.prev;
}

/// Puts a link where a head or another link's next points.
inline void LinkAt(ByodLink*& place, ByodLink& link) {
  link.next = place;
  link.prev = &place;
  if (link.next != nullptr) link.next->prev = &link.next;
  place = &link;
}

/**
 * The list is the truth: it hangs on a head that belongs to the table's record, and callers may
 * walk it. The array beside it holds the same links in the same order. A list that was linked by
 * other hands than ours is noticed at its head; it is walked, and taken over with the next Reserve.
 */
class RankedList {
 public:
  explicit constexpr RankedList(ByodLink** head) : head_(head) {}

  /// Where a search ended: at this link, and how what was sought compares with it.
  struct Place {
    ByodLink* link = nullptr;  // null: there is none, or the count reached past the end
    size_t index = 0;
    int comparison = 0;
  };

  /**
   * Looks through the first count links by halves.
   *
   * @param compare  (const ByodLink&) -> how what is sought compares with the link; 0 ends the
   *                 search at once
   */
  template <typename Compare>
  Place Search(uint32_t count, Compare compare) const {
    Place place;
    if (count == 0 || *head_ == nullptr) return place;
    // Wide enough for the sum of any two counts; last is one below first when nothing is left.
    for (uint64_t first = 1, last = count; first <= last;) {
      const uint64_t middle = (first + last) / 2;
      ByodLink* const link = At(middle - 1);
      if (link == nullptr) return {};
      place = {link, static_cast<size_t>(middle - 1), compare(*link)};
      if (place.comparison == 0) break;
      if (place.comparison < 0) {
        last = middle - 1;
      } else {
        first = middle + 1;
      }
    }
    return place;
  }

  /// Makes room for one more link. @return false without memory; nothing has changed then
  bool Reserve();

  /// Puts a link at the head. Room is reserved.
  void InsertFirst(ByodLink& link);

  /// Puts a link before or behind a search's place, as the comparison tells. Room is reserved.
  void InsertAt(const Place& place, ByodLink& link);

  /**
   * Takes a link out; one that is not in the list is left alone.
   *
   * @param compare  as for Search: how the link's own key compares. Where the order holds, it leads
   *                 near the link; where it does not, the link is found all the same.
   */
  template <typename Compare>
  void Remove(ByodLink& link, Compare compare) {
    if (Mirrored()) {
      const Place near = Search(static_cast<uint32_t>(size_), compare);
      Forget(link, near.index);
    } else {
      // The old head may come back, and the array must not come back with this link.
      size_ = 0;
    }
    Unlink(link);
  }

  /// Forgets the list and gives the memory of the array back. The links are not touched.
  void Clear();

 private:
  bool Mirrored() const { return size_ == 0 ? *head_ == nullptr : *head_ == links_[0]; }
  ByodLink* At(uint64_t index) const;
  void InsertIntoArray(size_t index, ByodLink& link);
  void Forget(const ByodLink& link, size_t near);

  ByodLink** head_;
  ByodLink** links_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace byod::data

#endif  // BYOD_DATA_RANKED_LIST_H
