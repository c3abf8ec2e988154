// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/station_keeper.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "byod_order.h"
#include "lauthd/log.h"
#include "lauthd/stations/station_record.h"

namespace byod::lauthd {
namespace {

constexpr Seconds kNow = 1'800'000'000;

class Rules {
 protected:
  Rules() {
    SetLogLevel(Severity::kError);
    BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
    BYOD_order_Init();
  }
  ~Rules() {
    BYOD_order_Fini();
    BYOD_data_GlobalInfoFini();
  }
};

std::unique_ptr<Stations> MakeStations(size_t limit = 4096) {
  StationLimits limits;
  limits.stations = limit;
  return std::make_unique<Stations>(limits, std::vector<FeedTrust>{},
                                    [](const char*) { return false; });
}

Sighting Full(uint64_t mac) {
  Sighting sighting;
  sighting.feed = "dnsmasq";
  sighting.mac = net::MacOf(mac);
  sighting.ip = ParseIp("192.0.2." + std::to_string(mac % 250 + 1));
  sighting.event = SightingEvent::kLease;
  sighting.lease_end = kNow + 3600;
  sighting.options = std::string("\1\3\6", 3);
  sighting.user_agent = "agent " + std::to_string(mac);
  sighting.host_name = "host";
  sighting.vendor_class = "class";
  sighting.access_device = "ap";
  sighting.port = "1";
  sighting.session = "s" + std::to_string(mac);
  return sighting;
}

class StationRecord : public testing::Test, Rules {};

TEST_F(StationRecord, AStationIsTheSameBehindTheDisk) {
  ByodDeviceInfo info = {"Phone", "Acme", "Mobile", "Android"};
  BYOD_data_AddFileAgentRule("agent", &info);
  const auto stations = MakeStations();
  const Station& station = *stations->Take(Full(7), {}, kNow);
  const std::string record = EncodeStation(*stations, station);
  const auto others = MakeStations();
  ASSERT_TRUE(DecodeStation(*others, record));
  const Station& other = *others->table().Find(7);
  EXPECT_EQ(EncodeStation(*others, other), record);
  EXPECT_EQ(others->texts().Text(other.answer), stations->texts().Text(station.answer));
  EXPECT_EQ(others->table().Find(*ParseIp("192.0.2.8")), &other);
  EXPECT_LT(record.size(), 512u);
}

TEST_F(StationRecord, NoBeginningOfARecordIsOneAndNothingOfItStays) {
  const auto stations = MakeStations();
  const std::string record = EncodeStation(*stations, *stations->Take(Full(7), {}, kNow));
  for (size_t length = 0; length < record.size(); ++length) {
    const auto others = MakeStations();
    EXPECT_FALSE(DecodeStation(*others, record.substr(0, length))) << length;
    EXPECT_EQ(others->size(), 0u);
    EXPECT_EQ(others->texts().size(), 0u);
  }
  const auto others = MakeStations();
  EXPECT_FALSE(DecodeStation(*others, record + "x"));
}

TEST_F(StationRecord, DamagedBytesNeverLeaveAnythingButAStationOrNothing) {
  const auto stations = MakeStations();
  const std::string record = EncodeStation(*stations, *stations->Take(Full(7), {}, kNow));
  std::mt19937 random(5);
  for (int i = 0; i < 20000; ++i) {
    std::string damaged = record;
    for (unsigned n = 1 + random() % 4; n > 0; --n)
      damaged[random() % damaged.size()] = static_cast<char>(random());
    const auto others = MakeStations(64);
    if (DecodeStation(*others, damaged)) {
      ASSERT_EQ(others->size(), 1u);
      Station& station = *others->table().Oldest(others->table().Oldest(false) == nullptr);
      others->Find(station.mac, kNow);
      others->Forget(station);
    }
    ASSERT_EQ(others->size(), 0u);
    ASSERT_EQ(others->texts().size(), 0u);
  }
}

class StationKeeperTest : public testing::Test, Rules {
 protected:
  StationKeeperTest() {
    char path[] = "/tmp/lauthd-stations-XXXXXX";
    directory_ = mkdtemp(path);
    file_ = directory_ + "/stations.db";
    Restart();
  }
  ~StationKeeperTest() override {
    keeper_.reset();
    std::error_code ignored;
    std::filesystem::permissions(directory_, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(directory_, ignored);
  }

  void Restart() {
    keeper_.reset();
    stations_ = MakeStations();
    keeper_ = std::make_unique<StationKeeper>(file_, *stations_);
    const auto note = [this](const Station& station) { keeper_->Note(station); };
    stations_->Listen({.on_change = {}, .on_gone = note, .on_unsaved = note});
    keeper_->Load();
  }

  std::string directory_;
  std::string file_;
  std::unique_ptr<Stations> stations_;
  std::unique_ptr<StationKeeper> keeper_;
};

TEST_F(StationKeeperTest, StationsAreThereAgainBehindARestart) {
  for (uint64_t mac = 1; mac <= 3000; ++mac)
    stations_->Take(Full(mac), {}, kNow);
  keeper_->Finish();
  Restart();
  EXPECT_EQ(stations_->size(), 3000u);
  EXPECT_NE(stations_->Find(*ParseIp("192.0.2.250"), kNow), nullptr);
  struct stat status;
  ASSERT_EQ(stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(StationKeeperTest, TheOrderOfBeingSeenIsKept) {
  for (Seconds i = 0; i < 10; ++i)
    stations_->Take(Full(10 - i), {}, kNow + i);
  keeper_->Finish();
  Restart();
  EXPECT_EQ(stations_->table().Oldest(false)->mac, 10u);
}

TEST_F(StationKeeperTest, AForgottenStationStaysForgotten) {
  stations_->Take(Full(1), {}, kNow);
  stations_->Take(Full(2), {}, kNow);
  keeper_->Finish();
  stations_->Forget(*stations_->Find(1, kNow));
  keeper_->Finish();
  Restart();
  EXPECT_EQ(stations_->Find(1, kNow), nullptr);
  EXPECT_NE(stations_->Find(2, kNow), nullptr);
}

TEST_F(StationKeeperTest, WithoutAStationThereIsNoFile) {
  keeper_->Tick(StationKeeper::Clock::now());
  keeper_->Finish();
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(StationKeeperTest, AFewChangesAreWrittenBehindFiveSecondsAndManyAtOnce) {
  const auto start = StationKeeper::Clock::now();
  stations_->Take(Full(1), {}, kNow);
  keeper_->Tick(start);  // the first write ever
  keeper_->Finish();
  const auto size = [&] {
    Stations others({}, {}, [](const char*) { return false; });
    StationKeeper(file_, others).Load();
    return others.size();
  };
  EXPECT_EQ(size(), 1u);
  stations_->Take(Full(2), {}, kNow);
  keeper_->Tick(start + std::chrono::seconds(4));
  EXPECT_EQ(size(), 1u);
  keeper_->Tick(start + std::chrono::seconds(5));
  keeper_->Finish();
  EXPECT_EQ(size(), 2u);
}

TEST_F(StationKeeperTest, ADamagedDatabaseIsMovedAsideAndBegunAgain) {
  stations_->Take(Full(1), {}, kNow);
  keeper_->Finish();
  keeper_.reset();
  std::filesystem::remove(file_ + "-wal");
  std::ofstream(file_) << std::string(5000, 'x');
  SetLogLevel(Severity::kError);
  Restart();
  EXPECT_EQ(stations_->size(), 0u);
  EXPECT_TRUE(std::filesystem::exists(file_ + ".damaged"));
  stations_->Take(Full(2), {}, kNow);
  keeper_->Finish();
  Restart();
  EXPECT_EQ(stations_->size(), 1u);
}

TEST_F(StationKeeperTest, ADirectoryThatIsNotThereLosesNothingOnceItIs) {
  const std::string away = directory_ + "-away";
  std::filesystem::rename(directory_, away);
  const auto start = StationKeeper::Clock::now();
  for (uint64_t mac = 1; mac <= 2000; ++mac)
    stations_->Take(Full(mac), {}, kNow);
  keeper_->Tick(start);
  keeper_->Finish();
  std::filesystem::rename(away, directory_);
  keeper_->Finish();
  keeper_->Finish();
  Restart();
  EXPECT_EQ(stations_->size(), 2000u);
}

}  // namespace
}  // namespace byod::lauthd
