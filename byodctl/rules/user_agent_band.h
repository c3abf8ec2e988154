// SPDX-License-Identifier: Apache-2.0
// Where an administrator's User-Agent rules are stored, so that they win over predefined ones.
//
// Of all expressions that match, the longest decides, and predefined ones have up to 127 bytes.
// An administrator's shorter expression is therefore stored longer than people write it: with
// separators at its end, which the matching ignores, so that it has 128 to 255 bytes.
//
//     SM-G960F||||||||||...   136 bytes: 128 and its own 8, so that the more specific rule wins
//     SM-G960F&|||||||||...   128 + N bytes: the administrator gave the priority N
//
// People see and write the plain text, that is the key without separators at its end. An expression
// with an alternative that matches everything, such as "&&", is stored as it is, and so is one of
// 128 bytes and more, which is in the band already.
#ifndef BYODCTL_RULES_USER_AGENT_BAND_H
#define BYODCTL_RULES_USER_AGENT_BAND_H

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "rulefiles/rule_file.h"

namespace byod::ctl {

/// The shortest stored key in the band, and the longest; a priority is what a key exceeds it by.
constexpr size_t kBandStart = rulefiles::kMaxPredefinedExpression + 1;
constexpr size_t kBandEnd = 255;
using rulefiles::kMaxPriority;
static_assert(kBandStart + kMaxPriority == kBandEnd);

/// The text as people write it, of a key of a custom rule or of an expression.
std::string PlainText(std::string_view key);

/// Whether a rule of this plain text is stored by a longer key, and so has a priority.
bool IsLengthened(std::string_view plain_text);

/// The priority that an administrator gave, else the length of the plain text; nothing for a key
/// that was not lengthened.
std::optional<unsigned> PriorityOf(std::string_view key);

/// Whether a custom rule with this key loses against predefined rules that are longer: it was
/// stored by a program that does not lengthen keys.
bool IsBelowBand(std::string_view key);

/**
 * The keys of all custom rules, and where others find their place among them.
 *
 * Among rules without a given priority the one with the longer text is the longer one, and of two
 * texts of one length the first in byte order. Their lengths differ as long as there are free ones:
 * a new rule takes the free length that is nearest to its own within this order, and where there is
 * none the others move.
 */
class UserAgentBand {
 public:
  /// A rule whose key changes.
  struct Move {
    std::string from;
    std::string to;
  };

  /// @param may_move  not when the rule is not in effect
  void Add(const std::string& key, bool may_move);
  void Remove(const std::string& key);

  bool Has(const std::string& key) const;
  /// @return the key of the rule with this plain text, the longest one if there are several
  const std::string* Find(std::string_view plain_text) const;
  /// @return the key with which that rule was added, if it has another one now; else nothing
  std::optional<std::string> FormerKeyOf(std::string_view plain_text) const;

  /**
   * Gives a rule its place, and keeps it if it has one in the band and no other priority is given.
   *
   * @param priority  at most kMaxPriority; nothing = that of the rule, or the length of the text
   * @param text      with kBandStart bytes and more, or matching everything, it stays as it is
   */
  void Place(const std::string& text, std::optional<unsigned> priority);

  /// The rules that were added and have another key now.
  std::vector<Move> Moves() const;

  /// Another rule with a key of the same length; null if there is none.
  const std::string* SharesLength(const std::string& key) const;

 private:
  struct Entry {
    std::string key;
    std::string former;  // the key with which it was added; empty for a new rule
  };
  /// The weaker of two texts first.
  struct IsWeaker {
    bool operator()(const std::string& a, const std::string& b) const;
  };
  using Movable = std::map<std::string, Entry, IsWeaker>;

  const Entry* FindEntry(const std::string& text) const;
  std::optional<Entry> Take(const std::string& text);
  void PlaceFixed(const std::string& text, Entry entry, size_t length);
  void PlaceMovable(const std::string& text, Entry entry);
  bool Spread(const std::string& text, Entry& entry);
  size_t LengthToShare(const std::string& text) const;
  std::string UnusedKey(const std::string& text, bool is_given, size_t length) const;
  void PutFixed(const std::string& text, Entry entry);
  void PutMovable(const std::string& text, Entry entry);
  void Forget(const std::string& key);

  Movable movable_;                                // by their plain texts
  std::multimap<std::string, Entry> fixed_;        // by their plain texts; others do not move them
  std::array<size_t, kBandEnd + 1> lengths_ = {};  // how many keys have this length
  std::set<std::string> keys_;                     // of all, in lower case
};

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_USER_AGENT_BAND_H
