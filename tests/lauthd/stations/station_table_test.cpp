// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/station_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <list>
#include <map>
#include <optional>
#include <random>
#include <vector>

namespace byod::lauthd {
namespace {

constexpr uint64_t kLocal = uint64_t{2} << 40;

IpAddress Ip(unsigned number) {
  IpAddress address;
  address.bytes[0] = 0x20;
  address.bytes[15] = static_cast<uint8_t>(number);
  address.bytes[14] = static_cast<uint8_t>(number >> 8);
  return address;
}

TEST(StationTable, TheOneSeenLongestAgoMakesRoom) {
  std::vector<uint64_t> gone;
  StationTable table(8, [&](const Station& station) { gone.push_back(station.mac); });
  for (uint64_t mac = 1; mac <= 6; ++mac)
    table.FindOrMake(mac);
  table.FindOrMake(1);
  table.FindOrMake(7);
  EXPECT_EQ(gone, std::vector<uint64_t>{2});
  EXPECT_NE(table.Find(1), nullptr);
  EXPECT_EQ(table.Find(2), nullptr);
  EXPECT_EQ(table.size(), 6u);
}

TEST(StationTable, AFloodOfLocallyAdministeredAddressesDisplacesOnlySuch) {
  StationTable table(64, {});
  for (uint64_t mac = 1; mac <= 48; ++mac)
    table.FindOrMake(mac);
  for (uint64_t i = 0; i < 100000; ++i)
    table.FindOrMake(kLocal + i);
  for (uint64_t mac = 1; mac <= 48; ++mac)
    EXPECT_NE(table.Find(mac), nullptr);
  EXPECT_EQ(table.size(), 64u);
  EXPECT_EQ(table.places(), 64u);
}

TEST(StationTable, AnAddressIsOneStationsAndMovesToAnother) {
  StationTable table(16, {});
  Station& a = table.FindOrMake(1);
  Station& b = table.FindOrMake(2);
  table.Give(a, Ip(1));
  table.Give(a, Ip(2));
  EXPECT_EQ(table.Find(Ip(1)), &a);
  table.Give(b, Ip(1));
  EXPECT_EQ(table.Find(Ip(1)), &b);
  EXPECT_EQ(table.Find(Ip(2)), &a);
  EXPECT_EQ(a.addresses.count, 1);
  table.Take(a, Ip(1));
  EXPECT_EQ(table.Find(Ip(1)), &b);
  table.Erase(b);
  EXPECT_EQ(table.Find(Ip(1)), nullptr);
}

TEST(StationTable, AStationKeepsTheFourAddressesSeenLast) {
  StationTable table(16, {});
  Station& station = table.FindOrMake(1);
  for (unsigned i = 1; i <= 4; ++i)
    table.Give(station, Ip(i)).last = 10 + i;
  table.Give(station, Ip(1)).last = 100;
  table.Give(station, Ip(5)).last = 101;
  EXPECT_EQ(table.Find(Ip(2)), nullptr);
  for (const unsigned i : {1u, 3u, 4u, 5u})
    EXPECT_EQ(table.Find(Ip(i)), &station);
}

TEST(StationTable, EverythingOfAnErasedStationIsReleased) {
  StationTable table(16, {});
  Station& station = table.FindOrMake(1);
  TextPool& texts = table.texts();
  station.answer = texts.Acquire("answer");
  station.answer_before = texts.Acquire("before");
  station.host_name.text = texts.Acquire("host");
  station.vendor_class.text = texts.Acquire("class");
  station.place = {texts.Acquire("ap"), texts.Acquire("port"), texts.Acquire("session"), 0, 0};
  for (TextId& text : station.by_method)
    text = texts.Acquire("method");
  Seen seen;
  seen.text = texts.Acquire("list");
  seen.answer = texts.Acquire("list's answer");
  seen.rule_os = texts.Acquire("os");
  station.lists.values[station.lists.count++] = seen;
  seen.text = texts.Acquire("agent");
  seen.answer = texts.Acquire("agent's answer");
  seen.rule_os = texts.Acquire("os");
  station.agents.values[station.agents.count++] = seen;
  AnswerChange change;
  change.to = texts.Acquire("to");
  change.because = texts.Acquire("because");
  station.history.values[station.history.count++] = change;
  table.Erase(station);
  EXPECT_EQ(texts.size(), 0u);
}

/// What the table should do, in the plainest way.
class Model {
 public:
  explicit Model(size_t limit) : limits_{limit - limit / 4, limit / 4} {}

  void Make(uint64_t mac) {
    auto& line = lines_[(mac & kLocal) != 0];
    line.remove(mac);
    const size_t limit = limits_[(mac & kLocal) != 0];
    if (line.size() == limit) {
      Forget(line.front());
      line.pop_front();
    }
    line.push_back(mac);
  }
  void Erase(uint64_t mac) {
    lines_[(mac & kLocal) != 0].remove(mac);
    Forget(mac);
  }
  void Give(uint64_t mac, unsigned ip, Seconds last) {
    std::erase_if(held_,
                  [&](const auto& held) { return held.first == ip && held.second.first != mac; });
    std::vector<std::pair<Seconds, unsigned>> own;
    for (const auto& [number, holder] : held_) {
      if (holder.first == mac) own.emplace_back(holder.second, number);
    }
    if (!held_.contains(ip) && own.size() == kMaxAddresses)
      held_.erase(std::ranges::min(own).second);
    held_[ip] = {mac, last};
  }
  void Take(uint64_t mac, unsigned ip) {
    if (held_.contains(ip) && held_[ip].first == mac) held_.erase(ip);
  }
  bool Has(uint64_t mac) const { return std::ranges::count(lines_[(mac & kLocal) != 0], mac) > 0; }
  std::optional<uint64_t> Holder(unsigned ip) const {
    const auto found = held_.find(ip);
    if (found == held_.end()) return std::nullopt;
    return found->second.first;
  }
  size_t size() const { return lines_[0].size() + lines_[1].size(); }
  std::optional<uint64_t> Oldest(bool local) const {
    if (lines_[local].empty()) return std::nullopt;
    return lines_[local].front();
  }

 private:
  void Forget(uint64_t mac) {
    std::erase_if(held_, [&](const auto& held) { return held.second.first == mac; });
  }
  size_t limits_[2];
  std::list<uint64_t> lines_[2];
  std::map<unsigned, std::pair<uint64_t, Seconds>> held_;
};

TEST(StationTable, AgreesWithAPlainModelUnderLongChurnAtEverySmallSize) {
  std::mt19937 random(7);
  for (size_t limit = 4; limit <= 40; limit += 3) {
    StationTable table(limit, {});
    Model model(limit);
    const auto any_mac = [&] {
      return 1 + random() % (2 * limit) + (random() % 3 == 0 ? kLocal : 0);
    };
    const auto any_ip = [&] { return static_cast<unsigned>(1 + random() % (3 * limit)); };
    for (Seconds step = 1; step <= 6000; ++step) {
      const uint64_t mac = any_mac();
      const unsigned ip = any_ip();
      switch (random() % 8) {
        case 0:
          if (Station* const station = table.Find(mac)) table.Erase(*station);
          model.Erase(mac);
          break;
        case 1:
          if (Station* const station = table.Find(mac)) table.Take(*station, Ip(ip));
          model.Take(mac, ip);
          break;
        case 2:
        case 3:
          if (Station* const station = table.Find(mac)) {
            table.Give(*station, Ip(ip)).last = step;
            model.Give(mac, ip, step);
          }
          break;
        default:
          ASSERT_EQ(table.FindOrMake(mac).mac, mac);
          model.Make(mac);
          break;
      }
      ASSERT_EQ(table.size(), model.size());
      const uint64_t probe = any_mac();
      ASSERT_EQ(table.Find(probe) != nullptr, model.Has(probe));
      const unsigned probe_ip = any_ip();
      const Station* const holder = table.Find(Ip(probe_ip));
      ASSERT_EQ(holder != nullptr ? std::optional(holder->mac) : std::nullopt,
                model.Holder(probe_ip));
      for (const bool local : {false, true}) {
        const Station* const oldest = table.Oldest(local);
        ASSERT_EQ(oldest != nullptr ? std::optional(oldest->mac) : std::nullopt,
                  model.Oldest(local));
      }
    }
  }
}

}  // namespace
}  // namespace byod::lauthd
