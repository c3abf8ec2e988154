// SPDX-License-Identifier: Apache-2.0
#include "capture/stations.h"

#include <algorithm>
#include <string_view>

namespace byod::capture {
namespace {

/// Takes the text of an option, unless it is empty. Some clients end it with a NUL byte.
void TakeText(std::string_view option, std::string& text) {
  constexpr size_t kMaxText = 255;
  option = option.substr(0, std::min(option.find('\0'), kMaxText));
  if (!option.empty()) text = option;
}

}  // namespace

ByodFingerPrint Station::Fingerprint() const {
  ByodFingerPrint fingerprint = {};
  if (key.mac) std::ranges::copy(*key.mac, fingerprint.mac);
  const size_t length = std::min(options.size(), sizeof fingerprint.options);
  std::copy_n(options.begin(), length, fingerprint.options);
  fingerprint.option_length = static_cast<decltype(fingerprint.option_length)>(length);
  user_agent.copy(fingerprint.user_agent, sizeof fingerprint.user_agent - 1);
  return fingerprint;
}

Stations::Stations(size_t max_count)
    : stations_(max_count), holders_(max_count), leases_(max_count), forwarders_(max_count) {}

Station& Stations::Known(const StationKey& key) {
  Station& station = stations_.Touch(key);
  station.key = key;
  return station;
}

const Station* Stations::Take(const Sighting& sighting) {
  return sighting.kind == Sighting::Kind::kDhcp ? TakeDhcp(sighting) : TakeUserAgent(sighting);
}

/// From now on the address belongs to this station, and what was seen from it before does too.
/// @return the station, if this gave it a User-Agent; else null
const Station* Stations::Bind(const IpAddress& address, const MacAddress& mac) {
  if (address == kNoAddress) return nullptr;
  holders_.Touch(address) = mac;
  leases_.Touch(mac) = address;
  std::string user_agent;
  if (const Station* const nameless = stations_.Find({std::nullopt, address})) {
    user_agent = nameless->user_agent;
    stations_.Erase({std::nullopt, address});
  }
  Station* station = stations_.Find({mac, kNoAddress});
  if (station == nullptr && !user_agent.empty()) station = &Known({mac, kNoAddress});
  if (station == nullptr) return nullptr;
  station->address = address;
  if (user_agent.empty() || !station->user_agent.empty()) return nullptr;
  station->user_agent = user_agent;
  return station;
}

/// The client may no longer use its address.
void Stations::Unbind(const MacAddress& mac) {
  const IpAddress* const lease = leases_.Find(mac);
  if (lease == nullptr) return;
  Station* const station = stations_.Find({mac, kNoAddress});
  if (station != nullptr && station->address == *lease) station->address = kNoAddress;
  const MacAddress* const holder = holders_.Find(*lease);
  if (holder != nullptr && *holder == mac) holders_.Erase(*lease);
  leases_.Erase(mac);
}

const Station* Stations::TakeDhcp(const Sighting& sighting) {
  const DhcpMessage& dhcp = sighting.dhcp;
  const bool is_others = !dhcp.is_request || (dhcp.is_relayed && sighting.sender != dhcp.client);
  if (is_others && sighting.sender) forwarders_.Touch(*sighting.sender) = true;

  const Station* station = nullptr;
  if (dhcp.IsOfClient() && dhcp.ShowsClient()) {
    Station& known = Known({dhcp.client, kNoAddress});
    if (!dhcp.option55.empty()) known.options = dhcp.option55;
    TakeText(dhcp.host_name, known.host_name);
    TakeText(dhcp.vendor_class, known.vendor_class);
    station = &known;
  }
  if (!dhcp.is_request && dhcp.type == DhcpMessage::kAck) {
    station = Bind(dhcp.offered_address, dhcp.client);
  }
  if (!dhcp.is_request && dhcp.type == DhcpMessage::kNak) Unbind(dhcp.client);
  return station;
}

const Station* Stations::TakeUserAgent(const Sighting& sighting) {
  StationKey key{sighting.sender, kNoAddress};
  if (!key.mac || forwarders_.Find(*key.mac) != nullptr) {
    const MacAddress* const holder = holders_.Find(sighting.source);
    key = holder != nullptr ? StationKey{*holder, kNoAddress}
                            : StationKey{std::nullopt, sighting.source};
  }
  Station& station = Known(key);
  station.address = sighting.source;
  station.user_agent = sighting.user_agent;
  return &station;
}

}  // namespace byod::capture
