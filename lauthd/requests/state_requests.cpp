// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/state_requests.h"

#include <filesystem>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "lauthd/requests/identification.h"
#include "lauthd/requests/rebind_requests.h"
#include "lauthd/requests/session.h"
#include "lauthd/requests/wall_clock.h"
#include "lauthd/state/rule_kind.h"
#include "lauthd/state/state.h"
#include "protocol/counter.h"

namespace byod::lauthd {
namespace {

/// Appends a table's counts.
template <typename Kind>
bool AppendTable(tlv::Appender& answer, const IdleRules& idle) {
  const tlv::Message table(TLV_Create());
  if (!table) return false;
  tlv::Appender append(table.get());
  append.Number(BYOD_EXT_METHOD, Kind::kMethod)
      .Number(BYOD_TLV_COUNT, Kind::Count())
      .Number(BYOD_EXT_CUSTOM, Kind::CustomCount())
      .Number(BYOD_EXT_MODIFIED, Kind::ModifiedCount())
      .Number(BYOD_EXT_IDLE, static_cast<uint32_t>(idle.Of<Kind>().size()));
  if (append.status() != 0) return false;
  answer.Combine(BYOD_tlv_PutSubTlv(answer.message(), BYOD_EXT_TABLE, table.get()));
  return answer.status() == 0;
}

void AppendCounter(tlv::Appender& append, uint16_t type, uint64_t value) {
  append.Combine(protocol::AppendCounter(append.message(), type, value));
}

/// A client may have another working directory.
void AppendPath(tlv::Appender& append, uint16_t type, const std::string& path) {
  std::error_code error;
  const std::string absolute =
      path.empty() ? path : std::filesystem::absolute(path, error).lexically_normal().string();
  append.PresentText(type, absolute.c_str());
}

tlv::Message EncodeUnknown(const Unknowns::Entry& entry) {
  tlv::Message message(TLV_Create());
  tlv::Appender append(message.get());
  AppendFingerPrint(append, entry.fingerprint);
  append.Number(BYOD_EXT_UNMATCHED, entry.unmatched);
  AppendCounter(append, BYOD_EXT_SEEN, entry.seen);
  AppendCounter(append, BYOD_EXT_FIRST_TIME, entry.first_time);
  AppendCounter(append, BYOD_EXT_TIME, entry.last_time);
  if (append.status() != 0) return tlv::Message();
  return message;
}

/// The fingerprints that were kept at the time of the request, the last seen first; one that has
/// been replaced before its turn is left out. Holds their numbers, not the fingerprints.
class UnknownSeries : public Series {
 public:
  explicit UnknownSeries(const Unknowns& unknowns)
      : unknowns_(unknowns), numbers_(unknowns.Numbers()) {}

  bool Next(Pieces& pieces, bool& more) override {
    for (; next_ < numbers_.size() && !pieces.Full(); ++next_) {
      const Unknowns::Entry* const entry = unknowns_.Find(numbers_[next_]);
      if (entry == nullptr) continue;
      const tlv::Message message = EncodeUnknown(*entry);
      if (!message || !pieces.AddNested(BYOD_EXT_UNKNOWN, message.get())) return false;
    }
    more = next_ < numbers_.size();
    return true;
  }

 private:
  const Unknowns& unknowns_;
  const std::vector<uint64_t> numbers_;
  size_t next_ = 0;
};

}  // namespace

Result ShowStatus(Exchange& exchange) {
  const State& state = exchange.state;
  const Counters& counters = state.counters;
  tlv::Appender append = exchange.Answer();
  append.Text(BYOD_EXT_VERSION, BYOD_VERSION);
  AppendCounter(append, BYOD_EXT_UPTIME, state.UptimeSeconds());
  bool whole = true;
  ForEachKind(
      [&](auto kind) { whole = AppendTable<decltype(kind)>(append, state.idle_rules) && whole; });
  append.Number(BYOD_EXT_RULE_LIMIT, state.options.rule_limit);
  AppendCounter(append, BYOD_EXT_REQUESTS, counters.requests);
  AppendCounter(append, BYOD_EXT_REFUSED, counters.refused);
  AppendCounter(append, BYOD_EXT_IDENTIFICATIONS, counters.identifications);
  AppendCounter(append, BYOD_EXT_UNKNOWNS, counters.unknowns);
  AppendCounter(append, BYOD_EXT_CHANGES, counters.changes);
  append.Number(BYOD_EXT_CONNECTIONS, static_cast<uint32_t>(state.sessions))
      .Number(BYOD_EXT_CONNECTION_LIMIT, state.options.max_connections)
      .Number(BYOD_EXT_DATABASE, state.store.DatabaseState());
  AppendCounter(append, BYOD_EXT_RELOADS, counters.reloads);
  append.PresentText(BYOD_EXT_RELOAD_FAILURE,
                     state.reload_failure.substr(0, BYOD_EXT_REASON_SIZE - 1).c_str());
  append.Number(BYOD_EXT_WATCHERS, static_cast<uint32_t>(state.watch_hub.size()));
  if (state.registry_time) {
    AppendCounter(append, BYOD_EXT_REGISTRY_TIME, MicrosecondsSince1970(*state.registry_time));
  }
  AppendPath(append, BYOD_EXT_RULES_DIRECTORY, state.options.rules);
  AppendPath(append, BYOD_EXT_REGISTRY_DIRECTORY, state.options.ieee);
  append.Number(BYOD_EXT_CARVED_LIMIT, state.options.carved_limit)
      .Number(BYOD_EXT_MODULE_MAKERS, static_cast<uint32_t>(state.options.module_makers));
  AppendBindingCounts(append, state.idle_rules);
  if (!whole) {
    exchange.reply = {};
    return NoMemory();
  }
  return exchange.Answered(append);
}

Result ShowUnknowns(Exchange& exchange) {
  exchange.series = std::make_unique<UnknownSeries>(exchange.state.unknowns);
  return {};
}

Result ForgetUnknowns(Exchange& exchange) {
  if (exchange.operation != BYOD_OP_UNDO) {
    return Refused(BYOD_REFUSAL_UNKNOWN_KIND, "unknown fingerprints cannot be set");
  }
  if (exchange.state.unknowns.entries().empty()) return NoChange();
  exchange.state.unknowns.Clear();
  return {};
}

Result StartWatch(Exchange& exchange) {
  return BeginWatch(exchange, exchange.state.watch_hub);
}

Result BeginWatch(Exchange& exchange, WatchHub& hub) {
  const SharedPlaces& places = hub.places();
  const Peer& peer = exchange.session.peer();
  std::string reason;
  if (!places.IsFreeFor(peer)) {
    reason = "too many clients watch already";
  } else if (!places.IsWithinShare(peer)) {
    reason = "user " + std::to_string(peer.user) + " has its share of " +
             std::to_string(places.share()) + " watches";
  }
  exchange.watch = reason.empty();
  exchange.hub = &hub;
  if (exchange.watch) return {};
  exchange.state.refused_watches.Note("a watch is refused: " + reason);
  return Refused(BYOD_REFUSAL_BUSY, std::move(reason));
}

Result ReloadRules(Exchange& exchange) {
  if (exchange.state.bulk.Open()) return Refused(BYOD_REFUSAL_BUSY, "a bulk is open");
  Result result = exchange.state.Reload();
  // It is done: without memory for the counts the reply is without them.
  try {
    tlv::Appender append = exchange.Answer(result);
    AppendBindingCounts(append, exchange.state.idle_rules);
    exchange.Answered(append);
  } catch (const std::bad_alloc&) {
    exchange.reply = {};
  }
  return result;
}

}  // namespace byod::lauthd
