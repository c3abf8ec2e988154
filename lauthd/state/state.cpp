// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/state.h"

#include <cstdio>
#include <stdexcept>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "byod_order.h"
#include "lauthd/log.h"
#include "lauthd/state/event.h"
#include "lauthd/state/mac_rule_set.h"
#include "lauthd/state/reload.h"
#include "lauthd/state/rule_kind.h"
#include "lauthd/state/rule_source.h"
#include "lauthd/stations/station_message.h"
#include "rulefiles/registry.h"

namespace byod::lauthd {
namespace {

double Milliseconds(std::chrono::steady_clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

std::unique_ptr<Stations> MakeStations(const Options& options) {
  if (options.stations == StationMemory::kNone) return nullptr;
  return std::make_unique<Stations>(options.station_limits, options.feeds, &IsBackgroundAgent);
}

}  // namespace

State::State(const Options& chosen)
    : options(chosen),
      store(chosen.state_dir, chosen.no_database, idle_rules, authorization),
      watch_hub(chosen.user_share),
      station_hub(chosen.user_share),
      stations(MakeStations(chosen)) {
  InstallService(authorization);
  if (stations == nullptr) return;
  if (options.stations == StationMemory::kDisk && !options.no_database) {
    station_keeper = std::make_unique<StationKeeper>(store.directory() + "/stations.db", *stations);
  }
  const auto note = [this](const Station& station) {
    if (station_keeper) station_keeper->Note(station);
  };
  stations->Listen({.on_change =
                        [this](const Station& station, TextId from) {
                          if (station_hub.Empty()) return;
                          if (const Event event = ToEvent(EncodeChange(*stations, station, from))) {
                            station_hub.Publish(event);
                          }
                        },
                    .on_gone = note,
                    .on_unsaved = note});
}

State::~State() {
  if (station_keeper) station_keeper->Finish();
  ForEachKind([](auto kind) { decltype(kind)::Configured().End(); });
  store.Close();
  RemoveService();
  BYOD_order_Fini();
  MacRuleSet::Get().Clear();
  BYOD_data_GlobalInfoFini();
}

void State::Load() {
  if (BYOD_data_GlobalInfoInit(options.rule_limit) != 0) {
    throw std::runtime_error("no memory for the tables of rules");
  }
  BYOD_order_Init();
  MacRuleSet::Get().SetLimit(options.carved_limit);
  ForEachKind([](auto kind) { decltype(kind)::Configured().Begin(); });
  const RuleSource source(options);
  const auto start = Clock::now();
  registry_time = rulefiles::RegistryTime(options.ieee);
  const PredefinedRules rules = source.Read();
  if (!rules.insecure.empty()) throw std::runtime_error(rules.insecure);
  const auto read = Clock::now();
  LoadPredefined(rules, source.shows_progress());
  idle_rules.SetSuccessors(rules.set.successors);
  ++counters.reloads;
  const auto loaded = Clock::now();
  if (!store.Open()) store.Claim();  // the directory may be new, and another daemon's
  if (station_keeper) station_keeper->Load();
  if (options.timing) {
    std::fprintf(stderr, "lauthd: rules read in %.1f ms, loaded in %.1f ms, database in %.1f ms\n",
                 Milliseconds(read - start), Milliseconds(loaded - read),
                 Milliseconds(Clock::now() - loaded));
  }
}

Result State::Reload() {
  const RuleSource source(options);
  const auto time = rulefiles::RegistryTime(options.ieee);
  Result result = ReplacePredefined(source, options.rule_limit, idle_rules);
  if (result.Ok() || result.refusal == BYOD_REFUSAL_NO_CHANGE) {
    store.Tidy();
#ifdef __GLIBC__
    malloc_trim(0);  // both sets of rules were in memory
#endif
    ++counters.reloads;
    registry_time = time;
    RulesChanged();
    reload_failure.clear();
    Log(Severity::kNotice, "the rule files were read again");
  } else {
    reload_failure = result.reason;
    Log(Severity::kError, "the rules stay as they were: %s", result.reason.c_str());
  }
  return result;
}

void State::AbortBulk() {
  // What is left of the rules of one length is in the order that it had.
  bulk.RollBack(idle_rules, authorization);
  RulesChanged();
  gate.Release();
}

void State::RulesChanged() {
  if (stations == nullptr) return;
  stations->RulesChanged();
  if (on_unanswered && stations->HasUnanswered()) on_unanswered();
}

void State::Count(uint32_t operation, const Result& result) {
  ++counters.requests;
  if (!result.Ok()) {
    ++counters.refused;
  } else if (operation != BYOD_OP_GET) {
    ++counters.changes;
  }
}

uint64_t State::UptimeSeconds() const {
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_).count());
}

}  // namespace byod::lauthd
