// Finding the first match in the User-Agent index.
#include <algorithm>
#include <bit>
#include <cstring>

#include "data/user_agent_index.h"

namespace byod::data {
namespace {

/// One search through one string.
class Search {
 public:
  Search(const GramTable& grams, const Alternative* always, const char* ua)
      : grams_(grams), ua_(ua), length_(std::strlen(ua)) {
    if (always != nullptr) Take(*always);
  }

  /// Looks for the terms that have grams of a width, at every step-th place.
  template <size_t Width, size_t Step>
  void Run() {
    for (size_t start = 0; start + Width <= length_; start += kBlock)
      RunBlock<Width, Step>(start, std::min(start + kBlock, length_ - Width + 1));
  }

  const ByodUserAgentRule* best() const { return best_; }

 private:
  static constexpr size_t kBlock = 256;
  static constexpr size_t kRemembered = 64;

  template <size_t Width, size_t Step>
  void RunBlock(size_t start, size_t end) {
    // First the places that pass the filter, all without a branch that could be guessed wrong.
    const GramTable::Filter filter = grams_.filter();
    uint32_t passed[kBlock / Step];
    size_t count = 0;
    for (size_t place = start; place < end; place += Step) {
      passed[count] = static_cast<uint32_t>(place - start);
      count += filter.Passes(HashOfGram(LoadGram(ua_ + place, Width)));
    }
    for (size_t i = 0; i < count; ++i) {
      const size_t place = start + passed[i];
      grams_.VisitGram(LoadGram(ua_ + place, Width),
                       [&](const GramTable::Slot& slot) { TryTerm(slot, place); });
    }
  }

  /// Looks whether an anchor stands where one of its grams was met, and if so, at what hangs on it.
  void TryTerm(const GramTable::Slot& slot, size_t place) {
    const auto note = std::bit_cast<GramNote>(slot.note);
    const size_t begin = place - note.offset;
    if (place < note.offset || begin + note.length > length_) return;
    if (ua_[begin] != note.first || ua_[begin + note.length - 1] != note.last) return;
    const auto& term = *static_cast<const Term*>(slot.item);
    if (std::memcmp(ua_ + begin, term.text(), note.length) != 0) return;
    for (const Alternative* a = term.anchored; a != nullptr && a->label < label_; a = a->next) {
      if (Matches(*a)) return Take(*a);
    }
  }

  bool Matches(const Alternative& alternative) {
    for (uint32_t i = 0; i < alternative.term_count; ++i) {
      const Term& term = *alternative.terms[i];
      if (&term != alternative.anchor && !Contains(term)) return false;
    }
    return true;
  }

  /// Whether a term occurs anywhere. What was found out of one is remembered.
  bool Contains(const Term& term) {
    if (!remembering_) {
      std::fill_n(remembered_, kRemembered, nullptr);
      remembering_ = true;
    }
    const size_t place = term.hash % kRemembered;
    if (remembered_[place] != &term) {
      remembered_[place] = &term;
      occurs_[place] = std::strstr(ua_, term.text()) != nullptr;
    }
    return occurs_[place];
  }

  void Take(const Alternative& alternative) {
    label_ = alternative.label;
    best_ = alternative.rule;
  }

  const GramTable& grams_;
  const char* ua_;
  size_t length_;
  const ByodUserAgentRule* best_ = nullptr;
  uint64_t label_ = UINT64_MAX;  // of the best; no rule has it
  bool remembering_ = false;
  const Term* remembered_[kRemembered];
  bool occurs_[kRemembered];
};

}  // namespace

const ByodUserAgentRule* UserAgentIndex::Find(const char* ua) const {
  Search search(grams_, always_, ua);
  if (anchors_[2] != 0) search.Run<4, 2>();
  if (anchors_[1] != 0) search.Run<2, 1>();
  if (anchors_[0] != 0) search.Run<1, 1>();
  return search.best();
}

}  // namespace byod::data
