// SPDX-License-Identifier: Apache-2.0
// A map that drops the least recently used entry when it is full, so that traffic cannot exhaust
// memory.
#ifndef BYOD_CAPTURE_RECENT_MAP_H
#define BYOD_CAPTURE_RECENT_MAP_H

#include <cstddef>
#include <list>
#include <map>
#include <utility>

namespace byod::capture {

template <typename Key, typename Value>
class RecentMap {
 public:
  /// @param max_count  at least 1
  explicit RecentMap(size_t max_count) : max_count_(max_count) {}

  size_t size() const { return places_.size(); }

  /// @return the value, or null; borrowed until the next Touch of another key, or Erase
  Value* Find(const Key& key) {
    const auto place = places_.find(key);
    if (place == places_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, place->second);
    return &place->second->second;
  }

  /// The value, which is created if there is none. Without memory nothing changes.
  Value& Touch(const Key& key) {
    if (Value* const found = Find(key)) return *found;
    // Everything that can fail comes before the first permanent change.
    Entries fresh;
    fresh.emplace_front(key, Value{});
    places_.emplace(key, fresh.begin());
    entries_.splice(entries_.begin(), fresh);
    if (entries_.size() > max_count_) {
      places_.erase(entries_.back().first);
      entries_.pop_back();
    }
    return entries_.front().second;
  }

  /// Calls take(value) for each, the most recently used first.
  template <typename Take>
  void ForEach(Take take) const {
    for (const auto& [key, value] : entries_)
      take(value);
  }

  void Erase(const Key& key) {
    const auto place = places_.find(key);
    if (place == places_.end()) return;
    entries_.erase(place->second);
    places_.erase(place);
  }

 private:
  using Entries = std::list<std::pair<Key, Value>>;  // the most recently used first

  size_t max_count_;
  Entries entries_;
  std::map<Key, typename Entries::iterator> places_;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_RECENT_MAP_H
