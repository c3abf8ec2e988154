// SPDX-License-Identifier: Apache-2.0
// Host names that match patterns such as "*-iphone" and "desktop-???????".
#ifndef BYOD_EVIDENCE_HOST_PATTERNS_H
#define BYOD_EVIDENCE_HOST_PATTERNS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "evidence/rule.h"
#include "net/prefix.h"

namespace byod::evidence {

/// Whether a whole text matches a pattern: "*" is any bytes, "?" is one, all others are themselves.
bool MatchesPattern(std::string_view text, std::string_view pattern);

/// A pattern that counts for terminals of a block of addresses only, if it has one.
struct HostPattern {
  Rule rule;
  std::optional<net::Prefix> block;
};

class HostPatterns {
 public:
  void Add(HostPattern pattern, bool is_own);

  /// To be called after the last Add: puts them in the order in which they are tried. An
  /// administrator's first, then the one with the most bytes that match themselves, then one with a
  /// block, then in the order in which they were added.
  void Arrange();

  size_t size() const { return patterns_.size(); }
  const HostPattern& operator[](size_t i) const { return patterns_[i].pattern; }

  /**
   * Hands over each rule that matches, until one is taken.
   *
   * @param mac   6 bytes, or none: then patterns with a block do not match
   * @param take  bool(const Rule&), whether to stop
   */
  template <typename Take>
  void Find(std::string_view host_name, std::span<const uint8_t> mac, Take take) const {
    const Name name(host_name, mac);
    // Those that begin with the name's first byte, and those that may begin with any, in order.
    const std::vector<Candidate>& begun = begun_[name.first()];
    for (size_t i = 0, j = 0; i < begun.size() || j < any_.size();) {
      const bool is_begun = j == any_.size() || (i < begun.size() && begun[i].rank < any_[j].rank);
      const Candidate& candidate = is_begun ? begun[i++] : any_[j++];
      if (!name.MayMatch(candidate)) continue;
      const Prepared& prepared = patterns_[candidate.rank];
      if (name.Matches(prepared) && take(prepared.pattern.rule)) return;
    }
  }

 private:
  struct Prepared {
    HostPattern pattern;
    std::string folded;
    size_t literals = 0;  // bytes that match themselves
    bool is_own = false;
    size_t number = 0;  // in the order in which they were added
  };
  /// What most patterns are passed over by.
  struct Candidate {
    uint64_t bytes;  // a bit for each byte that the name must have
    size_t rank;     // in patterns_
  };
  class Name {
   public:
    Name(std::string_view host_name, std::span<const uint8_t> mac);
    uint8_t first() const { return size_ > 0 ? static_cast<uint8_t>(folded_[0]) : uint8_t{0}; }
    bool MayMatch(const Candidate& candidate) const { return (candidate.bytes & ~bytes_) == 0; }
    bool Matches(const Prepared& prepared) const;

   private:
    char folded_[256];
    size_t size_;
    uint64_t bytes_;
    std::optional<net::Prefix> address_;
  };

  std::vector<Prepared> patterns_;
  std::array<std::vector<Candidate>, 256> begun_;  // by their first byte
  std::vector<Candidate> any_;                     // those that begin with "*" or "?"
};

}  // namespace byod::evidence

#endif  // BYOD_EVIDENCE_HOST_PATTERNS_H
