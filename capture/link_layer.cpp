// SPDX-License-Identifier: Apache-2.0
#include "capture/link_layer.h"

#include <pcap/dlt.h>

#include <algorithm>

#include "capture/byte_reader.h"

namespace byod::capture {
namespace {

enum : uint16_t {
  kIpv4 = 0x0800,
  kArp = 0x0806,
  kVlan = 0x8100,
  kIpv6 = 0x86DD,
  kMpls = 0x8847,
  kMplsMulticast = 0x8848,
  kPppSession = 0x8864,
  kServiceVlan = 0x88A8,
  kOldServiceVlan = 0x9100,
  kMinEtherType = 0x0600  // smaller values are a length
};

// More tags than any network stacks.
constexpr int kMaxTags = 4;
constexpr int kMaxLabels = 16;

Unwrapped Malformed() {
  return {Verdict::kMalformed, {}, {}};
}

Unwrapped Nothing() {
  return {Verdict::kNothing, {}, {}};
}

/// PPPoE: "version(1) code(1) session(2) length(2) protocol(2)", where a subscriber's line begins.
Unwrapped PppSession(ByteReader reader, std::optional<MacAddress> sender) {
  enum : uint16_t { kPppIpv4 = 0x0021, kPppIpv6 = 0x0057 };
  const uint8_t version = reader.Byte();
  const uint8_t code = reader.Byte();
  reader.Skip(4);
  const uint16_t protocol = reader.Word();
  if (reader.failed() || version != 0x11 || code != 0) return Malformed();
  if (protocol != kPppIpv4 && protocol != kPppIpv6) return Nothing();
  return {Verdict::kFound, sender, reader.rest()};
}

/// MPLS: labels of 4 bytes, the last one marked. What follows says by its first bits what it is.
/// The sender is a router, not the station.
Unwrapped Labelled(ByteReader reader) {
  for (int labels = 0;; ++labels) {
    if (labels == kMaxLabels) return Malformed();
    reader.Skip(2);
    const bool is_last = (reader.Byte() & 1) != 0;
    reader.Skip(1);
    if (reader.failed()) return Malformed();
    if (is_last) break;
  }
  if (reader.rest().empty()) return Malformed();
  const int version = reader.rest()[0] >> 4;
  if (version != 4 && version != 6) return Nothing();  // a frame in a tunnel
  return {Verdict::kFound, std::nullopt, reader.rest()};
}

/// Finds the IP packet after an EtherType and any tags.
Unwrapped BehindEtherType(uint16_t type, ByteReader reader, std::optional<MacAddress> sender) {
  for (int tags = 0; type == kVlan || type == kServiceVlan || type == kOldServiceVlan; ++tags) {
    if (tags == kMaxTags) return Malformed();
    reader.Skip(2);
    type = reader.Word();
  }
  if (reader.failed()) return Malformed();
  if (type == kArp) return {Verdict::kNothing, sender, reader.rest(), true};
  if (type == kPppSession) return PppSession(reader, sender);
  if (type == kMpls || type == kMplsMulticast) return Labelled(reader);
  if (type != kIpv4 && type != kIpv6) return Nothing();
  return {Verdict::kFound, sender, reader.rest()};
}

/// 802.2 with a SNAP header, which follows 802.11 and old Ethernet headers.
Unwrapped Snap(ByteReader reader, std::optional<MacAddress> sender) {
  constexpr uint8_t kSnap[] = {0xAA, 0xAA, 0x03};
  const Bytes head = reader.Take(sizeof kSnap);
  if (reader.failed()) return Malformed();
  if (!std::ranges::equal(head, kSnap)) return Nothing();
  const uint8_t organisation = reader.Byte() | reader.Byte();
  const uint8_t encapsulation = reader.Byte();  // 0xF8 is a bridge's tunnel
  const uint16_t type = reader.Word();
  if (reader.failed()) return Malformed();
  if (organisation != 0 || (encapsulation != 0 && encapsulation != 0xF8)) return Nothing();
  return BehindEtherType(type, reader, sender);
}

/// "destination source type"
Unwrapped Ethernet(ByteReader reader) {
  reader.Skip(sizeof(MacAddress));
  const MacAddress source = reader.Mac();
  const uint16_t type = reader.Word();
  if (reader.failed()) return Malformed();
  if (type < kMinEtherType) return Snap(reader, source);
  return BehindEtherType(type, reader, source);
}

/// "control(2) duration(2) address1 address2 address3 sequence(2) [address4] [qos(2)] [ht(4)]"
/// in little-endian order, or swapped.
Unwrapped Wireless(ByteReader reader, bool is_swapped, bool is_padded) {
  enum : uint8_t { kToDs = 1, kFromDs = 2, kMoreFragments = 4, kProtected = 0x40, kOrder = 0x80 };
  const size_t all = reader.rest().size();
  uint8_t kind = reader.Byte();
  uint8_t flags = reader.Byte();
  if (is_swapped) std::swap(kind, flags);
  reader.Skip(2 + sizeof(MacAddress));
  const MacAddress second = reader.Mac();
  const MacAddress third = reader.Mac();
  const uint16_t sequence = is_swapped ? reader.Word() : reader.LittleWord();
  // Control frames are shorter.
  if (reader.failed()) return all < 2 || (kind & 0x0C) == 0x08 ? Malformed() : Nothing();
  const bool is_data = (kind & 0x0F) == 0x08 && (kind & 0x40) == 0;  // of version 0, with data
  const bool is_fragment = (flags & kMoreFragments) != 0 || (sequence & 0x0F) != 0;
  if (!is_data || is_fragment || (flags & kProtected) != 0) return Nothing();

  MacAddress source = (flags & kFromDs) != 0 ? third : second;
  if ((flags & kToDs) != 0 && (flags & kFromDs) != 0) source = reader.Mac();
  if ((kind & 0x80) != 0) {  // with a quality of service
    const uint16_t quality = is_swapped ? reader.Word() : reader.LittleWord();
    if ((quality & 0x80) != 0) return reader.failed() ? Malformed() : Nothing();  // several in one
    if ((flags & kOrder) != 0) reader.Skip(4);
  }
  if (is_padded) reader.Skip((4 - (all - reader.rest().size()) % 4) % 4);
  return Snap(reader, source);
}

/// "version(1) pad(1) length(2) present(4)... fields", little-endian, then the 802.11 frame
Unwrapped Radiotap(ByteReader reader) {
  enum : uint32_t { kTime = 1, kFlags = 2, kMore = 0x80000000 };
  enum : uint8_t { kPadded = 0x20, kBadChecksum = 0x40 };
  const Bytes frame = reader.rest();
  reader.Skip(2);
  const uint16_t length = reader.LittleWord();
  if (reader.failed() || length < 8 || length > frame.size()) return Malformed();
  ByteReader fields(frame.first(length));
  fields.Skip(4);
  const uint32_t present = fields.LittleLong();
  for (uint32_t more = present; (more & kMore) != 0 && !fields.failed();)
    more = fields.LittleLong();
  if ((present & kTime) != 0) {
    const size_t at = length - fields.rest().size();
    fields.Skip((8 - at % 8) % 8 + 8);
  }
  const uint8_t flags = (present & kFlags) != 0 ? fields.Byte() : uint8_t{0};
  if (fields.failed() || (flags & kBadChecksum) != 0) return Malformed();
  return Wireless(ByteReader(frame.subspan(length)), false, (flags & kPadded) != 0);
}

/// "version(1) flags(1) length(2) type(4)", little-endian, then a frame of that type
Unwrapped PerPacketInformation(Bytes frame) {
  ByteReader reader(frame);
  reader.Skip(2);
  const uint16_t length = reader.LittleWord();
  const uint32_t type = reader.LittleLong();
  if (reader.failed() || length < 8 || length > frame.size()) return Malformed();
  if (type == DLT_PPI || !IsKnownLinkType(static_cast<int>(type))) return Nothing();
  return UnwrapFrame(static_cast<int>(type), frame.subspan(length));
}

/// The sender in a cooked header: a length and eight bytes.
std::optional<MacAddress> CookedSender(size_t length, Bytes bytes) {
  if (length != sizeof(MacAddress)) return std::nullopt;
  return ByteReader(bytes).Mac();
}

/// "packet type(2) hardware(2) address length(2) address(8) protocol(2)"
Unwrapped Cooked(ByteReader reader) {
  reader.Skip(4);
  const uint16_t length = reader.Word();
  const Bytes address = reader.Take(8);
  const uint16_t type = reader.Word();
  if (reader.failed()) return Malformed();
  return BehindEtherType(type, reader, CookedSender(length, address));
}

/// "protocol(2) reserved(2) interface(4) hardware(2) packet type(1) address length(1) address(8)"
Unwrapped Cooked2(ByteReader reader) {
  const uint16_t type = reader.Word();
  reader.Skip(2 + 4 + 2 + 1);
  const uint8_t length = reader.Byte();
  const Bytes address = reader.Take(8);
  if (reader.failed()) return Malformed();
  return BehindEtherType(type, reader, CookedSender(length, address));
}

Unwrapped RawIp(Bytes frame) {
  if (frame.empty()) return Malformed();
  return {Verdict::kFound, std::nullopt, frame};
}

/// Begins with a protocol family of the capturing machine in its byte order. Whether it is IP is
/// more reliably seen from what follows.
Unwrapped Loopback(ByteReader reader) {
  reader.Skip(4);
  if (reader.failed()) return Malformed();
  return RawIp(reader.rest());
}

}  // namespace

bool IsKnownLinkType(int link_type) {
  switch (link_type) {
    case DLT_EN10MB:
    case DLT_IEEE802_11:
    case DLT_IEEE802_11_RADIO:
    case DLT_PPI:
    case DLT_LINUX_SLL:
    case DLT_LINUX_SLL2:
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_IPV6:
    case DLT_NULL:
    case DLT_LOOP:
      return true;
    default:
      return false;
  }
}

Unwrapped UnwrapFrame(int link_type, Bytes frame) {
  const ByteReader reader(frame);
  switch (link_type) {
    case DLT_EN10MB:
      return Ethernet(reader);
    case DLT_IEEE802_11:
      return Wireless(reader, false, false);
    case DLT_IEEE802_11_RADIO:
      return Radiotap(reader);
    case DLT_PPI:
      return PerPacketInformation(frame);
    case DLT_LINUX_SLL:
      return Cooked(reader);
    case DLT_LINUX_SLL2:
      return Cooked2(reader);
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_IPV6:
      return RawIp(frame);
    case DLT_NULL:
    case DLT_LOOP:
      return Loopback(reader);
    default:
      return Nothing();
  }
}

// "preamble(1) | header length:5 radio:5 binding:5 native:1 | fragment:1 last:1 wireless:1 mac:1
//  keep-alive:1 | fragment id(2) offset(2)", options up to the header length in words of 4 bytes
Unwrapped UnwrapCapwap(Bytes payload) {
  enum : uint8_t { kNative = 0x01, kFragment = 0x80, kKeepAlive = 0x08, kBinding = 0x3E };
  constexpr uint8_t kIeee80211 = 1 << 1;
  ByteReader reader(payload);
  const uint8_t preamble = reader.Byte();
  const size_t length = (reader.Byte() >> 3) * size_t{4};
  const uint8_t binding = reader.Byte();
  const uint8_t flags = reader.Byte();
  if (reader.failed()) return Malformed();
  // Encrypted, or not a whole frame.
  if (preamble != 0 || (flags & (kFragment | kKeepAlive)) != 0) return Nothing();
  if (length < 8 || length > payload.size()) return Malformed();
  const Bytes frame = payload.subspan(length);
  if ((binding & kNative) == 0) return Ethernet(ByteReader(frame));
  if ((binding & kBinding) != kIeee80211) return Nothing();
  // Some access points swap the bytes of each number. The control field of a data frame begins with
  // 0x08 or 0x88; its second byte, the flags, never ends in 8 in the frames that are read here.
  const bool is_swapped =
      frame.size() > 1 && (frame[0] & 0x0F) != 0x08 && (frame[1] & 0x0F) == 0x08;
  return Wireless(ByteReader(frame), is_swapped, false);
}

}  // namespace byod::capture
