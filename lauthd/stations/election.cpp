// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/election.h"

#include <algorithm>
#include <span>
#include <tuple>

namespace byod::lauthd {
namespace {

// Different operating systems behind one address that one terminal does not have: a browser may
// claim to be on another one, for pages as on a desktop.
constexpr size_t kSystemsOfSharedAddress = 3;

Seconds Age(Seconds then, Seconds now) {
  return now > then ? now - then : 0;
}

int8_t ElectList(const Station& station, const Feeds& feeds, Seconds now) {
  const auto lists = station.lists.all();
  const auto rank = [&](const Seen& list) {
    return std::tuple(feeds.TrustIn(list.feed, list.last, now), list.last, list.times);
  };
  const auto best = std::ranges::max_element(lists, {}, rank);
  return best == lists.end() ? kNotChosen : static_cast<int8_t>(best - lists.begin());
}

/// Texts are pooled: equal ids are equal operating systems.
bool IsShared(const Station& station, Seconds now) {
  std::array<TextId, kMaxAgents> systems = {};
  size_t count = 0;
  for (const Seen& agent : station.agents.all()) {
    if (agent.is_background || agent.rule_os == 0) continue;
    if (Age(agent.last, now) > kSharedSeconds) continue;
    const auto end = systems.begin() + static_cast<ptrdiff_t>(count);
    if (std::find(systems.begin(), end, agent.rule_os) == end) systems[count++] = agent.rule_os;
  }
  return count >= kSystemsOfSharedAddress;
}

/// How a User-Agent agrees with the operating system of the option list.
enum Agreement { kContradicts, kSaysNothing, kAgrees };

Agreement AgreementOf(const Seen& agent, TextId os) {
  if (os == 0 || agent.rule_os == 0) return kSaysNothing;
  return agent.rule_os == os ? kAgrees : kContradicts;
}

}  // namespace

Election Elect(const Station& station, const Feeds& feeds, Seconds now) {
  Election election;
  election.list = ElectList(station, feeds, now);
  election.is_shared = IsShared(station, now);
  if (election.is_shared) return election;

  const TextId os = election.list == kNotChosen
                        ? TextId{0}
                        : station.lists.values[static_cast<size_t>(election.list)].rule_os;
  const auto agents = station.agents.all();
  const auto rank = [&](const Seen& agent) {
    return std::tuple(!agent.is_background, AgreementOf(agent, os), agent.rule_length,
                      feeds.TrustIn(agent.feed, agent.last, now), agent.times, ~agent.first);
  };
  const auto best = std::ranges::max_element(agents, {}, rank);
  if (best == agents.end() || best->is_background) return election;
  election.agent = static_cast<int8_t>(best - agents.begin());

  if (station.chosen_agent == kNotChosen || station.chosen_agent == election.agent) return election;
  const Seen& chosen = agents[static_cast<size_t>(station.chosen_agent)];
  const bool is_fresh = now >= station.chosen_since && now - station.chosen_since < kStickySeconds;
  const bool is_better_in_kind = AgreementOf(*best, os) > AgreementOf(chosen, os);
  if (is_fresh && !chosen.is_background && !is_better_in_kind) {
    election.agent = station.chosen_agent;
    election.is_waiting = true;
  }
  return election;
}

size_t LeastNeeded(const Station& station, bool agents) {
  const auto all = agents ? station.agents.all() : station.lists.all();
  const int8_t chosen = agents ? station.chosen_agent : station.chosen_list;
  const auto worth = [&](const Seen& seen) {
    const bool is_chosen = chosen != kNotChosen && &seen == &all[static_cast<size_t>(chosen)];
    // One seen once, like those behind a shared address, is worth less than a familiar one.
    return std::tuple(is_chosen, !seen.is_background, seen.times > 1, seen.last);
  };
  const auto least = std::ranges::min_element(all, {}, worth);
  return static_cast<size_t>(least - all.begin());
}

}  // namespace byod::lauthd
