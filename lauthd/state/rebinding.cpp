// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/rebinding.h"

#include <algorithm>
#include <map>
#include <new>
#include <utility>

#include "lauthd/state/rule_state.h"
#include "lauthd/state/store.h"
#include "lauthd/state/stored_name.h"
#include "rulefiles/rule_file.h"

namespace byod::lauthd {
namespace {

/// A key as people, and the catalogue, write it.
template <typename Kind>
std::string TextOf(const typename Kind::Key& key) {
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    return Kind::Describe(key);
  } else {
    return key.text;
  }
}

template <typename Kind>
typename Kind::Rule* FindByText(const std::string& text) {
  if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
    rulefiles::MacRule made;
    if (!rulefiles::MakeMacRule(text, "", {}, made).empty()) return nullptr;
    ByodMacRule key = {};
    std::ranges::copy(made.prefix.Mac(), key.mac);
    std::ranges::copy(made.prefix.Mask(), key.mask);
    return Kind::Find(key);
  } else {
    return Kind::Find(Kind::KeyOf(text.c_str()));
  }
}

/// Which modification goes to which rule.
template <typename Kind>
using Taken = std::map<const typename Kind::Rule*, typename Kind::Key>;

/// Finds the rule that a modification can go to, or why there is none.
template <typename Kind>
void FindTarget(const IdleRules& idle, Taken<Kind>& taken, Binding<Kind>& binding) {
  const auto* const named = idle.SuccessorOf(Kind::kMethod, TextOf<Kind>(binding.key));
  if (named == nullptr) {
    binding.why_not = "the catalogue names no successor";
    return;
  }
  binding.successor = named->successor;
  auto* const rule = FindByText<Kind>(named->successor);
  if (rule == nullptr || rule->origin != BYOD_RULE_PREDEFINED) {
    binding.why_not = "its successor is not in the catalogue";
  } else if (rule->modified == 1) {
    binding.why_not = "its successor is already modified";
  } else if (const auto [first, is_new] = taken.try_emplace(rule, binding.key); !is_new) {
    binding.why_not = "its successor takes the modification of " + Kind::Describe(first->second);
  } else {
    binding.target = rule;
  }
}

/// The moves of one kind, and what they take to be undone.
template <typename Kind>
class Moves {
 public:
  explicit Moves(const std::vector<Binding<Kind>>& bindings) {
    for (const Binding<Kind>& binding : bindings) {
      if (binding.target == nullptr) continue;
      moves_.push_back({binding.key, binding.target, Kind::KeyOf(*binding.target),
                        CopyInfo(&binding.rule.info)});
      if (!moves_.back().info) throw std::bad_alloc();
    }
  }

  /// Changes the rules in memory. @return why that is not possible
  Result Apply(const IdleRules& idle) {
    for (Move& move : moves_) {
      if constexpr (Kind::kMethod == BYOD_METHOD_MAC) {
        ByodMacRule key = Kind::KeyOf(*move.to);
        if (Result chosen = ChooseName(idle, key, move.to); !chosen.Ok()) return chosen;
      }
      move.info = ExchangeInfo<Kind>(*move.to, std::move(move.info));
      ++applied_;
    }
    return {};
  }

  void Undo() {
    for (; applied_ > 0; --applied_) {
      Move& move = moves_[applied_ - 1];
      move.info = ExchangeInfo<Kind>(*move.to, std::move(move.info));
      Kind::TakeName(*move.to, move.name);
    }
  }

  /// @return 0, or anything else for failure
  uint32_t Save() const {
    for (const Move& move : moves_) {
      if (const uint32_t failed = Kind::Unsave(move.from); failed != 0) return failed;
    }
    for (const Move& move : moves_) {
      if (const uint32_t failed = Kind::Save(move.to); failed != 0) return failed;
    }
    return 0;
  }

  void Forget(IdleRules& idle) const {
    for (const Move& move : moves_)
      idle.Erase<Kind>(move.from);
  }

 private:
  struct Move {
    typename Kind::Key from;
    typename Kind::Rule* to;
    typename Kind::Key name;  // that it had
    OwnedInfo info;           // what it takes, and then what it had
  };

  std::vector<Move> moves_;
  size_t applied_ = 0;
};

}  // namespace

Rebinding::Rebinding(const IdleRules& idle) {
  ForEachKind([&](auto kind) { Plan<decltype(kind)>(idle); });
}

template <typename Kind>
void Rebinding::Plan(const IdleRules& idle) {
  auto& bindings = std::get<std::vector<Binding<Kind>>>(bindings_);
  Taken<Kind> taken;
  for (const auto& [key, rule] : idle.Of<Kind>()) {
    if (!rule.modification) continue;
    Binding<Kind> binding = {key, rule, {}};
    FindTarget<Kind>(idle, taken, binding);
    ++count_;
    movable_ += binding.target != nullptr;
    bindings.push_back(std::move(binding));
  }
}

Result Rebinding::CarryOut(IdleRules& idle, Store& store) {
  if (movable_ == 0) return NoChange();
  std::tuple moves(Moves(Of<DhcpOptionKind>()), Moves(Of<UserAgentKind>()), Moves(Of<MacKind>()));
  const auto for_each = [&](auto call) {
    std::apply([&](auto&... kinds) { (call(kinds), ...); }, moves);
  };
  Result result;
  try {
    for_each([&](auto& kind) {
      if (result.Ok()) result = kind.Apply(idle);
    });
    if (result.Ok() && !store.WriteTogether([&] {
          uint32_t failed = 0;
          for_each([&](auto& kind) {
            if (failed == 0) failed = kind.Save();
          });
          return failed;
        })) {
      result = store.NotSaved();
    }
  } catch (const std::bad_alloc&) {
    for_each([](auto& kind) { kind.Undo(); });
    throw;
  }
  if (result.Ok()) {
    for_each([&](auto& kind) { kind.Forget(idle); });
  } else {
    for_each([](auto& kind) { kind.Undo(); });
  }
  return result;
}

}  // namespace byod::lauthd
