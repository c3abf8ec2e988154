#include "data/ranked_list.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace byod::data {

ByodLink* RankedList::At(uint64_t index) const {
  if (Mirrored()) return index < size_ ? links_[index] : nullptr;
  ByodLink* link = *head_;
  for (; link != nullptr && index > 0; --index)
    link = link->next;
  return link;
}

bool RankedList::Reserve() {
  size_t needed = 1;
  const bool mirrored = Mirrored();
  if (mirrored) {
    needed += size_;
  } else {
    for (const ByodLink* link = *head_; link != nullptr; link = link->next)
      ++needed;
  }
  if (needed > capacity_) {
    const size_t capacity = std::max(needed, capacity_ + capacity_ / 2 + 16);
    void* grown = std::realloc(links_, capacity * sizeof *links_);
    if (grown == nullptr) return false;
    links_ = static_cast<ByodLink**>(grown);
    capacity_ = capacity;
  }
  if (!mirrored) {
    size_ = 0;
    for (ByodLink* link = *head_; link != nullptr; link = link->next)
      links_[size_++] = link;
  }
  return true;
}

void RankedList::InsertFirst(ByodLink& link) {
  LinkAt(*head_, link);
  InsertIntoArray(0, link);
}

void RankedList::InsertAt(const Place& place, ByodLink& link) {
  if (place.comparison < 0) {
    LinkAt(*place.link->prev, link);
    InsertIntoArray(place.index, link);
  } else {
    LinkAt(place.link->next, link);
    InsertIntoArray(place.index + 1, link);
  }
}

void RankedList::InsertIntoArray(size_t index, ByodLink& link) {
  std::memmove(links_ + index + 1, links_ + index, (size_ - index) * sizeof *links_);
  links_[index] = &link;
  ++size_;
}

void RankedList::Forget(const ByodLink& link, size_t near) {
  // Links with equal keys stand together: look at both sides of the place before looking at all.
  size_t index = near;
  for (size_t distance = 0; distance < size_; ++distance) {
    if (near + distance < size_ && links_[near + distance] == &link) {
      index = near + distance;
      break;
    }
    if (distance <= near && links_[near - distance] == &link) {
      index = near - distance;
      break;
    }
  }
  if (index >= size_ || links_[index] != &link) return;
  std::memmove(links_ + index, links_ + index + 1, (size_ - index - 1) * sizeof *links_);
  --size_;
}

void RankedList::Clear() {
  std::free(links_);
  links_ = nullptr;
  size_ = capacity_ = 0;
}

}  // namespace byod::data
