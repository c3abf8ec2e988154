// Where in a string one of many short byte sequences begins.
#ifndef BYOD_DATA_GRAM_TABLE_H
#define BYOD_DATA_GRAM_TABLE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "data/open_table.h"

namespace byod::data {

/// One, two or four bytes of a text as one number. No text contains a NUL, so grams of different
/// widths differ.
using Gram = uint32_t;

inline Gram LoadGram(const char* text, size_t width) {
  if (width == 1) return static_cast<uint8_t>(*text);
  if (width == 2) {
    uint16_t two;
    std::memcpy(&two, text, sizeof two);
    return two;
  }
  uint32_t four;
  std::memcpy(&four, text, sizeof four);
  return four;
}

/// Different grams have different hashes, as the factor is odd.
constexpr uint32_t HashOfGram(Gram gram) {
  return gram * 0x9E3779B1u;
}

/**
 * A table of items by grams, with a filter of bits in front: most places of most
 * strings are dismissed by the one bit that their hash names. Bits and slots are named by the same
 * hash, the slots by fewer of its bits, so all that share a bit stand in one run of slots.
 */
class GramTable {
 public:
  using Slot = OpenTable::Slot;

  /// @return false without memory; nothing has changed then
  bool Reserve(size_t more);

  /// Room is reserved.
  void Insert(Gram gram, void* item, uint32_t note);
  /// Takes out the item of this gram and note, which is there.
  void Erase(Gram gram, const void* item, uint32_t note);
  void Clear();

  /// How many items have a gram. Room has been reserved.
  size_t Count(Gram gram) const;

  /// Only for a table in which room has been reserved.
  struct Filter {
    const uint32_t* bits;
    uint32_t shift;

    bool Passes(uint32_t hash) const {
      const uint32_t bit = hash >> shift;
      return (bits[bit / 32] >> bit % 32 & 1) != 0;
    }
  };
  Filter filter() const { return {filter_, shift_}; }

  /// Calls visit(slot) for every item with a gram.
  template <typename Visit>
  void VisitGram(Gram gram, Visit visit) const {
    table_.Find(HashOfGram(gram), [&](const Slot& slot) {
      visit(slot);
      return false;
    });
  }

  size_t bytes() const { return table_.bytes() + FilterWords() * sizeof *filter_; }

 private:
  size_t FilterWords() const { return filter_ == nullptr ? 0 : size_t{1} << (32 - shift_) >> 5; }
  void Set(uint32_t hash);

  OpenTable table_;
  uint32_t* filter_ = nullptr;
  uint32_t shift_ = 0;  // 32 less the bits that name a bit
};

}  // namespace byod::data

#endif  // BYOD_DATA_GRAM_TABLE_H
