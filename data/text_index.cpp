#include "data/text_index.h"

#include <cstring>
#include <new>

namespace byod::data {

static_assert(UnitPool::kMostUnits * UnitPool::kUnit >= 16 + BYOD_RULETEXT_SIZE);

TextIndex::Place TextIndex::PlaceOf(const TextKey& key) const {
  const uint32_t hash = key.hash();
  const uint32_t number = texts_.Find(hash, [&](uint32_t candidate) {
    const Text& kept = At(candidate);
    return key.Is(kept.kind, kept.words());
  });
  return {hash, number};
}

TextIndex::Place TextIndex::PlaceOf(const char* text) const {
  TextKey key;
  return key.Make(text) ? PlaceOf(key) : Place();
}

void* TextIndex::Find(const char* text) const {
  const Place place = PlaceOf(text);
  return place.number != 0 ? At(place.number).newest : nullptr;
}

bool TextIndex::Prepare(const char* text) {
  DropFresh();
  TextKey key;
  if (!key.Make(text)) return false;
  prepared_ = PlaceOf(key);
  if (prepared_.number != 0) return true;
  const auto hash_of = [this](uint32_t number) {
    return TextKey::HashOf(At(number).kind, At(number).words());
  };
  if (!texts_.Reserve(1, hash_of)) return false;
  fresh_ = pool_.Get(Text::UnitsFor(key.kind()));
  if (fresh_ == 0) return false;
  auto* const made = new (pool_.At(fresh_)) Text{nullptr, 0, key.kind()};
  std::memcpy(made->words(), key.words(), TextKey::BytesOf(key.kind()));
  return true;
}

void TextIndex::Insert(void* rule) {
  ++rules_;
  if (fresh_ == 0) {
    Text& kept = At(prepared_.number);
    kept.newest = rule;
    ++kept.older;
    return;
  }
  At(fresh_).newest = rule;
  texts_.Insert(prepared_.hash, fresh_);
  fresh_ = 0;
}

void TextIndex::DropFresh() {
  if (fresh_ != 0) pool_.Put(fresh_, Text::UnitsFor(At(fresh_).kind));
  fresh_ = 0;
}

void TextIndex::Drop(const Place& place) {
  texts_.Erase(place.hash, place.number);
  pool_.Put(place.number, Text::UnitsFor(At(place.number).kind));
}

void TextIndex::Clear() {
  texts_.Clear();
  pool_.Clear();
  *this = {};
}

}  // namespace byod::data
