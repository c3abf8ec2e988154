// SPDX-License-Identifier: Apache-2.0
#include "evidence/host_patterns.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace byod::evidence {
namespace {

bool IsWildcard(char c) {
  return c == '*' || c == '?';
}

/// One of 64 bits for a byte. Letters and digits have one each.
uint64_t BitOf(char c) {
  const auto byte = static_cast<uint8_t>(c);
  if (byte >= 'a' && byte <= 'z') return uint64_t{1} << (byte - 'a');
  if (byte >= '0' && byte <= '9') return uint64_t{1} << (26 + byte - '0');
  return uint64_t{1} << (36 + byte % 28);
}

}  // namespace

// When the text behind a "*" does not match, the star takes one more byte. Only the last star needs
// this: what matched before it stays.
bool MatchesPattern(std::string_view text, std::string_view pattern) {
  constexpr size_t kNone = std::string_view::npos;
  size_t t = 0, p = 0, star = kNone, after_star = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      after_star = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
      ++p;
      ++t;
    } else if (star != kNone) {
      p = star + 1;
      t = ++after_star;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == kNone;
}

HostPatterns::Name::Name(std::string_view host_name, std::span<const uint8_t> mac)
    : size_(std::min(host_name.size(), sizeof folded_)), bytes_(0) {
  for (size_t i = 0; i < size_; ++i) {
    folded_[i] = static_cast<char>(FoldCase(host_name[i]));
    bytes_ |= BitOf(folded_[i]);
  }
  if (mac.size() == net::kMacSize) {
    net::MacAddress address;
    std::ranges::copy(mac, address.begin());
    address_ = net::MakePrefix(address, 48);
  }
}

bool HostPatterns::Name::Matches(const Prepared& prepared) const {
  const auto& block = prepared.pattern.block;
  if (block && !(address_ && block->Contains(*address_))) return false;
  return MatchesPattern({folded_, size_}, prepared.folded);
}

void HostPatterns::Add(HostPattern pattern, bool is_own) {
  std::string folded = Folded(pattern.rule.text);
  const auto literals =
      folded.size() - static_cast<size_t>(std::ranges::count_if(folded, IsWildcard));
  patterns_.push_back({std::move(pattern), std::move(folded), literals, is_own, patterns_.size()});
}

void HostPatterns::Arrange() {
  std::ranges::sort(patterns_, [](const Prepared& a, const Prepared& b) {
    const auto key = [](const Prepared& of) {
      return std::tuple(of.is_own, of.literals, of.pattern.block.has_value());
    };
    return key(a) != key(b) ? key(a) > key(b) : a.number < b.number;
  });
  begun_ = {};
  any_.clear();
  for (size_t rank = 0; rank < patterns_.size(); ++rank) {
    const std::string& folded = patterns_[rank].folded;
    uint64_t bytes = 0;
    for (const char c : folded)
      bytes |= IsWildcard(c) ? 0 : BitOf(c);
    auto& candidates =
        IsWildcard(folded.front()) ? any_ : begun_[static_cast<uint8_t>(folded.front())];
    candidates.push_back({bytes, rank});
  }
}

}  // namespace byod::evidence
