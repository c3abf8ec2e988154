// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/stations.h"

#include <algorithm>
#include <utility>

#include "lauthd/stations/agent_reduction.h"
#include "lauthd/stations/answer.h"
#include "lauthd/stations/election.h"

namespace byod::lauthd {
namespace {

// A feed's clock may be ahead by so much.
constexpr Seconds kMaxAhead = 5;
// A sighting that was reported later counts as one of a day ago.
constexpr Seconds kMaxDelay = 86400;
// An address is the terminal's for so long after it was seen with it, and until its lease ends.
constexpr Seconds kAddressSeconds = 86400;
// A clock that was set forward by more may be set back again: nothing is forgotten for so long.
constexpr Seconds kMaxTick = 3600;
constexpr Seconds kClockPause = 3600;
// Stations that are forgotten in one go, between requests.
constexpr int kMaxForgotten = 500;
// Stations that are answered between two looks at the time.
constexpr int kAnswersPerLook = 8;

Seconds TimeOf(const Sighting& sighting, Seconds now) {
  if (!sighting.time || *sighting.time > now + uint64_t{kMaxAhead}) return now;
  const Seconds earliest = now > kMaxDelay ? now - kMaxDelay : 0;
  return std::max(static_cast<Seconds>(*sighting.time), earliest);
}

Seconds Age(Seconds then, Seconds now) {
  return now > then ? now - then : 0;
}

bool EndsSomething(const Sighting& sighting) {
  return sighting.event == SightingEvent::kLeaseEnd || sighting.event == SightingEvent::kStop;
}

const Held* HeldBy(const Station& station, const IpAddress& address) {
  const auto all = station.addresses.all();
  const auto found = std::ranges::find(all, address, &Held::address);
  return found == all.end() ? nullptr : &*found;
}

}  // namespace

Stations::Stations(const StationLimits& limits, const std::vector<FeedTrust>& feeds,
                   std::function<bool(const char*)> is_background)
    : limits_(limits),
      feeds_(feeds),
      is_background_(std::move(is_background)),
      table_(limits.stations, [this](const Station& station) {
        if (listener_.on_gone) listener_.on_gone(station);
      }) {}

// ---------------------------------------------------------------- sightings

Station* Stations::Take(const Sighting& sighting, const Sender& sender, Seconds now) {
  const FeedId feed = Count(sighting, sender, now);
  const Seconds time = TimeOf(sighting, now);
  Station* const station = StationOf(sighting, feed, now);
  if (station == nullptr) return nullptr;
  BringUpToDate(*station, now);
  const bool is_new = station->first == 0;
  if (is_new) station->first = station->last = time;
  station->last = std::max(station->last, time);
  MarkUnsaved(*station);

  TakeAddress(*station, sighting, feed, time);
  TakePlace(*station, sighting, feed, time);
  Say(station->vendor_class, sighting.vendor_class, feed, time);
  Say(station->host_name, sighting.host_name, feed, time);
  const std::string user_agent = Kept(sighting.user_agent);
  const bool list = SeeList(*station, sighting.options, feed, time);
  const bool agent = SeeAgent(*station, user_agent, feed, time);

  const Election election = Elect(*station, feeds_, now);
  const bool is_elected_again =
      election.list == station->chosen_list && election.agent == station->chosen_agent &&
      election.is_shared == station->is_shared && election.is_waiting == station->is_waiting;
  if (!is_new && !list && !agent && is_elected_again) return station;
  Reason reason = {Cause::kAddress, {}, feed};
  if (!is_new && !sighting.options.empty()) {
    reason = {Cause::kOptions, sighting.options, feed};
  } else if (!is_new && !user_agent.empty()) {
    reason = {Cause::kUserAgent, user_agent, feed};
  } else if (!is_new) {
    reason = {Cause::kTime, {}, 0};
  }
  Answer(*station, reason, now);
  return station;
}

FeedId Stations::Count(const Sighting& sighting, const Sender& sender, Seconds now) {
  const FeedId id = feeds_.IdOf(sighting.feed);
  Feed& feed = feeds_.At(id);
  ++feed.count;
  feed.dropped += sighting.dropped;
  if (feed.first == 0) feed.first = now;
  feed.last = now;
  feed.sender = sender;
  return id;
}

void Stations::CountMalformed(const std::string& name, const Sender& sender, Seconds now) {
  Feed& feed = feeds_.At(feeds_.IdOf(name));
  ++feed.malformed;
  if (feed.first == 0) feed.first = now;
  feed.last = now;
  feed.sender = sender;
}

/// The station that a sighting is about. What only ends something makes no station.
Station* Stations::StationOf(const Sighting& sighting, FeedId feed, Seconds now) {
  if (sighting.mac) {
    const uint64_t mac = net::LoadMac(sighting.mac->data());
    if (EndsSomething(sighting) && table_.Find(mac) == nullptr) return nullptr;
    return &table_.FindOrMake(mac);
  }
  Station* const holder = table_.Find(*sighting.ip);
  if (holder == nullptr || !IsHeld(*HeldBy(*holder, *sighting.ip), now)) {
    ++feeds_.At(feed).unplaced;
    return nullptr;
  }
  return &table_.FindOrMake(holder->mac);
}

bool Stations::IsHeld(const Held& held, Seconds now) const {
  return now < held.lease_end ||
         (held.last >= held.lease_end && Age(held.last, now) <= kAddressSeconds);
}

void Stations::TakeAddress(Station& station, const Sighting& sighting, FeedId feed, Seconds time) {
  if (!sighting.ip) return;
  Station* const holder = table_.Find(*sighting.ip);
  const Held* const held = holder != nullptr ? HeldBy(*holder, *sighting.ip) : nullptr;
  const bool is_weaker = held != nullptr && IsHeld(*held, time) &&
                         feeds_.TrustIn(held->feed, held->last, time) > feeds_.At(feed).trust.trust;
  if (sighting.event == SightingEvent::kLeaseEnd) {
    if (holder == &station && !is_weaker) table_.Take(station, *sighting.ip);
    return;
  }
  if (held != nullptr && time < held->last) return;
  if (holder != nullptr && holder != &station) {
    if (is_weaker) return;
    MarkUnsaved(*holder);
  }
  Held& given = table_.Give(station, *sighting.ip);
  given.last = time;
  // A less trusted feed has seen the address, but does not know its lease.
  if (is_weaker) return;
  given.feed = feed;
  if (sighting.lease_end != 0) given.lease_end = static_cast<Seconds>(sighting.lease_end);
}

void Stations::TakePlace(Station& station, const Sighting& sighting, FeedId feed, Seconds time) {
  Place& place = station.place;
  if (sighting.event == SightingEvent::kStop) {
    const bool is_this =
        sighting.session.empty() || texts().Text(place.session) == sighting.session;
    if (is_this) texts().Assign(place.session, {});
    return;
  }
  if (sighting.access_device.empty() && sighting.port.empty() && sighting.session.empty()) return;
  const uint32_t trust = feeds_.At(feed).trust.trust;
  if (time < place.time || feeds_.TrustIn(place.feed, place.time, time) > trust) return;
  texts().Assign(place.access_device, sighting.access_device);
  texts().Assign(place.port, sighting.port);
  texts().Assign(place.session, sighting.session);
  place.time = time;
  place.feed = feed;
}

/// @return whether the text is another one now
bool Stations::Say(Said& said, std::string_view text, FeedId feed, Seconds time) {
  if (text.empty() || time < said.time) return false;
  if (feeds_.TrustIn(said.feed, said.time, time) > feeds_.At(feed).trust.trust) return false;
  const bool is_other = texts().Text(said.text) != text;
  if (is_other) texts().Assign(said.text, text);
  said.time = time;
  said.feed = feed;
  return is_other;
}

/// Finds a text among those that were seen, or adds it, and counts it.
template <size_t N>
Seen& Stations::SeeAgain(Station& station, FewOf<Seen, N>& all, std::string_view text, FeedId feed,
                         Seconds time, bool& is_new) {
  const TextId id = texts().Find(text);
  auto found = id == kNoElement ? all.all().end() : std::ranges::find(all.all(), id, &Seen::text);
  is_new = found == all.all().end();
  if (is_new) {
    Seen fresh;
    fresh.text = texts().Acquire(text);
    fresh.first = time;
    if (all.Full()) {
      Seen& least = all.values[LeastNeeded(station, N == kMaxAgents)];
      table_.Release(least);
      least = fresh;
      found = all.all().begin() + (&least - all.values.data());
    } else {
      all.values[all.count++] = fresh;
      found = all.all().end() - 1;
    }
  }
  Seen& seen = *found;
  if (seen.times < UINT32_MAX) ++seen.times;
  // The most trusted feed that reports it answers for it.
  if (time >= seen.last) {
    if (feeds_.TrustIn(seen.feed, seen.last, time) <= feeds_.At(feed).trust.trust) seen.feed = feed;
    seen.last = time;
  }
  return seen;
}

void Stations::Replace(Seen& seen, std::string_view packed, uint8_t rule_length) {
  texts().Assign(seen.answer, packed);
  texts().Assign(seen.rule_os, Unpack(packed).os);
  seen.rule_length = rule_length;
}

bool Stations::SeeList(Station& station, const std::string& options, FeedId feed, Seconds time) {
  if (options.empty()) return false;
  bool is_new = false;
  Seen& seen = SeeAgain(station, station.lists, options, feed, time, is_new);
  if (is_new) Replace(seen, AnswerOfOptions(options), 0);
  return is_new;
}

bool Stations::SeeAgent(Station& station, const std::string& user_agent, FeedId feed,
                        Seconds time) {
  if (user_agent.empty()) return false;
  bool is_new = false;
  Seen& seen = SeeAgain(station, station.agents, user_agent, feed, time, is_new);
  if (!is_new) return false;
  seen.is_background = is_background_(user_agent.c_str());
  const AgentAnswer answer = AnswerOfAgent(user_agent);
  Replace(seen, answer.packed, answer.rule_length);
  return true;
}

/// What is kept of a User-Agent; empty = nothing.
std::string Stations::Kept(const std::string& user_agent) const {
  const bool is_whole = !limits_.only_matched_agents || user_agent.empty();
  return is_whole ? user_agent : MatchedPartOf(user_agent);
}

// ---------------------------------------------------------------- answers

/// Answers each list and each User-Agent by itself.
void Stations::AnswerParts(Station& station) {
  for (Seen& list : station.lists.all())
    Replace(list, AnswerOfOptions(texts().Text(list.text)), 0);
  for (Seen& agent : station.agents.all()) {
    const std::string text(texts().Text(agent.text));
    agent.is_background = is_background_(text.c_str());
    const AgentAnswer answer = AnswerOfAgent(text);
    Replace(agent, answer.packed, answer.rule_length);
  }
}

void Stations::Answer(Station& station, const Reason& reason, Seconds now) {
  const Election election = Elect(station, feeds_, now);
  const auto text_of = [&](const auto& seen, int8_t chosen) -> std::string_view {
    return chosen == kNotChosen ? std::string_view()
                                : texts().Text(seen.values[static_cast<size_t>(chosen)].text);
  };
  const WholeAnswer answer = AnswerOf(FingerPrintOf(
      text_of(station.lists, election.list), text_of(station.agents, election.agent), station.mac));
  bool contradicting = false;
  for (size_t a = 0; a < answer.by_method.size(); ++a) {
    texts().Assign(station.by_method[a], answer.by_method[a]);
    for (size_t b = 0; b < a; ++b) {
      contradicting |= Contradict(Unpack(answer.by_method[a]), Unpack(answer.by_method[b]));
    }
  }
  if (election.agent != station.chosen_agent) station.chosen_since = now;
  station.chosen_list = election.list;
  station.chosen_agent = election.agent;
  station.is_shared = election.is_shared;
  station.is_contradicting = contradicting;
  station.rules = rules_;
  if (election.is_waiting && !station.is_waiting) {
    waiting_.push_back({station.mac, now + kStickySeconds});
  }
  station.is_waiting = election.is_waiting;
  MarkUnsaved(station);
  if (texts().Text(station.answer) != answer.packed) {
    AddToHistory(station, answer.packed, reason, now);
  }
}

void Stations::AddToHistory(Station& station, std::string_view packed, const Reason& reason,
                            Seconds now) {
  AnswerChange change;
  change.to = texts().Acquire(packed);
  try {
    change.because = texts().Acquire(reason.text);
  } catch (...) {
    texts().Release(change.to);
    throw;
  }
  change.time = now;
  change.cause = reason.cause;
  change.feed = reason.feed;

  auto& history = station.history;
  if (history.Full()) {
    texts().Release(std::exchange(station.answer_before, history.values[0].to));
    texts().Release(history.values[0].because);
    std::move(history.values.begin() + 1, history.values.end(), history.values.begin());
    --history.count;
  }
  history.values[history.count++] = change;
  const TextId from = std::exchange(station.answer, texts().Share(change.to));
  if (listener_.on_change) listener_.on_change(station, from);
  texts().Release(from);
}

/// Answers a station again where the rules have changed, or its minute is over.
void Stations::BringUpToDate(Station& station, Seconds now) {
  if (station.rules == 0) return;  // not answered yet: its first sighting is being taken
  if (station.rules != rules_) {
    AnswerParts(station);
    return Answer(station, {Cause::kRules, {}, 0}, now);
  }
  if (!station.is_waiting) return;
  const bool is_over = now < station.chosen_since || now - station.chosen_since >= kStickySeconds;
  if (is_over) Answer(station, {Cause::kTime, {}, 0}, now);
}

Station* Stations::Find(uint64_t mac, Seconds now) {
  Station* const station = table_.Find(mac);
  if (station != nullptr) BringUpToDate(*station, now);
  return station;
}

Station* Stations::Find(const IpAddress& address, Seconds now) {
  Station* const station = table_.Find(address);
  if (station == nullptr || !IsHeld(*HeldBy(*station, address), now)) return nullptr;
  BringUpToDate(*station, now);
  return station;
}

void Stations::RulesChanged() {
  if (++rules_ == 0) rules_ = 1;
  unanswered_ = table_.places();
}

bool Stations::AnswerSome(Seconds now, std::chrono::steady_clock::duration time) {
  const auto end = std::chrono::steady_clock::now() + time;
  int answered = 0;
  while (unanswered_ > 0) {
    if (next_place_ >= table_.places()) next_place_ = 0;
    --unanswered_;
    Station* const station = table_.AtPlace(next_place_++);
    if (station == nullptr || station->rules == rules_) continue;
    BringUpToDate(*station, now);
    if (++answered % kAnswersPerLook == 0 && std::chrono::steady_clock::now() >= end) break;
  }
  return unanswered_ > 0;
}

// ---------------------------------------------------------------- forgetting

void Stations::Forget(Station& station) {
  if (listener_.on_gone) listener_.on_gone(station);
  table_.Erase(station);
}

void Stations::Tick(Seconds now) {
  if (last_tick_ != 0 && now > last_tick_ && now - last_tick_ > kMaxTick) {
    forget_from_ = now + kClockPause;
  }
  // Set back: what was put off by a clock that ran ahead is not put off any more.
  if (now < last_tick_) forget_from_ = std::min(forget_from_, now + kClockPause);
  last_tick_ = now;
  while (!waiting_.empty() &&
         (now >= waiting_.front().until || waiting_.front().until - now > kStickySeconds)) {
    const uint64_t mac = waiting_.front().mac;
    waiting_.pop_front();
    Find(mac, now);
  }
  if (now < forget_from_) return;
  ForgetOld(false, now);
  ForgetOld(true, now);
}

void Stations::ForgetOld(bool locally_administered, Seconds now) {
  const Seconds retention = locally_administered ? limits_.local_retention : limits_.retention;
  for (int i = 0; i < kMaxForgotten; ++i) {
    Station* const oldest = table_.Oldest(locally_administered);
    if (oldest == nullptr || Age(oldest->last, now) <= retention) return;
    Forget(*oldest);
  }
}

// ---------------------------------------------------------------- storing

void Stations::MarkUnsaved(Station& station) {
  if (std::exchange(station.is_unsaved, true)) return;
  if (listener_.on_unsaved) listener_.on_unsaved(station);
}

Station* Stations::BeginRestore(uint64_t mac) {
  if (table_.Find(mac) != nullptr) return nullptr;
  return &table_.FindOrMake(mac);
}

/// The rules may be others than those that it was answered by.
void Stations::Restored(Station& station) {
  station.rules = rules_ - 1 != 0 ? rules_ - 1 : UINT32_MAX;
  station.is_waiting = false;
  station.is_unsaved = false;
  unanswered_ = table_.places();
}

}  // namespace byod::lauthd
