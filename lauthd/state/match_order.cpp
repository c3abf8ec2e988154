// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/match_order.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>
#include <vector>

#include "data/containers/tiered_array.h"
#include "data/user_agent/first_match.h"
#include "lauthd/state/rule_cursor.h"

namespace byod::lauthd {
namespace {

using Rule = ByodUserAgentRule;
using Rules = std::vector<Rule*>;

Rule* RuleOf(ByodLink* link) {
  if (link == nullptr) return nullptr;
  return reinterpret_cast<Rule*>(reinterpret_cast<char*>(link) - offsetof(Rule, match_link));
}

Rule* First() {
  return RuleOf(*BYOD_data_GetUserAgentRuleMatchList());
}

Rule* After(const Rule& rule) {
  return RuleOf(rule.match_link.next);
}

Rule* Before(const Rule& rule) {
  ByodLink** const place = rule.match_link.prev;
  if (place == nullptr || place == BYOD_data_GetUserAgentRuleMatchList()) return nullptr;
  // A link begins with its next, so this is where the link before stands.
  static_assert(offsetof(ByodLink, next) == 0);
  return RuleOf(reinterpret_cast<ByodLink*>(place));
}

/// A withdrawn rule keeps its place, as it may be reinstated.
bool IsCustom(const Rule* rule) {
  return rule->origin == BYOD_RULE_CUSTOM || IsWithdrawn(*rule);
}

/// Whether a rule belongs before another of its length. Predefined rules keep the order they have.
bool BelongsBefore(const Rule* a, const Rule* b) {
  if (IsCustom(a) != IsCustom(b)) return IsCustom(a);
  return IsCustom(a) && std::strcmp(a->keyword, b->keyword) < 0;
}

/// The rules of one length, as they stand in the list.
struct Class {
  size_t start = 0;  // rules of longer expressions
  Rules rules;
};

/// @return where among the rules of its length the library puts one more
size_t Landing(uint64_t count, size_t start, size_t size) {
  for (uint64_t first = 1, last = count; first <= last;) {
    const uint64_t middle = (first + last) / 2;
    if (middle <= start) {
      first = middle + 1;
    } else if (middle > start + size) {
      last = middle - 1;
    } else {
      return static_cast<size_t>(middle) - start;
    }
  }
  return 0;
}

/// A part of a class that is to be added again, and how.
struct Plan {
  size_t first;                 // of the class's rules, the first that moves
  size_t last;                  // behind the last one
  std::vector<uint32_t> order;  // for each of these, how many are added before it
};

/// Numbers, into whose middle another one goes without moving all that are behind it.
class NumberList {
 public:
  explicit NumberList(size_t room) {
    if (numbers_.Reserve(room)) return;
    numbers_.Clear();  // a part of the room may have been made
    throw std::bad_alloc();
  }
  ~NumberList() { numbers_.Clear(); }
  NumberList(const NumberList&) = delete;
  NumberList& operator=(const NumberList&) = delete;

  size_t size() const { return numbers_.size(); }
  uint32_t operator[](size_t index) const { return numbers_[index]; }
  void Insert(size_t index, uint32_t number) { numbers_.Insert(index, number); }

 private:
  data::TieredArray<uint32_t> numbers_;
};

/**
 * Follows what the library does when rules are added to a class.
 *
 * @param gaps  gets, for each new rule in the order of the list, how many of the old ones stand
 *              before it
 * @return for each new rule in the order of the list, how many were added before it
 */
std::vector<uint32_t> Follow(const Class& present, size_t added, std::vector<size_t>& gaps) {
  constexpr uint32_t kOld = UINT32_MAX;
  NumberList list(present.rules.size() + added);
  for (size_t i = 0; i < present.rules.size(); ++i)
    list.Insert(i, kOld);
  uint64_t count = BYOD_data_GetUserAgentRuleCount();
  for (uint32_t i = 0; i < added; ++i)
    list.Insert(Landing(count++, present.start, list.size()), i);
  std::vector<uint32_t> order;
  gaps.clear();
  size_t old = 0;
  for (size_t i = 0; i < list.size(); ++i) {
    if (list[i] == kOld) {
      ++old;
    } else {
      order.push_back(list[i]);
      gaps.push_back(old);
    }
  }
  return order;
}

/// Finds the rules that have to be added again. What stays must stand outside of where the library
/// puts them.
Plan MakePlan(const Class& present, const Rules& wanted) {
  const auto differs = [&](size_t i) { return present.rules[i] != wanted[i]; };
  Plan plan = {0, wanted.size(), {}};
  while (plan.first < plan.last && !differs(plan.first))
    ++plan.first;
  while (plan.last > plan.first && !differs(plan.last - 1))
    --plan.last;
  if (plan.first == plan.last) return plan;
  std::vector<size_t> gaps;
  for (;;) {
    plan.order = Follow(present, plan.last - plan.first, gaps);
    if (gaps.front() >= plan.first && gaps.back() <= plan.last) return plan;
    plan.first = std::min(plan.first, gaps.front());
    plan.last = std::max(plan.last, gaps.back());
  }
}

Rule* Add(const Rule& original) {
  Rule* const copy = BYOD_data_AllocUserAgentRule();
  if (copy == nullptr) return nullptr;
  copy->origin = original.origin;
  copy->modified = original.modified;
  std::memcpy(copy->keyword, original.keyword, sizeof copy->keyword);
  if (BYOD_AddUserAgentRule(copy) == 0) return copy;
  BYOD_data_FreeUserAgentRule(copy);
  return nullptr;
}

/// Adds copies, without information, of all these rules in their order. @return none without memory
Rules AddAll(const Rules& originals) {
  // Those of the administrator do not become more: they must not meet the limit.
  uint32_t& custom_count = BYOD_data_GetUserAgentRuleTbl()->custom_count;
  const auto custom = static_cast<uint32_t>(std::ranges::count(
      originals, uint32_t{BYOD_RULE_CUSTOM}, [](const Rule* rule) { return rule->origin; }));
  Rules copies;
  copies.reserve(originals.size());
  custom_count -= custom;
  for (const Rule* const original : originals) {
    Rule* const copy = Add(*original);
    if (copy == nullptr) {
      for (Rule* const made : copies)
        BYOD_DeleteUserAgent(made);
      copies.clear();
      break;
    }
    copies.push_back(copy);
  }
  custom_count += custom;
  return copies;
}

/// A copy takes its original's place.
void Supplant(Rule* original, Rule* copy) {
  copy->predefined = std::exchange(original->predefined, nullptr);
  copy->configured = std::exchange(original->configured, nullptr);
  RuleCursor<UserAgentKind>::Move(original, copy);
  UserAgentKind::Configured().Move(*original, *copy);
  BYOD_DeleteUserAgent(original);
}

/// @return the rules as they belong
Rules InOrder(const Rules& rules) {
  Rules ordered;
  ordered.reserve(rules.size());
  std::ranges::copy_if(rules, std::back_inserter(ordered), IsCustom);
  std::ranges::sort(ordered, BelongsBefore);
  std::ranges::remove_copy_if(rules, std::back_inserter(ordered), IsCustom);
  return ordered;
}

/// The copies are in the table before an original goes: nothing is changed without memory.
bool Arrange(const Class& present) {
  const Rules wanted = InOrder(present.rules);
  const Plan plan = MakePlan(present, wanted);
  if (plan.order.empty()) return true;
  Rules originals(plan.order.size());
  for (size_t i = 0; i < originals.size(); ++i)
    originals[plan.order[i]] = wanted[plan.first + i];
  const Rules copies = AddAll(originals);
  if (copies.empty()) return false;
  for (size_t i = 0; i < copies.size(); ++i)
    Supplant(originals[i], copies[i]);
  return true;
}

bool Stands(const Rule& rule) {
  const size_t length = std::strlen(rule.keyword);
  const Rule* const before = Before(rule);
  const Rule* const after = After(rule);
  return (before == nullptr || std::strlen(before->keyword) != length ||
          !BelongsBefore(&rule, before)) &&
         (after == nullptr || std::strlen(after->keyword) != length ||
          !BelongsBefore(after, &rule));
}

/// @return the class of the rule at a place, of which it is the first; rule becomes the one behind
Class TakeClass(Rule*& rule, size_t start) {
  Class taken = {start, {}};
  const size_t length = std::strlen(rule->keyword);
  for (; rule != nullptr && std::strlen(rule->keyword) == length; rule = After(*rule))
    taken.rules.push_back(rule);
  return taken;
}

bool ArrangeAll() {
  bool arranged = true;
  size_t start = 0;
  for (Rule* rule = First(); rule != nullptr;) {
    const Class present = TakeClass(rule, start);
    if (!std::ranges::is_sorted(present.rules, BelongsBefore)) arranged &= Arrange(present);
    start += present.rules.size();
  }
  return arranged;
}

bool ArrangeClassOf(Rule& added) {
  if (Stands(added) || data::SettleInLibrary(added, BelongsBefore)) return true;
  const size_t length = std::strlen(added.keyword);
  size_t start = 0;
  Rule* rule = First();
  for (; std::strlen(rule->keyword) != length; rule = After(*rule))
    ++start;
  return Arrange(TakeClass(rule, start));
}

}  // namespace

bool ArrangeMatchList() {
  if (BYOD_data_GetUserAgentRuleTbl()->custom_count == 0) return true;
  try {
    return ArrangeAll();
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool ArrangeMatchList(ByodUserAgentRule& added) {
  try {
    return ArrangeClassOf(added);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace byod::lauthd
