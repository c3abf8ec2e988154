// SPDX-License-Identifier: Apache-2.0
#include "capture/transport.h"

#include <netinet/in.h>
#include <tins/exceptions.h>
#include <tins/ip.h>
#include <tins/ipv6.h>
#include <tins/rawpdu.h>
#include <tins/tcp.h>
#include <tins/udp.h>

#include <algorithm>

#include "net/byte_order.h"

namespace byod::capture {
namespace {

constexpr size_t kIpv4Header = 20;
constexpr size_t kUdpHeader = 8;

Transport Malformed() {
  return {Verdict::kMalformed, {}};
}

uint16_t WordAt(Bytes bytes, size_t at) {
  return net::LoadBig<uint16_t>(bytes.data() + at);
}

void TakePayload(const Tins::PDU& carrier, Segment& segment) {
  if (const auto* const raw = carrier.find_pdu<Tins::RawPDU>()) segment.payload = raw->payload();
}

/// Removes what follows the length in a UDP header. @return whether that length is possible
bool TrimUdp(size_t length, Segment& segment) {
  if (length < kUdpHeader) return false;
  const size_t payload = length - kUdpHeader;
  if (payload > segment.payload.size()) return segment.is_cut;
  segment.payload.resize(payload);
  return true;
}

/// The content of an IP packet, if it is UDP or TCP.
Transport Carried(const Tins::PDU& ip, Segment segment) {
  if (const auto* const tcp = ip.find_pdu<Tins::TCP>()) {
    segment.is_tcp = true;
    segment.source_port = tcp->sport();
    segment.destination_port = tcp->dport();
    segment.sequence = tcp->seq();
    segment.is_start = tcp->get_flag(Tins::TCP::SYN) != 0;
    segment.is_reset = tcp->get_flag(Tins::TCP::RST) != 0;
    TakePayload(*tcp, segment);
    return {Verdict::kFound, std::move(segment)};
  }
  if (const auto* const udp = ip.find_pdu<Tins::UDP>()) {
    segment.source_port = udp->sport();
    segment.destination_port = udp->dport();
    TakePayload(*udp, segment);
    if (!TrimUdp(udp->length(), segment)) return Malformed();
    return {Verdict::kFound, std::move(segment)};
  }
  // A packet that ends with its header was cut short.
  if (segment.is_cut) return Malformed();
  return {};
}

/// Whether the options of an IPv4 header are consistent. Only zeros may follow the end of their
/// list.
bool AreOptionsSound(Bytes options) {
  enum : uint8_t { kEndOfList = 0, kNoOperation = 1 };
  while (!options.empty() && options[0] != kEndOfList) {
    const size_t length = options[0] == kNoOperation ? 1 : options.size() < 2 ? 0 : options[1];
    if (length == 0 || length > options.size() || (length == 1 && options[0] != kNoOperation)) {
      return false;
    }
    options = options.subspan(length);
  }
  return std::ranges::all_of(options, [](uint8_t byte) { return byte == 0; });
}

/// The packet without its options: libtins refuses options with padding after them.
std::vector<uint8_t> WithoutOptions(Bytes bytes, size_t header) {
  std::vector<uint8_t> plain(bytes.begin(), bytes.begin() + kIpv4Header);
  plain.insert(plain.end(), bytes.begin() + static_cast<ptrdiff_t>(header), bytes.end());
  plain[0] = 0x40 | kIpv4Header / 4;
  plain[2] = static_cast<uint8_t>(plain.size() >> 8);
  plain[3] = static_cast<uint8_t>(plain.size());
  return plain;
}

Transport ReadIpv4(Bytes bytes) {
  constexpr size_t kHeader = kIpv4Header;
  if (bytes.size() < kHeader) return Malformed();
  const uint8_t protocol = bytes[9];
  // Packets inside packets are skipped, so nothing nests here.
  if (protocol != IPPROTO_TCP && protocol != IPPROTO_UDP) return {};
  Segment segment;
  // 0 is a length above 65535, of a packet that the network card joined.
  const size_t length = WordAt(bytes, 2) != 0 ? WordAt(bytes, 2) : bytes.size();
  if (length < kHeader) return Malformed();
  segment.is_cut = length > bytes.size();
  if (length < bytes.size()) bytes = bytes.first(length);
  const size_t header = size_t{4} * (bytes[0] & 0x0F);
  if (header < kHeader || header > bytes.size()) return Malformed();
  std::vector<uint8_t> plain;
  if (header > kHeader) {
    if (!AreOptionsSound(bytes.subspan(kHeader, header - kHeader))) return Malformed();
    plain = WithoutOptions(bytes, header);
    bytes = plain;
  }
  const Tins::IP ip(bytes.data(), static_cast<uint32_t>(bytes.size()));
  if (ip.is_fragmented()) return {};
  segment.source = MakeIpAddress(bytes.subspan(12, 4));
  segment.destination = MakeIpAddress(bytes.subspan(16, 4));
  return Carried(ip, std::move(segment));
}

Transport ReadIpv6(Bytes bytes) {
  constexpr size_t kHeader = 40;
  if (bytes.size() < kHeader) return Malformed();
  constexpr uint8_t kLookedInto[] = {IPPROTO_TCP, IPPROTO_UDP, IPPROTO_HOPOPTS, IPPROTO_ROUTING,
                                     IPPROTO_DSTOPTS};
  if (std::ranges::find(kLookedInto, bytes[6]) == std::end(kLookedInto)) return {};
  Segment segment;
  const size_t told = WordAt(bytes, 4);
  const size_t length = told != 0 ? kHeader + told : bytes.size();
  segment.is_cut = length > bytes.size();
  if (length < bytes.size()) bytes = bytes.first(length);
  const Tins::IPv6 ip(bytes.data(), static_cast<uint32_t>(bytes.size()));
  if (ip.search_header(Tins::IPv6::FRAGMENT) != nullptr) return {};
  segment.source = MakeIpAddress(bytes.subspan(8, 16));
  segment.destination = MakeIpAddress(bytes.subspan(24, 16));
  return Carried(ip, std::move(segment));
}

}  // namespace

Transport ReadIp(Bytes ip) {
  if (ip.empty()) return Malformed();
  try {
    if (ip[0] >> 4 == 4) return ReadIpv4(ip);
    if (ip[0] >> 4 == 6) return ReadIpv6(ip);
  } catch (const Tins::exception_base&) {
    return Malformed();
  }
  return Malformed();
}

}  // namespace byod::capture
