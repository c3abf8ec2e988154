// SPDX-License-Identifier: Apache-2.0
// Packets made up for tests: DHCP messages and HTTP requests in every wrapping.
#ifndef BYOD_TESTS_SUPPORT_PACKETS_H
#define BYOD_TESTS_SUPPORT_PACKETS_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace byod::test {

using Packet = std::vector<uint8_t>;
using Mac = std::array<uint8_t, 6>;
using Ip4 = std::array<uint8_t, 4>;

inline constexpr Mac kClient = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
inline constexpr Mac kOther = {0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE};
inline constexpr Ip4 kClientIp = {192, 0, 2, 10};
inline constexpr Ip4 kServerIp = {192, 0, 2, 1};
inline constexpr Ip4 kNoIp = {0, 0, 0, 0};

/// A packet that grows from its front.
class Maker {
 public:
  Maker& Byte(unsigned value) {
    bytes_.push_back(static_cast<uint8_t>(value));
    return *this;
  }
  Maker& Word(unsigned value) { return Byte(value >> 8).Byte(value); }
  Maker& Long(uint32_t value) { return Word(value >> 16).Word(value); }
  Maker& Little(unsigned value) { return Byte(value).Byte(value >> 8); }
  Maker& Zeros(size_t count) {
    bytes_.insert(bytes_.end(), count, 0);
    return *this;
  }
  template <typename Bytes>
  Maker& All(const Bytes& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }
  Maker& Text(std::string_view text) { return All(text); }

  operator Packet() const { return bytes_; }

 private:
  Packet bytes_;
};

/// What a test may want otherwise in a DHCP message.
struct Dhcp {
  unsigned operation = 1;
  unsigned hardware_length = 6;
  Mac client = kClient;
  Ip4 client_address = kNoIp;
  Ip4 offered_address = kNoIp;
  Ip4 relay = kNoIp;
  unsigned type = 1;
  Packet options = {55, 4, 1, 3, 6, 15};  ///< behind the type
  Packet end = {255};
  Packet file = {};
  Packet server_name = {};
};

inline Packet DhcpMessage(const Dhcp& dhcp = {}) {
  Maker maker;
  maker.Byte(dhcp.operation).Byte(1).Byte(dhcp.hardware_length).Byte(0).Long(0x12345678).Long(0);
  maker.All(dhcp.client_address).All(dhcp.offered_address).Long(0).All(dhcp.relay);
  maker.All(dhcp.client).Zeros(10);
  Packet name = dhcp.server_name, file = dhcp.file;
  name.resize(64);
  file.resize(128);
  maker.All(name).All(file).Long(0x63825363).Byte(53).Byte(1).Byte(dhcp.type);
  return maker.All(dhcp.options).All(dhcp.end);
}

inline Packet Udp(unsigned from, unsigned to, const Packet& payload) {
  return Maker()
      .Word(from)
      .Word(to)
      .Word(static_cast<unsigned>(payload.size() + 8))
      .Word(0)
      .All(payload);
}

/// @param flags  0x18 = data, 0x02 = SYN, 0x04 = RST
inline Packet Tcp(std::string_view payload, uint32_t sequence = 1000, unsigned flags = 0x18,
                  unsigned port = 40000) {
  return Maker()
      .Word(port)
      .Word(80)
      .Long(sequence)
      .Long(1)
      .Byte(0x50)
      .Byte(flags)
      .Word(8192)
      .Long(0)
      .Text(payload);
}

inline Packet Ipv4(unsigned protocol, const Packet& payload, Ip4 source = kClientIp,
                   Ip4 destination = kServerIp) {
  return Maker()
      .Byte(0x45)
      .Byte(0)
      .Word(static_cast<unsigned>(payload.size() + 20))
      .Long(0)
      .Byte(64)
      .Byte(protocol)
      .Word(0)
      .All(source)
      .All(destination)
      .All(payload);
}

inline Packet Ipv6(unsigned protocol, const Packet& payload) {
  return Maker()
      .Long(0x60000000)
      .Word(static_cast<unsigned>(payload.size()))
      .Byte(protocol)
      .Byte(64)
      .Long(0x20010DB8)
      .Zeros(11)
      .Byte(10)
      .Long(0x20010DB8)
      .Zeros(11)
      .Byte(1)
      .All(payload);
}

inline Packet DhcpIp(const Dhcp& dhcp = {}) {
  return Ipv4(17, Udp(68, 67, DhcpMessage(dhcp)), kNoIp, {255, 255, 255, 255});
}

inline constexpr std::string_view kRequest =
    "GET /a HTTP/1.1\r\nHost: example.org\r\nUser-Agent: Tester/1.0 (made up)\r\n\r\n";

inline Packet HttpIp(std::string_view text = kRequest, uint32_t sequence = 1000,
                     unsigned flags = 0x18) {
  return Ipv4(6, Tcp(text, sequence, flags));
}

/// @param tags  as they stand behind the addresses: {0x8100, 0x88A8}
inline Packet Ethernet(const Packet& ip, Mac source = kClient, std::vector<unsigned> tags = {}) {
  Maker maker;
  maker.All(Mac{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}).All(source);
  for (const unsigned tag : tags)
    maker.Word(tag).Word(7);
  return maker.Word(ip[0] >> 4 == 6 ? 0x86DD : 0x0800).All(ip);
}

inline Packet Snap(const Packet& ip) {
  return Maker()
      .Byte(0xAA)
      .Byte(0xAA)
      .Byte(3)
      .Zeros(3)
      .Word(ip[0] >> 4 == 6 ? 0x86DD : 0x0800)
      .All(ip);
}

/// A data frame from a station to its access point. @param kind  0x08, or 0x88 with a quality
inline Packet Wireless(const Packet& ip, Mac source = kClient, unsigned kind = 0x08,
                       bool is_swapped = false) {
  Maker maker;
  if (is_swapped) {
    maker.Byte(1).Byte(kind);
  } else {
    maker.Byte(kind).Byte(1);
  }
  maker.Word(0).All(kOther).All(source).Zeros(6);
  if (is_swapped) {
    maker.Word(0x0110);
  } else {
    maker.Little(0x0110);
  }
  if (kind == 0x88) maker.Word(0);
  return maker.All(Snap(ip));
}

inline Packet Radiotap(const Packet& frame) {
  return Maker().Byte(0).Byte(0).Little(17).Little(3).Little(0).Zeros(8).Byte(0).All(frame);
}

/// How an access point hands a frame to its controller.
inline Packet Capwap(const Packet& frame, bool is_native = true) {
  const Packet tunnel =
      Maker().Byte(0).Byte(2 << 3).Byte(is_native ? 0x43 : 0x42).Byte(0).Long(0).All(frame);
  return Ethernet(Ipv4(17, Udp(12380, 5247, tunnel)), kOther);
}

inline Packet Cooked(const Packet& ip, Mac source = kClient) {
  return Maker().Word(0).Word(1).Word(6).All(source).Word(0).Word(0x0800).All(ip);
}

inline Packet Cooked2(const Packet& ip, Mac source = kClient) {
  return Maker().Word(0x0800).Word(0).Long(2).Word(1).Byte(0).Byte(6).All(source).Word(0).All(ip);
}

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_PACKETS_H
