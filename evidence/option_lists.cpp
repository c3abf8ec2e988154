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
}

Nearest OptionLists::Find(std::span<const uint8_t> options, double min_similarity) const {
  Nearest nearest;
  if (options.empty() || options.size() > kMaxOptions) return nearest;
  const Measure measure(options);
  // Even if all of the shorter list is in the longer one, their lengths bound the similarity.
  const double share = min_similarity / (200.0 - min_similarity);
  const auto size = static_cast<double>(options.size());
  const auto length_of = [](const List& list) { return static_cast<double>(list.options.size()); };
  const auto first = std::ranges::lower_bound(lists_, size * share - 1e-9, {}, length_of);
  for (auto list = first; list != lists_.end() && length_of(*list) * share <= size + 1e-9; ++list) {
    const size_t in_common = measure.InCommon(list->options);
    const double similarity = Percent(in_common, options.size(), list->options.size());
    if (similarity < min_similarity || similarity < nearest.similarity) continue;
    if (std::ranges::equal(list->options, options)) return {};
    const bool is_nearer = similarity > nearest.similarity;
    for (size_t field = 0; field < kFieldCount; ++field) {
      const std::string_view value = list->rule.Value(field);
      if (is_nearer) {
        nearest.values[field] = value;
      } else if (nearest.values[field] != value) {
        nearest.values[field] = {};
      }
    }
    if (is_nearer) nearest.rule = &list->rule;
    nearest.similarity = similarity;
  }
  return nearest;
}

}  // namespace byod::evidence
