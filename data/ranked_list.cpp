#include "data/ranked_list.h"

namespace byod::data {

ByodLink* RankedList::WalkTo(uint64_t index) const {
  ByodLink* link = *head_;
  for (; link != nullptr && index > 0; --index)
    link = link->next;
  return link;
}

bool RankedList::Reserve() {
  if (Mirrored()) return elements_.Reserve(size() + 1);
  size_t length = 0;
  for (const ByodLink* link = *head_; link != nullptr; link = link->next)
    ++length;
  if (!elements_.Reserve(length + 1)) return false;
  elements_.Forget();
  for (ByodLink* link = *head_; link != nullptr; link = link->next)
    elements_.Insert(size(), Of(*link, nullptr));
  return true;
}

void RankedList::InsertFirst(ByodLink& link, void* note) {
  LinkAt(*head_, link);
  elements_.Insert(0, Of(link, note));
}

void RankedList::InsertAt(const Place& place, ByodLink& link, void* note) {
  LinkAt(place.comparison < 0 ? *place.link->prev : place.link->next, link);
  elements_.Insert(place.NewIndex(), Of(link, note));
}

void* RankedList::Forget(const ByodLink& link, size_t near) {
  // Links with equal keys stand together: look at both sides of the place before looking at all.
  size_t index = near;
  for (size_t distance = 0; distance < size(); ++distance) {
    if (near + distance < size() && elements_[near + distance].link == &link) {
      index = near + distance;
      break;
    }
    if (distance <= near && elements_[near - distance].link == &link) {
      index = near - distance;
      break;
    }
  }
  if (index >= size() || elements_[index].link != &link) return nullptr;
  void* const note = elements_[index].note;
  elements_.Erase(index);
  return note;
}

void RankedList::Clear() {
  elements_.Clear();
}

}  // namespace byod::data
