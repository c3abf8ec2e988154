// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/text_pool.h"

#include <cstring>
#include <utility>

namespace byod::lauthd {

uint64_t TextPool::HashOf(uint32_t number) const {
  return hash_.Of(entries_[number].text.get(), entries_[number].length);
}

TextId TextPool::Find(std::string_view text) const {
  if (text.empty()) return 0;
  const uint32_t number = index_.Find(hash_.Of(text.data(), text.size()), [&](uint32_t candidate) {
    const Entry& entry = entries_[candidate];
    return std::string_view{entry.text.get(), entry.length} == text;
  });
  return number == kNoElement ? kNoElement : number + 1;
}

/// Takes an entry off the free ones, of which there is one afterwards at the latest.
uint32_t TextPool::FreeNumber() {
  if (free_ == kNoElement) {
    entries_.emplace_back();
    free_ = static_cast<uint32_t>(entries_.size() - 1);
  }
  return free_;
}

TextId TextPool::Acquire(std::string_view text) {
  const TextId found = Find(text);
  if (found != kNoElement) return Share(found);
  auto copy = std::make_unique_for_overwrite<char[]>(text.size() + 1);
  std::memcpy(copy.get(), text.data(), text.size());
  copy[text.size()] = '\0';
  index_.Reserve();
  const uint32_t number = FreeNumber();
  Entry& entry = entries_[number];
  free_ = entry.next;
  entry.text = std::move(copy);
  entry.length = static_cast<uint16_t>(text.size());
  entry.references = 1;
  index_.Insert(number);
  return number + 1;
}

TextId TextPool::Share(TextId id) {
  if (id != 0) ++entries_[id - 1].references;
  return id;
}

void TextPool::Release(TextId id) {
  if (id == 0) return;
  Entry& entry = entries_[id - 1];
  if (--entry.references > 0) return;
  index_.Remove(id - 1);
  entry.text.reset();
  entry.length = 0;
  entry.next = std::exchange(free_, id - 1);
}

void TextPool::Assign(TextId& id, std::string_view text) {
  Release(std::exchange(id, Acquire(text)));
}

std::string_view TextPool::Text(TextId id) const {
  if (id == 0) return {};
  const Entry& entry = entries_[id - 1];
  return {entry.text.get(), entry.length};
}

}  // namespace byod::lauthd
