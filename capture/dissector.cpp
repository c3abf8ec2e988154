// SPDX-License-Identifier: Apache-2.0
#include "capture/dissector.h"

#include <string_view>
#include <utility>

#include "byod_data.h"

namespace byod::capture {
namespace {

constexpr size_t kMaxStreams = 1024;
constexpr size_t kMaxUserAgent = BYOD_USERAGENT_SIZE - 1;

std::string_view TextOf(const std::vector<uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool IsDhcp(const Segment& segment) {
  return segment.destination_port == kDhcpServerPort || segment.destination_port == kDhcpClientPort;
}

bool IsCapwap(const Segment& segment) {
  return segment.destination_port == kCapwapDataPort || segment.source_port == kCapwapDataPort;
}

}  // namespace

bool Sighting::HasOptions() const {
  return kind == Kind::kDhcp && dhcp.IsOfClient() && !dhcp.option55.empty();
}

Dissector::Dissector() : streams_(kMaxStreams) {}

std::vector<Sighting> Dissector::CountMalformed() {
  ++counts_.malformed;
  return {};
}

std::vector<Sighting> Dissector::Take(const Frame& frame) {
  ++counts_.packets;
  Unwrapped unwrapped = UnwrapFrame(frame.link_type, frame.bytes);
  Sighting sighting;
  sighting.outer_sender = unwrapped.sender;
  for (bool is_inside = false; unwrapped.verdict == Verdict::kFound; is_inside = true) {
    sighting.sender = unwrapped.sender;
    Transport transport = ReadIp(unwrapped.ip);
    if (transport.verdict == Verdict::kMalformed) return CountMalformed();
    if (transport.verdict == Verdict::kNothing) return {};
    if (is_inside || transport.segment.is_tcp || !IsCapwap(transport.segment)) {
      return TakeSegment(transport.segment, std::move(sighting));
    }
    if (transport.segment.is_cut) return CountMalformed();
    inside_ = std::move(transport.segment.payload);
    unwrapped = UnwrapCapwap(inside_);
  }
  if (unwrapped.verdict == Verdict::kMalformed) return CountMalformed();
  return {};
}

std::vector<Sighting> Dissector::TakeSegment(const Segment& segment, Sighting sighting) {
  sighting.source = segment.source;
  if (segment.is_tcp) return TakeTcp(segment, sighting);
  if (IsDhcp(segment)) return TakeDhcp(segment, std::move(sighting));
  return {};
}

std::vector<Sighting> Dissector::TakeDhcp(const Segment& segment, Sighting sighting) {
  auto message = segment.is_cut ? std::nullopt : ReadDhcpMessage(segment.payload);
  if (!message) return CountMalformed();
  sighting.kind = Sighting::Kind::kDhcp;
  sighting.dhcp = std::move(*message);
  counts_.option_lists += sighting.HasOptions();
  return {std::move(sighting)};
}

std::vector<Sighting> Dissector::TakeTcp(const Segment& segment, const Sighting& sighting) {
  HttpFindings findings = ReadHttp(segment);
  counts_.malformed += findings.malformed > 0;
  counts_.user_agents += findings.user_agents.size();
  std::vector<Sighting> sightings;
  for (std::string& user_agent : findings.user_agents) {
    Sighting& found = sightings.emplace_back(sighting);
    found.kind = Sighting::Kind::kUserAgent;
    found.is_user_agent_cut = user_agent.size() > kMaxUserAgent;
    if (found.is_user_agent_cut) user_agent.resize(kMaxUserAgent);
    found.user_agent = std::move(user_agent);
  }
  return sightings;
}

/// Reads the requests in a segment, and the rest of a head that it continues.
HttpFindings Dissector::ReadHttp(const Segment& segment) {
  const Flow flow(segment.source, segment.source_port, segment.destination,
                  segment.destination_port);
  if (segment.is_start || segment.is_reset) streams_.Erase(flow);
  const std::string_view bytes = TextOf(segment.payload);
  HttpFindings findings;
  if (bytes.empty()) return findings;

  HttpStream* const known = streams_.Find(flow);
  HttpStream fresh;
  HttpStream& stream = known != nullptr ? *known : fresh;
  // The SYN counts as a byte.
  const uint32_t sequence = segment.sequence + (segment.is_start ? 1U : 0U);
  stream.Take(sequence, bytes, segment.is_cut, findings);
  if (known == nullptr && !stream.IsEmpty()) streams_.Touch(flow) = std::move(fresh);
  if (known != nullptr && stream.IsEmpty()) streams_.Erase(flow);
  return findings;
}

}  // namespace byod::capture
