// SPDX-License-Identifier: Apache-2.0
// Finding the first match in the User-Agent index. docs/performance.md, "User-Agent rules",
// explains the filters and has the figures.
#include <algorithm>
#include <cstring>

#include "data/user_agent/gram.h"
#include "data/user_agent/index.h"

namespace byod::data {
namespace {

/// One search through one string.
class Search {
 public:
  Search(const AnchorTable& anchors, const AlternativeTree& always, const char* ua)
      : anchors_(anchors), ua_(ua), length_(std::strlen(ua)) {
    always.VisitInOrder([this](const Alternative& first) { return Take(first); });
    std::memcpy(head_ + sizeof(Window), ua, std::min(length_, sizeof(Window)));
  }

  /// Looks for all anchors, block by block.
  void Run() {
    for (size_t start = 0; start < length_; start += kBlock) {
      anchors_.AnyShort() ? CollectPlaces<true>(start) : CollectPlaces<false>(start);
      CollectCandidates();
      for (size_t i = 0; i < candidate_count_; ++i)
        anchors_.Prefetch(candidates_[i].hash);
      for (size_t i = 0; i < candidate_count_; ++i) {
        const size_t end = candidates_[i].end;
        anchors_.VisitWindow(candidates_[i].hash, [&](const Term& term, const AnchorNote& note) {
          TryTerm(term, note, end);
        });
      }
    }
  }

  const ByodUserAgentRule* best() const { return best_; }

 private:
  static constexpr size_t kBlock = 256;
  static constexpr size_t kPlaces = kBlock / 2;
  static constexpr size_t kMaxCandidates = kPlaces * (4 + 9);  // for a gram, for a pair
  static constexpr size_t kRemembered = 64;

  /// A window that may be that of a term.
  struct Candidate {
    uint32_t hash;
    uint32_t end;  // behind it in the string
  };

  /// The even places of a block that the first filters pass, all without a branch that could be
  /// guessed wrong.
  template <bool kShort>
  void CollectPlaces(size_t start) {
    const size_t end = std::min(start + kBlock, length_);
    const size_t grams_end = length_ < 3 ? 0 : std::min(end, length_ - 2);
    size_t grams = 0;
    size_t pairs = 0;
    size_t place = start;
    // At the last places the text's NUL is read as well.
    for (; place < grams_end; place += 2) {
      gram_places_[grams] = static_cast<uint32_t>(place);
      grams += anchors_.MayBeGram(LoadGram(ua_ + place, sizeof(Gram)));
      if constexpr (kShort) {
        pair_places_[pairs] = static_cast<uint32_t>(place);
        pairs += anchors_.MayBePair(ua_[place], ua_[place + 1]);
      }
    }
    for (; kShort && place < end; place += 2) {
      pair_places_[pairs] = static_cast<uint32_t>(place);
      pairs += anchors_.MayBePair(ua_[place], ua_[place + 1]);
    }
    gram_count_ = grams;
    pair_count_ = pairs;
  }

  /// What may stand at those places, again without branches.
  void CollectCandidates() {
    candidate_count_ = 0;
    for (size_t i = 0; i < gram_count_; ++i) {
      // The last gram of a window begins here, or the one before it.
      const size_t place = gram_places_[i];
      for (const size_t end : {place + 3, place + 4}) {
        const Window window = WindowBefore(end);
        AddCandidate(window, end);
        AddCandidate(LastOf(window, 4), end);
      }
    }
    for (size_t i = 0; i < pair_count_; ++i) {
      // A short term begins here or one place before, or behind.
      const size_t place = pair_places_[i];
      for (size_t end = place + 1; end <= std::min(place + 3, length_); ++end) {
        const Window window = WindowBefore(end);
        for (size_t length = 1; length <= 3; ++length) {
          if (anchors_.AnyOfLength(length)) AddCandidate(LastOf(window, length), end);
        }
      }
    }
  }

  /// The eight bytes before a place, of which those before the string are NUL.
  Window WindowBefore(size_t end) const {
    return LoadWindow(end < sizeof(Window) ? head_ + end : ua_ + end - sizeof(Window),
                      sizeof(Window));
  }

  void AddCandidate(Window window, size_t end) {
    const uint32_t hash = HashOfWindow(window);
    candidates_[candidate_count_] = {hash, static_cast<uint32_t>(end)};
    candidate_count_ += anchors_.MayBeWindow(hash);
  }

  /// Looks whether an anchor stands where its window was met, and if so, tries the alternatives
  /// that it anchors.
  void TryTerm(const Term& term, const AnchorNote& note, size_t window_end) {
    const size_t begin = window_end - note.window_end;
    if (window_end < note.window_end || begin + note.length > length_) return;
    if (ua_[begin] != note.first) return;
    if (!note.MayEndWith(ua_[begin + note.length - 1])) return;
    if (std::memcmp(ua_ + begin, term.text(), note.length) != 0) return;
    term.anchored.VisitInOrder([this](const Alternative& a) {
      if (a.label >= label_) return false;
      return Matches(a) ? Take(a) : true;
    });
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

  /// @return false: no alternative behind this one is better
  bool Take(const Alternative& alternative) {
    label_ = alternative.label;
    best_ = alternative.rule;
    return false;
  }

  const AnchorTable& anchors_;
  const char* ua_;
  size_t length_;
  const ByodUserAgentRule* best_ = nullptr;
  uint64_t label_ = UINT64_MAX;         // of the best; no rule has it
  char head_[2 * sizeof(Window)] = {};  // the string's first bytes behind as many NUL

  uint32_t gram_places_[kPlaces];
  uint32_t pair_places_[kPlaces];
  size_t gram_count_;
  size_t pair_count_;
  Candidate candidates_[kMaxCandidates];
  size_t candidate_count_;

  bool remembering_ = false;
  const Term* remembered_[kRemembered];
  bool occurs_[kRemembered];
};

}  // namespace

const ByodUserAgentRule* UserAgentIndex::Find(const char* ua) const {
  Search search(anchors_, always_, ua);
  if (!anchors_.empty()) search.Run();
  return search.best();
}

}  // namespace byod::data
