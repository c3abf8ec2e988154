#include "data/text_index.h"

#include <cstring>
#include <new>

namespace byod::data {

static_assert(UnitPool::kMostUnits * UnitPool::kUnit >= 16 + BYOD_RULETEXT_SIZE);

TextIndex::Place TextIndex::PlaceOf(const char* text) const {
  TextKey key;
  if (!key.Make(text)) return {};
  const uint32_t hash = key.hash();
  const uint32_t number = texts_.Find(hash, [&](uint32_t candidate) {
    const Text& kept = At(candidate);
    return key.Is(kept.kind, kept.words());
  });
  return {hash, number};
}

void* TextIndex::Find(const char* text) const {
  const Place place = PlaceOf(text);
  return place.number != 0 ? At(place.number).newest : nullptr;
}

bool TextIndex::Prepare(const char* text) {
  DropPrepared();
  TextKey key;
  if (!key.Make(text)) return false;
  const auto hash_of = [this](uint32_t number) {
    return TextKey::HashOf(At(number).kind, At(number).words());
  };
  if (!texts_.Reserve(1, hash_of)) return false;
  prepared_ = pool_.Get(Text::UnitsFor(key.kind()));
  if (prepared_ == 0) return false;
  auto* const made = new (pool_.At(prepared_)) Text{nullptr, 0, key.kind()};
  std::memcpy(made->words(), key.words(), TextKey::BytesOf(key.kind()));
  return true;
}

void TextIndex::Insert(const char* text, void* rule) {
  ++rules_;
  const Place place = PlaceOf(text);
  if (place.number != 0) {
    Text& kept = At(place.number);
    kept.newest = rule;
    ++kept.older;
    return;
  }
  At(prepared_).newest = rule;
  texts_.Insert(place.hash, prepared_);
  prepared_ = 0;
}

void TextIndex::DropPrepared() {
  if (prepared_ != 0) pool_.Put(prepared_, Text::UnitsFor(At(prepared_).kind));
  prepared_ = 0;
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
