#include "capture/dissector.h"

#include <string_view>
#include <utility>

#include "byod_data.h"

namespace byod::capture {
namespace {

constexpr size_t kMostHeads = 1024;
constexpr size_t kLongestHead = 16384;
constexpr size_t kLongestUserAgent = BYOD_USERAGENT_SIZE - 1;

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
  if (kind != Kind::kDhcp || !dhcp.is_request || dhcp.option55.empty()) return false;
  return dhcp.type == DhcpMessage::kDiscover || dhcp.type == DhcpMessage::kRequest ||
         dhcp.type == DhcpMessage::kInform;
}

Dissector::Dissector() : heads_(kMostHeads) {}

std::nullopt_t Dissector::CountMalformed() {
  ++counts_.malformed;
  return std::nullopt;
}

std::optional<Sighting> Dissector::Take(const Frame& frame) {
  ++counts_.packets;
  Unwrapped unwrapped = UnwrapFrame(frame.link_type, frame.bytes);
  Sighting sighting;
  sighting.outer_sender = unwrapped.sender;
  for (bool is_inside = false; unwrapped.verdict == Verdict::kFound; is_inside = true) {
    sighting.sender = unwrapped.sender;
    Transport transport = ReadIp(unwrapped.ip);
    if (transport.verdict == Verdict::kMalformed) return CountMalformed();
    if (transport.verdict == Verdict::kNothing) return std::nullopt;
    if (is_inside || transport.segment.is_tcp || !IsCapwap(transport.segment)) {
      return TakeSegment(transport.segment, std::move(sighting));
    }
    if (transport.segment.is_cut) return CountMalformed();
    inside_ = std::move(transport.segment.payload);
    unwrapped = UnwrapCapwap(inside_);
  }
  if (unwrapped.verdict == Verdict::kMalformed) return CountMalformed();
  return std::nullopt;
}

std::optional<Sighting> Dissector::TakeSegment(const Segment& segment, Sighting sighting) {
  sighting.source = segment.source;
  if (segment.is_tcp) return TakeTcp(segment, std::move(sighting));
  if (IsDhcp(segment)) return TakeDhcp(segment, std::move(sighting));
  return std::nullopt;
}

std::optional<Sighting> Dissector::TakeDhcp(const Segment& segment, Sighting sighting) {
  auto message = segment.is_cut ? std::nullopt : ReadDhcpMessage(segment.payload);
  if (!message) return CountMalformed();
  sighting.kind = Sighting::Kind::kDhcp;
  sighting.dhcp = std::move(*message);
  counts_.option_lists += sighting.HasOptions();
  return sighting;
}

std::optional<Sighting> Dissector::TakeTcp(const Segment& segment, Sighting sighting) {
  HttpHead head = ReadHead(segment);
  if (head.state == HttpHead::kMalformed) return CountMalformed();
  if (head.state != HttpHead::kUserAgent) return std::nullopt;
  ++counts_.user_agents;
  sighting.kind = Sighting::Kind::kUserAgent;
  sighting.is_user_agent_cut = head.user_agent.size() > kLongestUserAgent;
  if (sighting.is_user_agent_cut) head.user_agent.resize(kLongestUserAgent);
  sighting.user_agent = std::move(head.user_agent);
  return sighting;
}

/// Reads the head that a segment begins, or that it goes on with.
HttpHead Dissector::ReadHead(const Segment& segment) {
  const Flow flow(segment.source, segment.source_port, segment.destination,
                  segment.destination_port);
  if (segment.is_start || segment.is_reset) heads_.Erase(flow);
  std::string_view text = TextOf(segment.payload);
  if (text.empty()) return {};

  Head* const begun = heads_.Find(flow);
  if (begun == nullptr) {
    HttpHead head = ReadHttpHead(text);
    if (head.state != HttpHead::kIncomplete) return head;
    if (segment.is_cut) return {};  // where it goes on is not known
    // The SYN counts as a byte.
    const uint32_t next =
        segment.sequence + static_cast<uint32_t>(text.size()) + (segment.is_start ? 1U : 0U);
    heads_.Touch(flow) = {std::string{text}, next};
    return head;
  }

  // What came before is sent again, wholly or in part, when an answer was lost.
  const uint32_t again = begun->next - segment.sequence;
  if (again >= text.size()) return {};  // nothing new, or bytes between are missing
  text.remove_prefix(again);
  begun->text += text;
  begun->next += static_cast<uint32_t>(text.size());
  HttpHead head = ReadHttpHead(begun->text);
  if (head.state != HttpHead::kIncomplete || segment.is_cut || begun->text.size() > kLongestHead) {
    heads_.Erase(flow);
  }
  return head;
}

}  // namespace byod::capture
