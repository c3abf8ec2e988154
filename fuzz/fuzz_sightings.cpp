// SPDX-License-Identifier: Apache-2.0
// Attacks ParseSighting and Stations::Take, which take what programs report, and DecodeStation,
// which reads what was stored of it.
//
// The input is datagrams with a zero byte between them. Behind each the station that it was about
// must be found, must be the same behind the disk, and must not grow beyond its limits; when all
// are forgotten, no text is left.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "byod_order.h"
#include "lauthd/stations/sighting.h"
#include "lauthd/stations/station_record.h"
#include "lauthd/stations/stations.h"

namespace {

using namespace byod::lauthd;

constexpr Seconds kNow = 1'800'000'000;

void Expect(bool truth) {
  if (!truth) std::abort();
}

/// The tables with a rule of each kind, made once.
void MakeRules() {
  static const bool made = [] {
    BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
    BYOD_order_Init();
    ByodDeviceInfo phone = {"Phone", "Acme", "Mobile", "Android"};
    BYOD_data_AddFileAgentRule("Android&&Mobile||a", &phone);
    ByodDeviceInfo pc = {"", "", "PC", "Windows"};
    BYOD_data_AddFileAgentRule("Windows", &pc);
    BYOD_data_AddFileDhcpOptionRule("1,3,6", &pc);
    return true;
  }();
  (void)made;
}

Stations MakeStations() {
  StationLimits limits;
  limits.stations = 8;
  return Stations(limits, {}, [](const char* agent) { return *agent == 'b'; });
}

void CheckStored(const Stations& stations, const Station& station) {
  const std::string record = EncodeStation(stations, station);
  Stations others = MakeStations();
  Expect(DecodeStation(others, record));
  const Station* const other = others.table().Find(station.mac);
  Expect(other != nullptr && EncodeStation(others, *other) == record);
}

void CheckStation(Stations& stations, const Station& station) {
  Expect(station.lists.count <= kMaxLists && station.agents.count <= kMaxAgents);
  Expect(station.addresses.count <= kMaxAddresses && station.history.count <= kMaxHistory);
  Expect(station.chosen_list < station.lists.count && station.chosen_agent < station.agents.count);
  Expect(stations.Find(station.mac, kNow) == &station);
  for (const Held& held : station.addresses.all())
    Expect(stations.table().Find(held.address) == &station);
  CheckStored(stations, station);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MakeRules();
  Stations stations = MakeStations();
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  Seconds now = kNow;
  while (!rest.empty()) {
    const size_t end = rest.find('\0');
    const std::string_view datagram = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    Sighting sighting;
    if (!ParseSighting(datagram, sighting).empty()) {
      stations.CountMalformed(sighting.feed, {}, now);
      continue;
    }
    Expect(sighting.options.size() <= 255 && sighting.user_agent.size() <= 255);
    Expect(sighting.session.size() <= 64 && (sighting.mac || sighting.ip));
    if (const Station* const station = stations.Take(sighting, {}, now)) {
      CheckStation(stations, *station);
    }
    if (++now % 3 == 0) stations.RulesChanged();
    stations.Tick(now);
    Expect(stations.size() <= 8);
  }
  DecodeStation(stations, {reinterpret_cast<const char*>(data), size});
  for (size_t place = 0; place < stations.table().places(); ++place) {
    if (Station* const station = stations.table().AtPlace(place)) stations.Forget(*station);
  }
  Expect(stations.size() == 0 && stations.texts().size() == 0);
  return 0;
}
