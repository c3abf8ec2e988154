// SPDX-License-Identifier: Apache-2.0
#include "evidence/option_lists.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <string>
#include <tuple>
#include <utility>

namespace byod::evidence {
namespace {

constexpr size_t kMaxOptions = 64;

/// Measures one list against others. A bit of a word stands for each of its options.
class Measure {
 public:
  /// @param options  at most kMaxOptions
  explicit Measure(std::span<const uint8_t> options) : size_(options.size()) {
    for (size_t i = 0; i < size_; ++i)
      places_[options[i]] |= uint64_t{1} << i;
  }

  /// The length of the longest common subsequence, by a row of its table at a time: a bit is 0
  /// where the length grows.
  size_t InCommon(std::span<const uint8_t> other) const {
    uint64_t row = ~uint64_t{0};
    for (const uint8_t option : other) {
      const uint64_t matches = row & places_[option];
      row = (row + matches) | (row - matches);
    }
    const uint64_t counted = size_ == kMaxOptions ? ~uint64_t{0} : (uint64_t{1} << size_) - 1;
    return static_cast<size_t>(std::popcount(~row & counted));
  }

 private:
  size_t size_;
  std::array<uint64_t, 256> places_ = {};
};

/// A bit for each option, which several options may share.
uint64_t SignatureOf(std::span<const uint8_t> options) {
  uint64_t signature = 0;
  for (const uint8_t option : options)
    signature |= uint64_t{1} << option % 64;
  return signature;
}

/// How many options two lists must have in common to be so similar.
size_t Needed(double similarity, size_t both_sizes) {
  return static_cast<size_t>(
      std::ceil(similarity * static_cast<double>(both_sizes) / 200.0 - 1e-9));
}

double Percent(size_t in_common, size_t a, size_t b) {
  return 200.0 * static_cast<double>(in_common) / static_cast<double>(a + b);
}

}  // namespace

std::vector<uint8_t> OptionsOf(std::string_view text) {
  std::vector<uint8_t> options;
  while (!text.empty()) {
    const size_t comma = std::min(text.find(','), text.size());
    uint8_t option = 0;
    std::from_chars(text.data(), text.data() + comma, option);
    options.push_back(option);
    text.remove_prefix(std::min(comma + 1, text.size()));
  }
  return options;
}

double SimilarityOf(std::span<const uint8_t> a, std::span<const uint8_t> b) {
  if (a.empty() || b.empty() || a.size() > kMaxOptions) return 0;
  return Percent(Measure(a).InCommon(b), a.size(), b.size());
}

void OptionLists::Add(Rule rule) {
  std::vector<uint8_t> options = OptionsOf(rule.text);
  if (options.size() > kMaxOptions) return;
  lists_.push_back({std::move(rule), std::move(options)});
}

void OptionLists::Arrange() {
  std::ranges::sort(lists_, {}, [](const List& list) {
    return std::tuple(list.options.size(), std::string_view{list.rule.text});
  });
  outlines_.clear();
  for (const List& list : lists_)
    outlines_.push_back({SignatureOf(list.options), list.options.size()});
}

// A list has at least as many options that are not in the other one as its signature has bits that
// the other's lacks. That bounds what both have in common, and so most lists are never compared.
Nearest OptionLists::Find(std::span<const uint8_t> options, double min_similarity) const {
  Nearest nearest;
  if (options.empty() || options.size() > kMaxOptions) return nearest;
  const Measure measure(options);
  const uint64_t signature = SignatureOf(options);
  const auto missing = [](uint64_t from, uint64_t other) {
    return static_cast<size_t>(std::popcount(from & ~other));
  };
  size_t needed = 0;
  size_t needed_of_size = 0;  // the size for which it was computed
  for (size_t i = 0; i < outlines_.size(); ++i) {
    const auto& [other, size] = outlines_[i];
    if (size != needed_of_size) {
      needed = Needed(std::max(min_similarity, nearest.similarity), options.size() + size);
      needed_of_size = size;
    }
    if (missing(other, signature) + needed > size ||
        missing(signature, other) + needed > options.size()) {
      continue;
    }
    const List& list = lists_[i];
    const size_t in_common = measure.InCommon(list.options);
    if (in_common < needed) continue;
    if (std::ranges::equal(list.options, options)) return {};
    Take(list, Percent(in_common, options.size(), size), nearest);
    needed_of_size = 0;  // more is needed from here on
  }
  return nearest;
}

/// @param similarity  at least that of the nearest one
void OptionLists::Take(const List& list, double similarity, Nearest& nearest) {
  const bool is_nearer = similarity > nearest.similarity;
  for (size_t field = 0; field < kFieldCount; ++field) {
    const std::string_view value = list.rule.Value(field);
    if (is_nearer) {
      nearest.values[field] = value;
    } else if (nearest.values[field] != value) {
      nearest.values[field] = {};
    }
  }
  if (is_nearer) nearest.rule = &list.rule;
  nearest.similarity = similarity;
}

}  // namespace byod::evidence
