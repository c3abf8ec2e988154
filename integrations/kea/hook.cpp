// SPDX-License-Identifier: Apache-2.0
// libdhcp_byod.so: reports the leases of Kea's DHCPv4 server to lauthd, with what the client sent
// in its request. The server loads it by its configuration.
//
// Nothing that happens here reaches the server: it is called between the request and the reply, so
// it waits for nothing and throws nothing, and whether a sighting arrives changes no reply.
#include <dhcp/dhcp4.h>
#include <dhcp/hwaddr.h>
#include <dhcp/pkt4.h>
#include <dhcpsrv/lease.h>
#include <hooks/hooks.h>

#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "feeds/sighting_socket.h"

namespace {

using byod::feeds::Sighting;
using byod::feeds::SightingSocket;
using isc::dhcp::Lease4;
using isc::dhcp::Lease4CollectionPtr;
using isc::dhcp::Lease4Ptr;
using isc::dhcp::Pkt4Ptr;
using isc::hooks::CalloutHandle;

// The server may call from several threads; a sighting takes some microseconds.
std::mutex g_mutex;
std::unique_ptr<SightingSocket> g_socket;

void Report(Sighting sighting) {
  sighting.feed = "kea";
  const std::lock_guard lock(g_mutex);
  if (g_socket) g_socket->Send(sighting);
}

/// @return "" for another network than Ethernet
std::string MacOf(const isc::dhcp::HWAddrPtr& address) {
  constexpr size_t kSize = 6;
  const bool is_mac =
      address && address->htype_ == isc::dhcp::HTYPE_ETHER && address->hwaddr_.size() == kSize;
  return is_mac ? address->toText(false) : std::string();
}

std::vector<uint8_t> OptionOf(const Pkt4Ptr& query, uint16_t code) {
  const isc::dhcp::OptionPtr option = query->getOption(code);
  return option ? option->toBinary() : std::vector<uint8_t>();
}

std::string_view TextOf(const std::vector<uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Reports what a client sent. @param lease  what it got for that, or null
void ReportRequest(const Pkt4Ptr& query, const Lease4* lease) {
  constexpr uint32_t kForever = std::numeric_limits<uint32_t>::max();
  const std::string mac = MacOf(query->getHWAddr());
  if (mac.empty()) return;
  const auto options = OptionOf(query, isc::dhcp::DHO_DHCP_PARAMETER_REQUEST_LIST);
  const auto vendor_class = OptionOf(query, isc::dhcp::DHO_VENDOR_CLASS_IDENTIFIER);
  const auto host_name = OptionOf(query, isc::dhcp::DHO_HOST_NAME);
  const std::string ip = lease != nullptr ? lease->addr_.toText() : std::string();
  Sighting sighting;
  sighting.mac = mac;
  sighting.options = options;
  sighting.vendor_class = TextOf(vendor_class);
  sighting.host_name = TextOf(host_name);
  if (lease != nullptr) {
    sighting.ip = ip;
    sighting.event = "lease";
    if (lease->valid_lft_ != kForever) sighting.lease_end = lease->cltt_ + lease->valid_lft_;
  }
  Report(sighting);
}

void ReportEnd(const Lease4& lease) {
  const std::string mac = MacOf(lease.hwaddr_);
  const std::string ip = lease.addr_.toText();
  if (mac.empty()) return;
  Sighting sighting;
  sighting.mac = mac;
  sighting.ip = ip;
  sighting.event = "lease-end";
  Report(sighting);
}

/// After a request or a release. A lease that the server did not have to store again is not among
/// the new ones; then the request alone is reported.
void TakeCommitted(CalloutHandle& handle) {
  Pkt4Ptr query;
  Lease4CollectionPtr leases, deleted;
  handle.getArgument("query4", query);
  handle.getArgument("leases4", leases);
  handle.getArgument("deleted_leases4", deleted);
  if (deleted) {
    for (const Lease4Ptr& lease : *deleted)
      ReportEnd(*lease);
  }
  if (query->getType() != isc::dhcp::DHCPREQUEST) return;
  ReportRequest(query, leases && !leases->empty() ? leases->front().get() : nullptr);
}

/// Of a client that has its address from elsewhere.
void TakeInform(CalloutHandle& handle) {
  Pkt4Ptr query;
  handle.getArgument("query4", query);
  if (query->getType() == isc::dhcp::DHCPINFORM) ReportRequest(query, nullptr);
}

void TakeExpired(CalloutHandle& handle) {
  Lease4Ptr lease;
  handle.getArgument("lease4", lease);
  ReportEnd(*lease);
}

/// Calls it, and keeps from the server that it failed.
template <typename Take>
int Guarded(CalloutHandle& handle, Take take) noexcept {
  try {
    take(handle);
  } catch (...) {
    // Without memory, or a server that passes something else: there is nothing to report.
  }
  return 0;
}

}  // namespace

// What the server looks for by name.
extern "C" {

int version() {
  return KEA_HOOKS_VERSION;
}

int multi_threading_compatible() {
  return 1;
}

/// @return 0, or 1 for parameters that are wrong: the server refuses its configuration
int load(isc::hooks::LibraryHandle& handle) {
  try {
    const isc::data::ConstElementPtr path = handle.getParameter("socket");
    const std::string socket = path ? path->stringValue() : BYOD_SIGHTINGS_SOCKET;
    g_socket = std::make_unique<SightingSocket>(socket.c_str());
    return 0;
  } catch (...) {
    return 1;
  }
}

int unload() {
  g_socket.reset();
  return 0;
}

int leases4_committed(CalloutHandle& handle) {
  return Guarded(handle, &TakeCommitted);
}

int pkt4_send(CalloutHandle& handle) {
  return Guarded(handle, &TakeInform);
}

int lease4_expire(CalloutHandle& handle) {
  return Guarded(handle, &TakeExpired);
}
}
