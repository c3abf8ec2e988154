// Rules by text without regard to case, beside the chains of a HASH_* table.
#ifndef BYOD_DATA_TEXT_INDEX_H
#define BYOD_DATA_TEXT_INDEX_H

#include <cstddef>
#include <cstdint>

#include "byod_data.h"
#include "data/number_table.h"
#include "data/text_key.h"
#include "data/unit_pool.h"

namespace byod::data {

/**
 * Holds the newest rule of each text: the one that stands first in its chain. The chains of 1024
 * buckets grow long with many rules; this table does not. It has the texts in short copies of its
 * own, close together, so that a search need not go to the rules: of what it meets, only one of
 * those copies lies far away.
 *
 * It keeps count of its rules. Where the count differs from the rule table's, other hands have
 * changed the chains, and they are to be asked.
 */
class TextIndex {
 public:
  /// Makes all that a rule with this text needs. @return false without memory; nothing has changed
  /// then
  bool Prepare(const char* text);

  /// Takes in the newest rule of the text that has been prepared last; none was taken out since.
  void Insert(void* rule);

  /// @return the newest rule with a text, or null
  void* Find(const char* text) const;

  /**
   * Takes out a rule that has left its chain.
   *
   * @param next_newest  (const char* text) -> the newest of the rules that remain, or null; asked
   *                     only if there is one
   */
  template <typename NextNewest>
  void Remove(const char* text, const void* rule, NextNewest next_newest) {
    const Place place = PlaceOf(text);
    if (place.number == 0) return;
    Text& kept = At(place.number);
    if (kept.older == 0 && kept.newest != rule) return;
    --rules_;
    if (kept.older == 0) return Drop(place);
    --kept.older;
    if (kept.newest != rule) return;
    kept.newest = next_newest(text);
    if (kept.newest == nullptr) Drop(place);
  }

  /// How many rules there are, those hidden behind newer ones too.
  uint32_t rules() const { return rules_; }

  /// Forgets all rules and gives the memory back.
  void Clear();

 private:
  /// A text's rules; the words of its key follow.
  struct alignas(uint64_t) Text {
    void* newest;
    uint32_t older;  // how many rules the newest hides
    uint16_t kind;   // of the key

    static size_t UnitsFor(uint16_t kind) {
      return UnitPool::UnitsFor(sizeof(Text) + TextKey::BytesOf(kind));
    }

    uint64_t* words() { return reinterpret_cast<uint64_t*>(this + 1); }
    const uint64_t* words() const { return reinterpret_cast<const uint64_t*>(this + 1); }
  };
  static_assert(sizeof(Text) <= 16, "a short option text shares a cache line with it");

  /// A text's hash, and the number of its copy: 0 if there is none.
  struct Place {
    uint32_t hash = 0;
    uint32_t number = 0;
  };

  Text& At(uint32_t number) const { return *static_cast<Text*>(pool_.At(number)); }
  Place PlaceOf(const TextKey& key) const;
  Place PlaceOf(const char* text) const;
  void DropFresh();
  void Drop(const Place& place);

  UnitPool pool_;       // of copies
  NumberTable texts_;   // their numbers
  Place prepared_;      // of the text that was prepared last
  uint32_t fresh_ = 0;  // its copy, if there was none; not taken in yet
  uint32_t rules_ = 0;
};

}  // namespace byod::data

#endif  // BYOD_DATA_TEXT_INDEX_H
