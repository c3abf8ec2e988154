// SPDX-License-Identifier: Apache-2.0
// What does it cost to remember terminals?
//
//   sightings in a second   datagrams are read and taken: every fourth is of a new terminal, has an
//                           option list, a host name and an address; the others have a User-Agent
//   question by address     the station of an address is found and answered, in times of the
//                           identification of the same fingerprint
//   memory                  of 65,536 stations with a list, two User-Agents, two addresses, a host
//   name restart                 these stations read from the disk other rules             these
//   stations answered again
//
// Usage: bench_stations RULES [USER-AGENTS]: a directory of rule files, and a file with a
// User-Agent in each line; without it they are made up.
#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "lauthd/log.h"
#include "lauthd/state/state.h"
#include "lauthd/stations/answer.h"
#include "lauthd/stations/sighting.h"
#include "lauthd/stations/station_message.h"
#include "lauthd/stations/station_record.h"
#include "tlv/append.h"

namespace byod::lauthd {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Seconds kNow = 1'800'000'000;
constexpr size_t kStations = 65536;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double ResidentBytes() {
  malloc_trim(0);
  std::ifstream file("/proc/self/statm");
  size_t all = 0;
  size_t resident = 0;
  file >> all >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

void Report(const char* label, double value, const char* unit) {
  std::printf("FIGURE\t%s\t%.1f %s\n", label, value, unit);
}

std::vector<std::string> ReadAgents(const char* file) {
  std::vector<std::string> agents;
  if (file != nullptr) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line) && agents.size() < 20000;) {
      if (line.find_first_of("\"\\") == std::string::npos) agents.push_back(line.substr(0, 255));
    }
  }
  for (size_t i = agents.size(); i < 1000; ++i) {
    agents.push_back("Mozilla/5.0 (Linux; Android " + std::to_string(i % 12) + "; SM-G" +
                     std::to_string(900 + i) + ") AppleWebKit/537.36 Mobile Safari/537.36");
  }
  return agents;
}

std::string Address(size_t i) {
  char text[18];
  std::snprintf(text, sizeof text, "00:1a:%02zx:%02zx:%02zx:01", i >> 16 & 255, i >> 8 & 255,
                i & 255);
  return text;
}

/// The sightings of one terminal, as datagrams.
std::vector<std::string> SightingsOf(size_t i, const std::vector<std::string>& agents) {
  const std::string head = R"({"feed":"kea","mac":")" + Address(i) + "\",";
  const std::string octets = std::to_string(i >> 8 & 255) + "." + std::to_string(i & 255);
  const auto agent = [&](size_t n) {
    return head + R"("user_agent":")" + agents[n % agents.size()] + "\"}";
  };
  return {head + R"("ip":"10.)" + std::to_string(i >> 16) + "." + octets +
              R"(","lease_end":1800003600,"options":"1,3,6,15,26,28,51,58,59,43",)" +
              R"("vendor_class":"android-dhcp-11","host_name":"host)" + std::to_string(i) + "\"}",
          agent(i), agent(i * 7 + 1),
          head + R"("ip":"2001:db8::)" + std::to_string(i >> 12) + ":" + std::to_string(i & 4095) +
              R"(","user_agent":")" + agents[i % agents.size()] + "\"}"};
}

void MeasureQuestions(Stations& stations, size_t count) {
  constexpr size_t kQuestions = 200000;
  size_t bytes = 0;
  auto start = Clock::now();
  for (size_t i = 0; i < kQuestions; ++i) {
    const auto text = net::ParseMac(Address(i * 31 % count));
    const tlv::Message reply(TLV_Create());
    tlv::Appender append(reply.get());
    AppendStation(append, stations, *stations.Find(net::LoadMac(text->data()), kNow),
                  StationDetail::kAnswer);
    bytes += TLV_GetMsgLen(reply.get(), tlv::kMemory);
  }
  const double by_address = SecondsSince(start);
  std::vector<ByodFingerPrint> fingerprints;
  for (size_t i = 0; i < 4096; ++i) {
    const auto text = net::ParseMac(Address(i * 31 % count));
    const Station& station = *stations.Find(net::LoadMac(text->data()), kNow);
    const auto chosen = [&](const auto& seen, int8_t which) {
      return which < 0 ? std::string_view()
                       : stations.texts().Text(seen.values[static_cast<size_t>(which)].text);
    };
    fingerprints.push_back(FingerPrintOf(chosen(station.lists, station.chosen_list),
                                         chosen(station.agents, station.chosen_agent),
                                         station.mac));
  }
  start = Clock::now();
  for (size_t i = 0; i < kQuestions; ++i) {
    const tlv::Message reply(TLV_Create());
    tlv::Appender append(reply.get());
    AppendAnswer(append, AnswerOf(fingerprints[i % fingerprints.size()]).packed);
    bytes += TLV_GetMsgLen(reply.get(), tlv::kMemory);
  }
  const double identification = SecondsSince(start);
  if (bytes == 0) std::abort();
  Report("question by address", by_address / kQuestions * 1e9, "ns");
  Report("identification of the same fingerprint", identification / kQuestions * 1e9, "ns");
  Report("question by address in times of the identification", by_address / identification, "");
}

int Main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: bench_stations RULES [USER-AGENTS]\n");
    return 2;
  }
  SetLogLevel(Severity::kError);
  Options options;
  options.no_database = true;
  options.rules = argv[1];
  State state(options);
  state.Load();
  Stations& stations = *state.stations;
  const std::vector<std::string> agents = ReadAgents(argc > 2 ? argv[2] : nullptr);

  std::vector<std::string> datagrams;
  const size_t count = stations.limits().stations - stations.limits().stations / 4;
  for (size_t i = 0; i < count; ++i) {
    for (std::string& datagram : SightingsOf(i, agents))
      datagrams.push_back(std::move(datagram));
  }
  const double before = ResidentBytes();
  Sighting sighting;
  const auto start = Clock::now();
  for (const std::string& datagram : datagrams) {
    if (!ParseSighting(datagram, sighting).empty()) std::abort();
    stations.Take(sighting, {}, kNow);
  }
  Report("sightings in a second, of one core",
         static_cast<double>(datagrams.size()) / SecondsSince(start), "");
  const double each = (ResidentBytes() - before) / static_cast<double>(stations.size());
  Report("bytes of a station, its texts included", each, "bytes");
  Report("memory of 65,536 stations", each * kStations / 1048576, "MiB");

  MeasureQuestions(stations, count);

  stations.RulesChanged();
  const auto again = Clock::now();
  while (stations.AnswerSome(kNow, std::chrono::milliseconds(2))) {
  }
  Report("all stations answered again",
         SecondsSince(again) * 1000 * kStations / static_cast<double>(count), "ms for 65,536");

  std::vector<std::string> records;
  double bytes = 0;
  for (size_t place = 0; place < stations.table().places(); ++place) {
    if (const Station* const station = stations.table().AtPlace(place)) {
      records.push_back(EncodeStation(stations, *station));
      bytes += static_cast<double>(records.back().size());
    }
  }
  Report("bytes of a record on the disk", bytes / static_cast<double>(records.size()), "bytes");
  {
    char path[] = "/tmp/bench-stations-XXXXXX";
    if (mkdtemp(path) == nullptr) return 1;
    const std::string file = std::string(path) + "/stations.db";
    {
      StationKeeper keeper(file, stations);
      for (size_t place = 0; place < stations.table().places(); ++place) {
        if (const Station* const station = stations.table().AtPlace(place)) keeper.Note(*station);
      }
      const auto writing = Clock::now();
      keeper.Finish();
      Report("all stations written", SecondsSince(writing) * 1000, "ms");
    }
    Stations others(stations.limits(), {}, [](const char*) { return false; });
    StationKeeper keeper(file, others);
    const auto loading = Clock::now();
    keeper.Load();
    Report("stations read at a start",
           SecondsSince(loading) * 1000 * kStations / static_cast<double>(count), "ms for 65,536");
    if (others.size() != stations.size()) std::abort();
    for (const char* const suffix : {"", "-wal", "-shm"})
      unlink((file + suffix).c_str());
    rmdir(path);
  }
  return 0;
}

}  // namespace
}  // namespace byod::lauthd

int main(int argc, char** argv) {
  return byod::lauthd::Main(argc, argv);
}
