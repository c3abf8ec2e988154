// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/station_table.h"

#include <algorithm>
#include <utility>

namespace byod::lauthd {

StationTable::StationTable(size_t limit, std::function<void(const Station&)> on_gone)
    : on_gone_(std::move(on_gone)) {
  lines_[1].limit = limit / 4;
  lines_[0].limit = limit - lines_[1].limit;
}

// ---------------------------------------------------------------- finding

Station* StationTable::Find(uint64_t mac) {
  const uint32_t number = by_mac_.Find(
      HashOfMac(mac), [&](uint32_t candidate) { return stations_[candidate].mac == mac; });
  return number == kNoElement ? nullptr : &stations_[number];
}

uint32_t StationTable::FindHeld(const IpAddress& address) {
  return by_ip_.Find(HashOfIp(address), [&](uint32_t candidate) {
    return ip_elements_.At(candidate).address == address;
  });
}

Station* StationTable::Find(const IpAddress& address) {
  const uint32_t number = FindHeld(address);
  return number == kNoElement ? nullptr : &stations_[number / kMaxAddresses];
}

Station* StationTable::Oldest(bool locally_administered) {
  const uint32_t number = lines_[locally_administered].oldest;
  return number == kNoElement ? nullptr : &stations_[number];
}

Station* StationTable::Newer(const Station& station) {
  return station.newer == kNoElement ? nullptr : &stations_[station.newer];
}

// ---------------------------------------------------------------- stations

Station& StationTable::FindOrMake(uint64_t mac) {
  if (Station* const found = Find(mac)) {
    const uint32_t number = found->number;
    Line& line = LineOf(*found);
    if (line.newest != number) {
      Unlink(line, number);
      LinkNewest(line, number);
    }
    return *found;
  }
  by_mac_.Reserve();
  Line& line = lines_[net::IsLocallyAdministered(net::MacOf(mac))];
  // Displaced only by one that will be there.
  if (line.size < line.limit && free_ == kNoElement) {
    free_ = static_cast<uint32_t>(stations_.size());
    stations_.emplace_back().number = free_;
  }
  if (line.size >= line.limit) MakeRoom(line);
  const uint32_t number = TakeFreePlace();
  Station& station = stations_[number];
  Clear(station);
  station.is_used = true;
  station.mac = mac;
  by_mac_.Insert(number);
  LinkNewest(line, number);
  return station;
}

uint32_t StationTable::TakeFreePlace() {
  const uint32_t number = free_;
  free_ = stations_[number].next;
  return number;
}

void StationTable::MakeRoom(Line& line) {
  Station& oldest = stations_[line.oldest];
  if (on_gone_) on_gone_(oldest);
  Erase(oldest);
}

void StationTable::Erase(Station& station) {
  const uint32_t number = station.number;
  while (station.addresses.count > 0)
    TakeHeld(station, station.addresses.count - size_t{1});
  Unlink(LineOf(station), number);
  by_mac_.Remove(number);
  ReleaseTexts(station);
  Clear(station);
  station.next = std::exchange(free_, number);
}

void StationTable::Release(const Seen& seen) {
  for (const TextId text : {seen.text, seen.answer, seen.rule_os})
    texts_.Release(text);
}

void StationTable::Release(const AnswerChange& change) {
  texts_.Release(change.to);
  texts_.Release(change.because);
}

void StationTable::ReleaseTexts(Station& station) {
  for (const Seen& list : station.lists.all())
    Release(list);
  for (const Seen& agent : station.agents.all())
    Release(agent);
  for (const AnswerChange& change : station.history.all())
    Release(change);
  for (const TextId text : station.by_method)
    texts_.Release(text);
  for (const TextId text :
       {station.vendor_class.text, station.host_name.text, station.place.access_device,
        station.place.port, station.place.session, station.answer, station.answer_before})
    texts_.Release(text);
}

// ---------------------------------------------------------------- the order of being seen

void StationTable::LinkNewest(Line& line, uint32_t number) {
  Station& station = stations_[number];
  station.newer = kNoElement;
  station.older = line.newest;
  (line.newest != kNoElement ? stations_[line.newest].newer : line.oldest) = number;
  line.newest = number;
  ++line.size;
}

void StationTable::Unlink(Line& line, uint32_t number) {
  const Station& station = stations_[number];
  (station.newer != kNoElement ? stations_[station.newer].older : line.newest) = station.older;
  (station.older != kNoElement ? stations_[station.older].newer : line.oldest) = station.newer;
  --line.size;
}

// ---------------------------------------------------------------- IP addresses

Held& StationTable::Give(Station& station, const IpAddress& address) {
  const uint32_t found = FindHeld(address);
  if (found != kNoElement) {
    Station& holder = stations_[found / kMaxAddresses];
    if (&holder == &station) return ip_elements_.At(found);
    TakeHeld(holder, found % kMaxAddresses);
  }
  by_ip_.Reserve();
  auto& held = station.addresses;
  if (held.Full()) {
    const auto oldest = std::ranges::min_element(held.all(), {}, &Held::last);
    TakeHeld(station, static_cast<size_t>(oldest - held.all().begin()));
  }
  const size_t which = held.count++;
  held.values[which] = {};
  held.values[which].address = address;
  by_ip_.Insert(static_cast<uint32_t>(station.number * kMaxAddresses + which));
  return held.values[which];
}

void StationTable::Take(Station& station, const IpAddress& address) {
  const uint32_t found = FindHeld(address);
  if (found == kNoElement || &stations_[found / kMaxAddresses] != &station) return;
  TakeHeld(station, found % kMaxAddresses);
}

/// Removes an address; the station's last one moves into its place.
void StationTable::TakeHeld(Station& station, size_t which) {
  const auto first = static_cast<uint32_t>(station.number * kMaxAddresses);
  const size_t last = station.addresses.count - size_t{1};
  by_ip_.Remove(static_cast<uint32_t>(first + which));
  if (which != last) {
    by_ip_.Remove(static_cast<uint32_t>(first + last));
    station.addresses.values[which] = station.addresses.values[last];
    by_ip_.Insert(static_cast<uint32_t>(first + which));
  }
  station.addresses.values[last] = {};
  --station.addresses.count;
}

}  // namespace byod::lauthd
