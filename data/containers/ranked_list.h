// SPDX-License-Identifier: Apache-2.0
// An intrusive list in order, in which a position is reached without walking: docs/performance.md,
// "Lists".
#ifndef BYOD_DATA_CONTAINERS_RANKED_LIST_H
#define BYOD_DATA_CONTAINERS_RANKED_LIST_H

#include <cstddef>
#include <cstdint>

#include "byod_data.h"
#include "data/containers/steps.h"
#include "data/containers/tiered_array.h"

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
 * The list is the truth: its head belongs to the table's record, and callers may
 * walk it. The array beside it holds the same links in the same order. A list that a
 * caller linked is noticed at its head; it is walked, and adopted by the next Reserve.
 *
 * Beside each link stands a mark, which decides most comparisons, so that a search reads few of the
 * links that it probes: they lie in rules, far from each other. A Mark states:
 *
 *   Compare(other)  how it compares with another link's; 0 if the marks are equal
 *   kIsWholeKey       whether equal marks mean equal keys
 */
template <typename Mark>
class RankedList {
 public:
  using MarkOf = Mark (*)(const ByodLink&);

  constexpr RankedList(ByodLink** head, MarkOf mark_of) : head_(head), mark_of_(mark_of) {}

  /// Where a search ended: at this link, and how what was sought compares with it.
  struct Place {
    ByodLink* link = nullptr;  // null: there is none, or the count reached past the end
    size_t index = 0;
    int comparison = 0;

    /// The index of a link that is put at this place: before or behind, as the comparison says.
    size_t NewIndex() const { return comparison < 0 ? index : index + 1; }
  };

  /**
   * Looks through the first count links by halves.
   *
   * @param compare  its member mark is that of what is sought; called, if a mark is not the whole
   * key, with a ByodLink&: how what is sought compares with the link. 0 ends the search at once
   */
  template <typename Compare>
  Place Search(uint32_t count, const Compare& compare) const {
    Place place;
    if (count == 0 || *head_ == nullptr) return place;
    // Wide enough for the sum of any two counts; last is one below first when nothing is left.
    const bool mirrored = Mirrored();
    const auto against = [&compare](const Mark& mark, [[maybe_unused]] ByodLink& link) {
      int comparison = compare.mark.Compare(mark);
      if constexpr (!Mark::kIsWholeKey) {
        if (comparison == 0) comparison = compare(link);
      }
      return comparison;
    };
    for (uint64_t first = 1, last = count; first <= last;) {  // the range shrinks with each turn
      CountStep();
      const uint64_t middle = (first + last) / 2;
      const auto index = static_cast<size_t>(middle - 1);
      if (mirrored) {
        if (middle > size()) return {};
        const Element& element = elements_[index];
        place = {element.link, index, against(element.mark, *element.link)};
      } else {
        ByodLink* const link = WalkTo(middle - 1);
        if (link == nullptr) return {};
        place = {link, index, against(mark_of_(*link), *link)};
      }
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
  bool Reserve() {
    if (Mirrored()) return elements_.Reserve(size() + 1);
    size_t length = 0;
    for (const ByodLink* link = *head_; link != nullptr; link = link->next)
      ++length;
    if (!elements_.Reserve(length + 1)) return false;
    elements_.Forget();
    for (ByodLink* link = *head_; link != nullptr; link = link->next)
      elements_.Insert(size(), {link, mark_of_(*link)});
    return true;
  }

  /// Puts a link at the head. Room is reserved.
  void InsertFirst(ByodLink& link, const Mark& mark) {
    LinkAt(*head_, link);
    elements_.Insert(0, {&link, mark});
  }

  /// Puts a link before or behind a search's place, as the comparison says. Room is reserved.
  void InsertAt(const Place& place, ByodLink& link, const Mark& mark) {
    // The neighbours lie far away: they are fetched while the array is moved.
    const size_t index = place.NewIndex();
    if (index > 0) __builtin_prefetch(elements_[index - 1].link);
    if (index < size()) __builtin_prefetch(elements_[index].link);
    elements_.Insert(index, {&link, mark});
    LinkAt(place.comparison < 0 ? *place.link->prev : place.link->next, link);
  }

  /**
   * Takes a link out; one that is not in the list is left alone.
   *
   * @param compare  as for Search: how the link's own key compares. Where the order holds, it leads
   *                 to the link, or near it if others have the same key; where it does not, the
   *                 link is still found.
   */
  template <typename Compare>
  void Remove(ByodLink& link, const Compare& compare) {
    if (Mirrored()) {
      const Place near = Search(static_cast<uint32_t>(size()), compare);
      Forget(link, near.index);
    } else {
      // The old head may come back, and the array must not come back with this link.
      elements_.Forget();
    }
    Unlink(link);
  }

  /// Moves a link of a mirrored list to another place, counted without it.
  void Move(size_t from, size_t to) {
    const Element element = elements_[from];
    elements_.Erase(from);
    elements_.Insert(to, element);
    Unlink(*element.link);
    LinkAt(to == 0 ? *head_ : elements_[to - 1].link->next, *element.link);
  }

  /// Whether the array holds what the list holds.
  bool Mirrored() const {
    return elements_.size() == 0 ? *head_ == nullptr : *head_ == elements_[0].link;
  }

  /// The array's links and their marks; the first of them is the head's.
  size_t size() const { return elements_.size(); }
  ByodLink* LinkAtIndex(size_t index) const { return elements_[index].link; }
  Mark& MarkAtIndex(size_t index) const { return elements_[index].mark; }

  /// Forgets the list and gives the memory of the array back. The links are not touched.
  void Clear() { elements_.Clear(); }

 private:
  struct Element {
    ByodLink* link;
    Mark mark;
  };

  ByodLink* WalkTo(uint64_t index) const {
    ByodLink* link = *head_;
    for (; link != nullptr && index > 0; --index) {
      CountStep();
      link = link->next;
    }
    return link;
  }

  void Forget(const ByodLink& link, size_t near) {
    // Links with equal keys stand together: look at both sides of the place before looking at all.
    for (size_t distance = 0; distance < size(); ++distance) {
      CountStep();
      if (near + distance < size() && elements_[near + distance].link == &link) {
        return elements_.Erase(near + distance);
      }
      if (distance <= near && elements_[near - distance].link == &link) {
        return elements_.Erase(near - distance);
      }
    }
  }

  ByodLink** head_;
  MarkOf mark_of_;
  TieredArray<Element> elements_;
};

}  // namespace byod::data

#endif  // BYOD_DATA_CONTAINERS_RANKED_LIST_H
