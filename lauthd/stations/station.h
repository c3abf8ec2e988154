// SPDX-License-Identifier: Apache-2.0
// What is remembered of one terminal. Records are of one size, and share their texts.
#ifndef LAUTHD_STATIONS_STATION_H
#define LAUTHD_STATIONS_STATION_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "byod_data.h"
#include "lauthd/stations/chain_index.h"
#include "lauthd/stations/ip_address.h"
#include "lauthd/stations/text_pool.h"
#include "net/mac_address.h"
#include "net/mac_text.h"

namespace byod::lauthd {

/// Since 1970, UTC; until the year 2106.
using Seconds = uint32_t;

/// Names a feed of a table of feeds. 0 = none.
using FeedId = uint8_t;

/// Up to N values of which the first `count` are there.
template <typename T, size_t N>
struct FewOf {
  std::array<T, N> values = {};
  uint8_t count = 0;

  std::span<T> all() { return {values.data(), count}; }
  std::span<const T> all() const { return {values.data(), count}; }
  bool Full() const { return count == N; }
};

/// An option list or a User-Agent.
struct Seen {
  TextId text = 0;
  TextId answer = 0;   // what the rules say of it alone
  TextId rule_os = 0;  // of that, the operating system
  uint32_t times = 0;
  Seconds first = 0;
  Seconds last = 0;
  uint8_t rule_length = 0;  // of the expression that matched
  FeedId feed = 0;          // of the last time
  bool is_background = false;
};

/// A text that one feed reported; a later one takes its place.
struct Said {
  TextId text = 0;
  Seconds time = 0;
  FeedId feed = 0;
};

/// An IP address that the terminal has, or had.
struct Held {
  IpAddress address;
  Seconds lease_end = 0;  // 0 = not known
  Seconds last = 0;
  uint32_t next = kNoElement;  // in the index of addresses
  FeedId feed = 0;
};

/// Where the terminal is connected.
struct Place {
  TextId access_device = 0;
  TextId port = 0;
  TextId session = 0;
  Seconds time = 0;
  FeedId feed = 0;
};

/// Why an answer changed.
enum class Cause : uint8_t {
  kAddress = 0,  // of a terminal that was not known before
  kOptions = 1,  // the option list
  kUserAgent = 2,
  kVendorClass = 3,
  kHostName = 4,
  kRules = 5,  // other rules
  kTime = 6,   // what was said before is out of date, or held back for a minute
};

struct AnswerChange {
  TextId to = 0;       // the new answer
  TextId because = 0;  // the option list, User-Agent, ... that caused it
  Seconds time = 0;
  Cause cause = Cause::kAddress;
  FeedId feed = 0;
};

inline constexpr size_t kMaxLists = 4;
inline constexpr size_t kMaxAgents = 8;
inline constexpr size_t kMaxAddresses = 4;
inline constexpr size_t kMaxHistory = 8;

/// No list or User-Agent is chosen.
inline constexpr int8_t kNotChosen = -1;

struct Station {
  uint64_t mac = 0;
  FewOf<Seen, kMaxLists> lists;
  FewOf<Seen, kMaxAgents> agents;
  FewOf<Held, kMaxAddresses> addresses;
  FewOf<AnswerChange, kMaxHistory> history;  // the oldest first
  Said vendor_class;
  Said host_name;
  Place place;

  TextId answer = 0;                                     // of all that is chosen, in the order
  std::array<TextId, BYOD_METHOD_COUNT> by_method = {};  // of what is chosen for each method
  TextId answer_before = 0;                              // that of the oldest change
  Seconds first = 0;
  Seconds last = 0;
  Seconds chosen_since = 0;  // the User-Agent
  uint32_t rules = 0;        // the state of the rules that gave the answer
  int8_t chosen_list = kNotChosen;
  int8_t chosen_agent = kNotChosen;
  bool is_contradicting = false;  // two methods disagree
  bool is_shared = false;         // many terminals behind one address
  bool is_waiting = false;        // for the end of the minute of the chosen User-Agent
  bool is_unsaved = false;
  bool is_used = false;  // the place of a record that is there

  // In the table.
  uint32_t number = 0;  // of its place
  uint32_t next = kNoElement;
  uint32_t newer = kNoElement;
  uint32_t older = kNoElement;

  net::MacAddress address() const { return net::MacOf(mac); }
  bool IsLocallyAdministered() const { return net::IsLocallyAdministered(address()); }
};

static_assert(sizeof(Station) <= 896, "65,536 stations and their texts in 64 MiB");

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_STATION_H
