// SPDX-License-Identifier: Apache-2.0
#include "byodctl/preview/comparison.h"

#include <algorithm>
#include <optional>
#include <set>
#include <span>
#include <unordered_map>
#include <utility>

#include "byod_tlv.h"
#include "byodctl/daemon/client.h"
#include "byodctl/identification/daemon_identifier.h"
#include "byodctl/identification/identification_fields.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

/// Requests that are sent before their replies are read: both daemons work meanwhile. Few enough
/// for the buffers of a socket.
constexpr size_t kAtOnce = 64;

constexpr char kEveryCategory[] = "*";

/// The authorization sets of a daemon.
class Authorizations {
 public:
  using Attributes = std::vector<std::pair<std::string, std::string>>;

  explicit Authorizations(Client& client) {
    client.Series(Request(BYOD_OP_GET, BYOD_EXT_MSG_AUTHORIZATION), [&](const Fields& reply) {
      reply.ForEachNested(BYOD_EXT_AUTHORIZATION, [&](const Fields& fields) {
        AuthorizationSet set = AuthorizationIn(fields);
        sets_[{set.group, set.type}] = std::move(set.attributes);
        groups_.insert(set.group);
      });
    });
  }

  const std::set<std::string>& groups() const { return groups_; }

  /// What a terminal of a group and category may do; null without a set.
  const Attributes* Of(const std::string& group, const std::string& category) const {
    auto found = sets_.find({group, category});
    if (found == sets_.end()) found = sets_.find({group, kEveryCategory});
    return found != sets_.end() ? &found->second : nullptr;
  }

 private:
  std::map<std::pair<std::string, std::string>, Attributes> sets_;
  std::set<std::string> groups_;
};

/// Whether terminals of two categories, each at its daemon, may do the same.
class AuthorizationComparison {
 public:
  AuthorizationComparison(Client& before, Client& after) : before_(before), after_(after) {
    groups_ = before_.groups();
    groups_.insert(after_.groups().begin(), after_.groups().end());
  }

  bool Differs(const std::string& before, const std::string& after) {
    if (groups_.empty()) return false;
    const auto [known, is_new] = known_.try_emplace({before, after}, false);
    if (is_new) {
      known->second = std::ranges::any_of(groups_, [&](const std::string& group) {
        const auto* const one = before_.Of(group, before);
        const auto* const other = after_.Of(group, after);
        if (one == nullptr || other == nullptr) return one != other;
        return *one != *other;
      });
    }
    return known->second;
  }

 private:
  Authorizations before_;
  Authorizations after_;
  std::set<std::string> groups_;
  std::map<std::pair<std::string, std::string>, bool> known_;
};

/// Reads replies, each of which many terminals get.
class Replies {
 public:
  const PlainAnswer& Read(const std::string& bytes) {
    const auto [known, is_new] = known_.try_emplace(bytes);
    if (is_new) known->second = AnswerIn(bytes);
    return known->second;
  }

 private:
  static PlainAnswer AnswerIn(const std::string& bytes) {
    const tlv::Message reply = ReplyIn(bytes);
    const Fields fields(reply);
    if (CodeOf(fields) != 0 && fields.Number(BYOD_EXT_REFUSAL) != BYOD_REFUSAL_UNIDENTIFIED) {
      throw Refusal(fields);
    }
    Answer answer = ctl::AnswerIn(fields);
    return {std::move(answer.vendor), std::move(answer.category), std::move(answer.os),
            std::move(answer.name)};
  }

  std::unordered_map<std::string, PlainAnswer> known_;
};

class Comparer {
 public:
  Comparer(const Settings& before, const Settings& after)
      : before_(before), after_(after), authorizations_(before_, after_) {}

  void Ask(std::span<const ByodFingerPrint> fingerprints, size_t Difference::* count,
           Comparison& comparison) {
    for (size_t first = 0; first < fingerprints.size(); first += kAtOnce) {
      const size_t last = std::min(first + kAtOnce, fingerprints.size());
      std::string requests;
      for (size_t i = first; i < last; ++i)
        requests += FingerprintRequest(BYOD_EXT_MSG_IDENTIFY, fingerprints[i]).ToBytes();
      before_.Send(requests);
      after_.Send(requests);
      for (size_t i = first; i < last; ++i)
        Count(replies_.Read(before_.ReceiveBytes()), replies_.Read(after_.ReceiveBytes()), count,
              comparison);
    }
  }

 private:
  void Count(const PlainAnswer& before, const PlainAnswer& after, size_t Difference::* count,
             Comparison& comparison) {
    const bool may_do_other = count == &Difference::terminals &&
                              authorizations_.Differs(std::get<1>(before), std::get<1>(after));
    if (before == after && !may_do_other) return;
    Difference& difference = comparison.differences[{before, after}];
    ++(difference.*count);
    difference.other_authorization += may_do_other;
  }

  Client before_;
  Client after_;
  AuthorizationComparison authorizations_;
  Replies replies_;
};

}  // namespace

Difference Comparison::Total() const {
  Difference total;
  for (const auto& [answers, difference] : differences) {
    total.other_authorization += difference.other_authorization;
    if (answers.first == answers.second) continue;
    total.terminals += difference.terminals;
    total.examples += difference.examples;
  }
  return total;
}

Comparison Compare(const Settings& before, const Settings& after,
                   const std::vector<ByodFingerPrint>& terminals,
                   const std::vector<ByodFingerPrint>& examples) {
  Comparison comparison = {terminals.size(), examples.size(), {}};
  Comparer comparer(before, after);
  comparer.Ask(terminals, &Difference::terminals, comparison);
  comparer.Ask(examples, &Difference::examples, comparison);
  return comparison;
}

}  // namespace byod::ctl
