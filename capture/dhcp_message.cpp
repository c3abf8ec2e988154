// SPDX-License-Identifier: Apache-2.0
#include "capture/dhcp_message.h"

#include <tins/bootp.h>
#include <tins/exceptions.h>

#include <algorithm>
#include <map>

#include "byod_data.h"
#include "net/byte_order.h"

namespace byod::capture {
namespace {

constexpr size_t kFixed = 236;
constexpr uint8_t kCookie[] = {0x63, 0x82, 0x53, 0x63};

enum Option : uint8_t {
  kPad = 0,
  kHostName = 12,
  kRequestedAddress = 50,
  kLeaseTime = 51,
  kOverload = 52,
  kMessageType = 53,
  kParameterRequestList = 55,
  kVendorClass = 60,
  kEnd = 255
};

using Options = std::map<uint8_t, std::vector<uint8_t>>;

/// Reads the options of one field: "code length value", padding between, and an end.
/// @return whether they are well-formed. A missing end shows that something was cut off.
bool ReadOptions(Bytes field, Options& options) {
  while (!field.empty()) {
    const uint8_t code = field[0];
    field = field.subspan(1);
    if (code == kEnd) return true;
    if (code == kPad) continue;
    if (field.empty() || field[0] > field.size() - 1) return false;
    const Bytes value = field.subspan(1, field[0]);
    auto& whole = options[code];
    whole.insert(whole.end(), value.begin(), value.end());
    field = field.subspan(1 + value.size());
  }
  return false;
}

/// The options of a message, also those in the fields for names, if option 52 says so.
bool ReadAllOptions(const Tins::BootP& message, Bytes field, Options& options) {
  enum : uint8_t { kInFile = 1, kInServerName = 2 };
  if (!ReadOptions(field, options)) return false;
  const auto overload = options.find(kOverload);
  if (overload == options.end()) return true;
  if (overload->second.size() != 1) return false;
  const uint8_t where = overload->second[0];
  if (where < kInFile || where > (kInFile | kInServerName)) return false;
  if ((where & kInFile) != 0 && !ReadOptions(Bytes(message.file(), 128), options)) return false;
  return (where & kInServerName) == 0 || ReadOptions(Bytes(message.sname(), 64), options);
}

/// Whether an option is absent or has this many bytes.
bool HasSize(const Options& options, uint8_t code, size_t min, size_t max) {
  const auto option = options.find(code);
  return option == options.end() || (option->second.size() >= min && option->second.size() <= max);
}

std::vector<uint8_t> ValueOf(const Options& options, uint8_t code) {
  const auto option = options.find(code);
  return option == options.end() ? std::vector<uint8_t>() : option->second;
}

std::string TextOf(const Options& options, uint8_t code) {
  const std::vector<uint8_t> value = ValueOf(options, code);
  return {value.begin(), value.end()};
}

/// 0 for a lease time of another size: it is no part of what identifies a client.
uint32_t LeaseSeconds(const Options& options) {
  const std::vector<uint8_t> value = ValueOf(options, kLeaseTime);
  return value.size() == sizeof(uint32_t) ? net::LoadBig<uint32_t>(value.data()) : 0;
}

/// Whether a single terminal can have this address.
bool IsStation(const MacAddress& mac) {
  return (mac[0] & 0x01) == 0 && std::ranges::any_of(mac, [](uint8_t byte) { return byte != 0; });
}

IpAddress AddressOf(Tins::IPv4Address address) {
  const auto bytes = static_cast<uint32_t>(address);  // in the order of the packet
  return MakeIpAddress(Bytes(reinterpret_cast<const uint8_t*>(&bytes), sizeof bytes));
}

std::optional<DhcpMessage> Read(const Tins::BootP& message, const Options& options) {
  if (!HasSize(options, kMessageType, 1, 1) || !options.contains(kMessageType) ||
      !HasSize(options, kRequestedAddress, 4, 4) ||
      !HasSize(options, kParameterRequestList, 1, BYOD_OPTION55_MAX)) {
    return std::nullopt;
  }
  DhcpMessage read;
  read.is_request = message.opcode() == Tins::BootP::BOOTREQUEST;
  read.type = ValueOf(options, kMessageType)[0];
  const auto hardware = message.chaddr();
  std::copy_n(hardware.begin(), read.client.size(), read.client.begin());
  read.is_relayed = AddressOf(message.giaddr()) != kNoAddress;
  read.client_address = AddressOf(message.ciaddr());
  read.offered_address = AddressOf(message.yiaddr());
  read.requested_address = MakeIpAddress(ValueOf(options, kRequestedAddress));
  read.option55 = ValueOf(options, kParameterRequestList);
  read.lease_seconds = LeaseSeconds(options);
  read.vendor_class = TextOf(options, kVendorClass);
  read.host_name = TextOf(options, kHostName);
  if (read.IsAboutLeases() && read.client == MacAddress{}) return read;
  // On other hardware the field has no room for an address, or contains something else.
  if (message.hlen() != sizeof(MacAddress) || !IsStation(read.client)) return std::nullopt;
  return read;
}

}  // namespace

std::optional<DhcpMessage> ReadDhcpMessage(Bytes payload) {
  if (payload.size() < kFixed + sizeof kCookie) return std::nullopt;
  if (!std::ranges::equal(payload.subspan(kFixed, sizeof kCookie), kCookie)) return std::nullopt;
  try {
    const Tins::BootP message(payload.data(), static_cast<uint32_t>(payload.size()), 0);
    if (message.opcode() != Tins::BootP::BOOTREQUEST &&
        message.opcode() != Tins::BootP::BOOTREPLY) {
      return std::nullopt;
    }
    Options options;
    if (!ReadAllOptions(message, payload.subspan(kFixed + sizeof kCookie), options)) {
      return std::nullopt;
    }
    return Read(message, options);
  } catch (const Tins::exception_base&) {
    return std::nullopt;
  }
}

}  // namespace byod::capture
