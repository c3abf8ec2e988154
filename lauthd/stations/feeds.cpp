// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/feeds.h"

#include <algorithm>
#include <charconv>

#include "lauthd/stations/sighting.h"

namespace byod::lauthd {
namespace {

constexpr uint32_t kMaxTrust = 100;
constexpr Seconds kMaxLifetime = 366 * 86400;

/// A DHCP server knows what it was sent and what it gave; a capture only what passed by; an access
/// device has it from others; a portal sees browsers.
const FeedTrust kUsual[] = {
    {"dnsmasq", 40}, {"kea", 40}, {"capture", 30}, {"radius", 20}, {"nginx", 10}};

bool ReadNumber(std::string_view text, uint32_t max, uint32_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number <= max;
}

}  // namespace

Feeds::Feeds(const std::vector<FeedTrust>& configured) {
  feeds_.reserve(kMaxFeeds);
  feeds_.emplace_back();
  for (const FeedTrust& trust : kUsual)
    At(IdOf(trust.name)).trust = trust;
  for (const FeedTrust& trust : configured)
    At(IdOf(trust.name)).trust = trust;
}

FeedId Feeds::IdOf(std::string_view name) {
  const auto found = std::ranges::find(
      feeds_, name, [](const Feed& feed) -> std::string_view { return feed.trust.name; });
  if (found != feeds_.end()) return static_cast<FeedId>(found - feeds_.begin());
  if (feeds_.size() == kMaxFeeds) return 0;
  Feed feed;
  feed.trust.name = name;
  feeds_.push_back(std::move(feed));
  return static_cast<FeedId>(feeds_.size() - 1);
}

uint32_t Feeds::TrustIn(FeedId id, Seconds said, Seconds now) const {
  const FeedTrust& trust = feeds_[id].trust;
  return now > said && now - said > trust.lifetime ? 0 : trust.trust;
}

std::string ReadFeedTrust(std::string_view text, FeedTrust& trust) {
  const size_t equals = text.find('=');
  const std::string_view name = text.substr(0, equals);
  if (equals == std::string_view::npos || !IsFeedName(name)) {
    return "expected NAME=TRUST or NAME=TRUST:SECONDS, not \"" + std::string(text) + "\"";
  }
  std::string_view number = text.substr(equals + 1);
  const size_t colon = number.find(':');
  FeedTrust read;
  read.name = name;
  if (!ReadNumber(number.substr(0, colon), kMaxTrust, read.trust)) {
    return "trust is a number from 0 to 100, not \"" + std::string(number.substr(0, colon)) + "\"";
  }
  if (colon != std::string_view::npos) {
    number.remove_prefix(colon + 1);
    if (!ReadNumber(number, kMaxLifetime, read.lifetime) || read.lifetime == 0) {
      return "a lifetime is 1 to 31622400 seconds, not \"" + std::string(number) + "\"";
    }
  }
  trust = read;
  return {};
}

}  // namespace byod::lauthd
