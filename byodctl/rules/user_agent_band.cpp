// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/user_agent_band.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "byodctl/failure.h"
#include "data/fold_case.h"
#include "lint/expression.h"
#include "rulefiles/diagnostics.h"

namespace byod::ctl {
namespace {

using Lengths = std::array<size_t, kBandEnd + 1>;

constexpr std::string_view kSeparators = "|&";

bool MatchesEverything(std::string_view expression) {
  return std::ranges::any_of(lint::AlternativesOf(expression), &lint::Terms::empty);
}

/// Equal for keys that the daemon takes for the same rule.
std::string Folded(std::string_view key) {
  std::string folded;
  folded.reserve(key.size());
  for (const char c : key)
    folded += static_cast<char>(FoldCase(c));
  return folded;
}

/// The '&' at the end of the plain text: an odd number when the priority was given.
size_t CountOfMarks(std::string_view key) {
  const size_t end = key.find_last_not_of('|') + 1;
  return end - (key.find_last_not_of(kSeparators) + 1);
}

bool HasGivenPriority(std::string_view key) {
  return CountOfMarks(key) % 2 == 1;
}

/// The free length between two others that is nearest, the longer one of two.
std::optional<size_t> NearestFree(const Lengths& taken, size_t desired, size_t low, size_t high) {
  for (size_t distance = 0; distance <= kMaxPriority; ++distance) {
    for (const size_t length : {desired + distance, desired - distance}) {
      if (length > low && length < high && taken[length] == 0) return length;
    }
  }
  return std::nullopt;
}

}  // namespace

std::string PlainText(std::string_view key) {
  if (MatchesEverything(key)) return std::string{key};
  return std::string{key.substr(0, key.find_last_not_of(kSeparators) + 1)};
}

bool IsLengthened(std::string_view plain_text) {
  return plain_text.size() < kBandStart && !MatchesEverything(plain_text);
}

std::optional<unsigned> PriorityOf(std::string_view key) {
  const std::string text = PlainText(key);
  if (key.size() < kBandStart || !IsLengthened(text)) return std::nullopt;
  return static_cast<unsigned>(HasGivenPriority(key) ? key.size() - kBandStart : text.size());
}

bool IsBelowBand(std::string_view key) {
  return key.size() < kBandStart && IsLengthened(key);
}

// ---------------------------------------------------------------- the rules of the band

bool UserAgentBand::IsWeaker::operator()(const std::string& a, const std::string& b) const {
  if (a.size() != b.size()) return a.size() < b.size();
  return a > b;
}

void UserAgentBand::Add(const std::string& key, bool may_move) {
  const std::string text = PlainText(key);
  const bool is_placed = PriorityOf(key).has_value() && !HasGivenPriority(key);
  if (may_move && is_placed && !movable_.contains(text)) {
    PutMovable(text, {key, key});
  } else {
    PutFixed(text, {key, key});
  }
}

void UserAgentBand::Remove(const std::string& key) {
  const std::string text = PlainText(key);
  const auto movable = movable_.find(text);
  if (movable != movable_.end() && movable->second.key == key) movable_.erase(movable);
  std::erase_if(fixed_, [&](const auto& rule) { return rule.second.key == key; });
  Forget(key);
}

bool UserAgentBand::Has(const std::string& key) const {
  return keys_.contains(Folded(key));
}

const UserAgentBand::Entry* UserAgentBand::FindEntry(const std::string& text) const {
  const auto movable = movable_.find(text);
  const Entry* found = movable != movable_.end() ? &movable->second : nullptr;
  const auto [begin, end] = fixed_.equal_range(text);
  for (auto fixed = begin; fixed != end; ++fixed) {
    const Entry& entry = fixed->second;
    if (found == nullptr || entry.key.size() > found->key.size()) found = &entry;
  }
  return found;
}

const std::string* UserAgentBand::Find(std::string_view plain_text) const {
  const Entry* const entry = FindEntry(std::string{plain_text});
  return entry != nullptr ? &entry->key : nullptr;
}

std::optional<std::string> UserAgentBand::FormerKeyOf(std::string_view plain_text) const {
  const Entry* const entry = FindEntry(std::string{plain_text});
  if (entry == nullptr || entry->former.empty() || entry->former == entry->key) return std::nullopt;
  return entry->former;
}

/// Takes the rule out that Find finds.
std::optional<UserAgentBand::Entry> UserAgentBand::Take(const std::string& text) {
  const std::string* const key = Find(text);
  if (key == nullptr) return std::nullopt;
  Forget(*key);
  const auto movable = movable_.find(text);
  if (movable != movable_.end() && &movable->second.key == key) {
    return std::move(movable_.extract(movable).mapped());
  }
  auto fixed = fixed_.lower_bound(text);
  while (&fixed->second.key != key)
    ++fixed;
  return std::move(fixed_.extract(fixed).mapped());
}

std::vector<UserAgentBand::Move> UserAgentBand::Moves() const {
  std::vector<Move> moves;
  const auto add = [&](const auto& rules) {
    for (const auto& [text, rule] : rules) {
      if (!rule.former.empty() && rule.former != rule.key) moves.push_back({rule.former, rule.key});
    }
  };
  add(movable_);
  add(fixed_);
  return moves;
}

const std::string* UserAgentBand::SharesLength(const std::string& key) const {
  if (lengths_[key.size()] < 2) return nullptr;
  const auto find = [&](const auto& rules) -> const std::string* {
    const auto found = std::ranges::find_if(rules, [&](const auto& rule) {
      return rule.second.key.size() == key.size() && rule.second.key != key;
    });
    return found != rules.end() ? &found->second.key : nullptr;
  };
  const std::string* const movable = find(movable_);
  return movable != nullptr ? movable : find(fixed_);
}

void UserAgentBand::Place(const std::string& expression, std::optional<unsigned> priority) {
  const std::string text = PlainText(expression);
  if (const std::string* const key = Find(text)) {
    if (!IsBelowBand(*key) && (!priority || priority == PriorityOf(*key))) return;
  }
  Entry entry = Take(text).value_or(Entry());
  if (!IsLengthened(text)) {
    entry.key = text;
    PutFixed(text, std::move(entry));
  } else if (!priority || *priority == text.size()) {
    PlaceMovable(text, std::move(entry));
  } else {
    PlaceFixed(text, std::move(entry), kBandStart + *priority);
  }
}

/// A given priority is kept to the letter; a rule that has this length by chance gives way.
void UserAgentBand::PlaceFixed(const std::string& text, Entry entry, size_t length) {
  const auto other = std::ranges::find_if(
      movable_, [&](const auto& rule) { return rule.second.key.size() == length; });
  Movable::node_type displaced;
  if (other != movable_.end()) {
    displaced = movable_.extract(other);
    Forget(displaced.mapped().key);
  }
  entry.key = UnusedKey(text, true, length);
  PutFixed(text, std::move(entry));
  if (!displaced.empty()) PlaceMovable(displaced.key(), std::move(displaced.mapped()));
}

void UserAgentBand::PlaceMovable(const std::string& text, Entry entry) {
  const auto above = movable_.lower_bound(text);
  const size_t high = above != movable_.end() ? above->second.key.size() : kBandEnd + 1;
  const size_t low =
      above != movable_.begin() ? std::prev(above)->second.key.size() : kBandStart - 1;
  auto length = NearestFree(lengths_, kBandStart + text.size(), low, high);
  if (!length) {
    if (Spread(text, entry)) return;
    length = LengthToShare(text);
  }
  entry.key = UnusedKey(text, false, *length);
  PutMovable(text, std::move(entry));
}

/// Moves rules so that each has a length to itself, as near to its own as the order permits.
/// @return false, with nothing changed, if there are more rules than lengths
bool UserAgentBand::Spread(const std::string& added, Entry& entry) {
  Lengths fixed = {};
  for (const auto& [text, rule] : fixed_)
    ++fixed[rule.key.size()];
  std::vector<size_t> lengths;
  for (size_t length = kBandStart; length <= kBandEnd; ++length) {
    if (fixed[length] == 0) lengths.push_back(length);
  }
  if (movable_.size() + 1 > lengths.size()) return false;

  Movable rules = std::exchange(movable_, {});
  for (const auto& [text, rule] : rules)
    Forget(rule.key);
  rules.emplace(added, std::move(entry));
  // Upwards: from its own length on, behind the one before it. Then down from the end, where that
  // was too far.
  std::vector<size_t> places;
  for (const auto& [text, rule] : rules) {
    const auto own = std::ranges::lower_bound(lengths, kBandStart + text.size());
    const auto place = static_cast<size_t>(own - lengths.begin());
    places.push_back(places.empty() ? place : std::max(place, places.back() + 1));
  }
  size_t end = lengths.size();
  for (size_t i = places.size(); i-- > 0;) {
    places[i] = std::min(places[i], end - 1);
    end = places[i];
  }
  size_t i = 0;
  for (auto& [text, rule] : rules) {
    rule.key = UnusedKey(text, false, lengths[places[i++]]);
    PutMovable(text, std::move(rule));
  }
  return true;
}

/// Of rules of one length the first in byte order wins, so a rule may share that of a text of the
/// same length; else that of a neighbour, so that all others stay on their side.
size_t UserAgentBand::LengthToShare(const std::string& text) const {
  const auto above = movable_.lower_bound(text);
  const auto below = above != movable_.begin() ? std::prev(above) : movable_.end();
  const auto is_of_one_length = [&](Movable::const_iterator other) {
    return other != movable_.end() && other->first.size() == text.size();
  };
  const bool is_first = below != movable_.end() && text < below->first;
  if (is_of_one_length(below) || (is_first && !is_of_one_length(above))) {
    return below->second.key.size();
  }
  if (above != movable_.end()) return above->second.key.size();
  return below != movable_.end() ? below->second.key.size() : kBandStart + text.size();
}

/// The text, '&' if the priority was given, then '|'. The daemon takes two keys for the same rule
/// that differ in case alone: two more '&' distinguish them.
std::string UserAgentBand::UnusedKey(const std::string& text, bool is_given, size_t length) const {
  for (size_t marks = is_given ? 1 : 0; text.size() + marks <= length; marks += 2) {
    std::string key = text + std::string(marks, '&');
    key.resize(length, '|');
    if (!keys_.contains(Folded(key))) return key;
  }
  throw Failure(kExitRefused, "the rule " + rulefiles::Quoted(text) +
                                  " differs from another one of this priority in case alone");
}

void UserAgentBand::PutFixed(const std::string& text, Entry entry) {
  keys_.insert(Folded(entry.key));
  ++lengths_[entry.key.size()];
  fixed_.emplace(text, std::move(entry));
}

void UserAgentBand::PutMovable(const std::string& text, Entry entry) {
  keys_.insert(Folded(entry.key));
  ++lengths_[entry.key.size()];
  movable_.emplace(text, std::move(entry));
}

void UserAgentBand::Forget(const std::string& key) {
  if (keys_.erase(Folded(key)) > 0) --lengths_[key.size()];
}

}  // namespace byod::ctl
