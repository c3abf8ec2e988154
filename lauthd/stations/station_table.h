// SPDX-License-Identifier: Apache-2.0
// The stations by MAC address and by IP address, and in the order in which they were seen.
#ifndef LAUTHD_STATIONS_STATION_TABLE_H
#define LAUTHD_STATIONS_STATION_TABLE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>

#include "lauthd/stations/chain_index.h"
#include "lauthd/stations/keyed_hash.h"
#include "lauthd/stations/station.h"
#include "lauthd/stations/text_pool.h"

namespace byod::lauthd {

/**
 * When it is full, the station seen longest ago makes room for a new one. A quarter of the places
 * is for locally administered addresses, which terminals change at will, and the rest for the
 * others: a flood of random addresses displaces only such.
 */
class StationTable {
 public:
  /// @param limit    stations, at least 4
  /// @param on_gone  called before a station goes that is displaced; may be empty
  StationTable(size_t limit, std::function<void(const Station&)> on_gone);
  StationTable(const StationTable&) = delete;
  StationTable& operator=(const StationTable&) = delete;

  Station* Find(uint64_t mac);
  Station* Find(const IpAddress& address);

  /// @return the station of an address, a new one if need be, now the one seen last
  /// @throws std::bad_alloc, with no new station
  Station& FindOrMake(uint64_t mac);

  void Erase(Station& station);

  /// Gives an IP address to a station, and takes it from any other. The one that the station was
  /// seen with longest ago makes room. @return where the station has it
  /// @throws std::bad_alloc, with nothing changed
  Held& Give(Station& station, const IpAddress& address);
  void Take(Station& station, const IpAddress& address);

  size_t size() const { return by_mac_.size(); }

  /// The one seen longest ago, of the locally administered addresses or of the others; null if
  /// there is none.
  Station* Oldest(bool locally_administered);
  /// The one seen next after it, of the same kind; null behind the last.
  Station* Newer(const Station& station);

  /// Walks all stations by number, from 0: the station of a number, null at a free place.
  size_t places() const { return stations_.size(); }
  Station* AtPlace(size_t number) {
    return stations_[number].is_used ? &stations_[number] : nullptr;
  }

  TextPool& texts() { return texts_; }
  const TextPool& texts() const { return texts_; }

  /// Releases the texts of a station's parts that are dropped.
  void Release(const Seen& seen);
  void Release(const AnswerChange& change);

 private:
  struct Line {
    uint32_t oldest = kNoElement;
    uint32_t newest = kNoElement;
    size_t size = 0;
    size_t limit = 0;
  };

  struct MacElements {
    StationTable& table;
    uint32_t& Next(uint32_t number) { return table.stations_[number].next; }
    uint64_t HashOf(uint32_t number) const { return table.HashOfMac(table.stations_[number].mac); }
  };
  /// An address is numbered by its station and its place there.
  struct IpElements {
    StationTable& table;
    Held& At(uint32_t number) const {
      return table.stations_[number / kMaxAddresses].addresses.values[number % kMaxAddresses];
    }
    uint32_t& Next(uint32_t number) { return At(number).next; }
    uint64_t HashOf(uint32_t number) const { return table.HashOfIp(At(number).address); }
  };

  uint64_t HashOfMac(uint64_t mac) const { return hash_.Of(&mac, sizeof mac); }
  uint64_t HashOfIp(const IpAddress& address) const {
    return hash_.Of(address.bytes.data(), address.bytes.size());
  }
  uint32_t FindHeld(const IpAddress& address);
  Line& LineOf(const Station& station) { return lines_[station.IsLocallyAdministered()]; }
  uint32_t TakeFreePlace();
  void MakeRoom(Line& line);
  void LinkNewest(Line& line, uint32_t number);
  void Unlink(Line& line, uint32_t number);
  void TakeHeld(Station& station, size_t which);
  void ReleaseTexts(Station& station);
  /// Makes a place one without a station.
  static void Clear(Station& station) {
    const uint32_t number = station.number;
    station = {};
    station.number = number;
  }

  KeyedHash hash_;
  TextPool texts_;
  std::function<void(const Station&)> on_gone_;
  std::deque<Station> stations_;
  uint32_t free_ = kNoElement;  // linked by Station::next
  Line lines_[2];               // the others, the locally administered ones
  MacElements mac_elements_{*this};
  IpElements ip_elements_{*this};
  ChainIndex<MacElements> by_mac_{mac_elements_};
  ChainIndex<IpElements> by_ip_{ip_elements_};
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_STATION_TABLE_H
