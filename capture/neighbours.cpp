// SPDX-License-Identifier: Apache-2.0
#include "capture/neighbours.h"

#include <netinet/in.h>

#include <algorithm>
#include <optional>

#include "capture/byte_reader.h"

namespace byod::capture {
namespace {

constexpr size_t kMaxExchanges = 4096;
constexpr uint16_t kDhcpv6ClientPort = 546;
constexpr uint16_t kDhcpv6ServerPort = 547;

using Found = std::vector<Neighbour>;

bool IsOneStation(const MacAddress& mac) {
  return (mac[0] & 0x01) == 0 && mac != MacAddress{};
}

/// Whether a station can have it: not one of a group, not all.
bool IsOfStation(Bytes address) {
  if (std::ranges::all_of(address, [](uint8_t byte) { return byte == 0; })) return false;
  return address.size() == 4 ? address[0] < 224 : address[0] != 0xFF;
}

/// "hardware(2) protocol(2) lengths(1,1) operation(2) sender(6,4) target(6,4)"
Found TakeArp(ByteReader reader, const MacAddress& frame_sender) {
  enum : uint16_t { kEthernet = 1, kWireless = 6, kIpv4 = 0x0800, kReply = 2 };
  const uint16_t hardware = reader.Word();
  const uint16_t protocol = reader.Word();
  const uint16_t lengths = reader.Word();
  const uint16_t operation = reader.Word();
  const MacAddress mac = reader.Mac();
  const Bytes address = reader.Take(4);
  reader.Skip(10);
  const bool is_known = (hardware == kEthernet || hardware == kWireless) && protocol == kIpv4 &&
                        lengths == 0x0604 && operation >= 1 && operation <= kReply;
  if (reader.failed() || !is_known || mac != frame_sender || !IsOfStation(address)) return {};
  return {{mac, MakeIpAddress(address)}};
}

/// The address in an option of neighbour discovery: "type(1) length(1) in units of 8, value".
std::optional<MacAddress> LinkLayerOption(ByteReader reader, uint8_t wanted) {
  while (!reader.rest().empty()) {
    const uint8_t type = reader.Byte();
    const size_t size = reader.Byte() * size_t{8};
    if (size == 0 || reader.failed()) return std::nullopt;
    ByteReader value(reader.Take(size - 2));
    if (reader.failed()) return std::nullopt;
    if (type == wanted && size == 8) return value.Mac();
  }
  return std::nullopt;
}

/// A solicitation says whose its source is, an advertisement whose its target is.
Found TakeDiscovery(Bytes packet, const MacAddress& frame_sender) {
  enum : uint8_t { kSolicitation = 135, kAdvertisement = 136, kSource = 1, kTarget = 2 };
  constexpr size_t kHeader = 40;
  constexpr uint8_t kUnforwarded = 255;
  if (packet.size() < kHeader || packet[6] != IPPROTO_ICMPV6 || packet[7] != kUnforwarded)
    return {};
  const size_t length = net::LoadBig<uint16_t>(packet.data() + 4);
  if (length > packet.size() - kHeader) return {};
  ByteReader reader(packet.subspan(kHeader, length));
  const uint8_t type = reader.Byte();
  reader.Skip(7);
  const Bytes target = reader.Take(16);
  if (reader.failed() || (type != kSolicitation && type != kAdvertisement)) return {};
  const bool is_solicitation = type == kSolicitation;
  const Bytes address = is_solicitation ? packet.subspan(8, 16) : target;
  const auto mac = LinkLayerOption(reader, is_solicitation ? kSource : kTarget);
  if (mac != frame_sender || !IsOfStation(address)) return {};
  return {{frame_sender, MakeIpAddress(address)}};
}

/// Calls take(code, value) for each "code(2) length(2) value". @return whether they are well-formed
template <typename Take>
bool ForEachOption(ByteReader reader, Take take) {
  while (!reader.rest().empty()) {
    const uint16_t code = reader.Word();
    const uint16_t size = reader.Word();
    const Bytes value = reader.Take(size);
    if (reader.failed()) return false;
    take(code, value);
  }
  return true;
}

/// 0 for a lease without an end.
uint32_t Bounded(uint32_t seconds) {
  constexpr uint32_t kForever = 0xFFFFFFFF;
  return seconds == kForever ? 0 : seconds;
}

/// The addresses in a message of DHCPv6, each with the seconds that it is valid for.
Found LeasedAddresses(ByteReader options, const MacAddress& mac) {
  enum : uint16_t { kNonTemporary = 3, kAddress = 5 };
  Found found;
  const auto take_address = [&](uint16_t code, Bytes value) {
    ByteReader reader(value);
    const Bytes address = reader.Take(16);
    reader.Skip(4);
    const uint32_t high = reader.Word();
    const uint32_t seconds = high << 16 | reader.Word();
    if (code == kAddress && !reader.failed() && IsOfStation(address)) {
      found.push_back({mac, MakeIpAddress(address), seconds == 0, Bounded(seconds)});
    }
  };
  const bool is_sound = ForEachOption(options, [&](uint16_t code, Bytes value) {
    constexpr size_t kAssociation = 12;
    if (code != kNonTemporary || value.size() < kAssociation) return;
    ForEachOption(ByteReader(value.subspan(kAssociation)), take_address);
  });
  return is_sound ? found : Found{};
}

bool IsDhcpv6(const Segment& segment) {
  return !segment.is_tcp && !segment.is_cut &&
         (segment.destination_port == kDhcpv6ServerPort ||
          segment.destination_port == kDhcpv6ClientPort);
}

/// Whether a packet may be UDP to a port of DHCPv6, looked at before it is read in full.
bool MayBeDhcpv6(Bytes ip) {
  constexpr size_t kHeader = 40;
  return ip.size() > kHeader && ip[6] == IPPROTO_UDP;
}

}  // namespace

Neighbours::Neighbours() : clients_(kMaxExchanges) {}

Found Neighbours::Take(const Frame& frame) {
  const Unwrapped unwrapped = UnwrapFrame(frame.link_type, frame.bytes);
  if (!unwrapped.sender || !IsOneStation(*unwrapped.sender)) return {};
  if (unwrapped.is_arp) return TakeArp(ByteReader(unwrapped.ip), *unwrapped.sender);
  const Bytes ip = unwrapped.ip;
  if (unwrapped.verdict != Verdict::kFound || ip.empty() || ip[0] >> 4 != 6) return {};
  if (!MayBeDhcpv6(ip)) return TakeDiscovery(ip, *unwrapped.sender);
  const Transport transport = ReadIp(ip);
  if (transport.verdict != Verdict::kFound || !IsDhcpv6(transport.segment)) return {};
  return TakeDhcpv6(transport.segment, *unwrapped.sender);
}

/// "type(1) number(3) options"
Found Neighbours::TakeDhcpv6(const Segment& segment, const MacAddress& sender) {
  enum : uint8_t { kSolicit = 1, kRequest = 3, kRenew = 5, kRebind = 6, kReply = 7 };
  ByteReader reader(segment.payload);
  const uint8_t type = reader.Byte();
  const uint32_t high = reader.Byte();
  const uint32_t number = high << 16 | reader.Word();
  if (reader.failed()) return {};
  if (segment.destination_port == kDhcpv6ServerPort) {
    const bool asks = type == kSolicit || type == kRequest || type == kRenew || type == kRebind;
    if (asks) clients_.Touch({segment.source, number}) = sender;
    return {};
  }
  const MacAddress* const client = clients_.Find({segment.destination, number});
  if (type != kReply || client == nullptr) return {};
  return LeasedAddresses(reader, *client);
}

Found Neighbours::OfDhcp(const DhcpMessage& message) {
  const bool has_lease = !message.is_request && message.type == DhcpMessage::kAck &&
                         message.offered_address != kNoAddress;
  if (has_lease) {
    return {{message.client, message.offered_address, false, Bounded(message.lease_seconds)}};
  }
  const bool ends = message.is_request && message.type == DhcpMessage::kRelease &&
                    message.client_address != kNoAddress;
  if (ends) return {{message.client, message.client_address, true, 0}};
  return {};
}

}  // namespace byod::capture
