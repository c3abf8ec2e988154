// SPDX-License-Identifier: Apache-2.0
// byod-feed: reports the leases of dnsmasq to lauthd. dnsmasq runs it for each of them, one after
// the other, so it is small and waits for nothing.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "feeds/dnsmasq_event.h"
#include "feeds/sighting_socket.h"

namespace {

constexpr int kBadUsage = 2;

constexpr char kHelp[] =
    "Reports leases of dnsmasq to lauthd.\n"
    "Usage: byod-feed add|old|del MAC IP [HOST-NAME]\n"
    "\n"
    "dnsmasq runs it: dhcp-script=/usr/bin/byod-feed. Other actions are ignored.\n"
    "\n"
    "Options:\n"
    "  -h,--help      Print this and exit\n"
    "  --version      Print the version and exit\n"
    "\n"
    "Environment:\n"
    "  BYOD_SIGHTINGS_SOCKET   lauthd's socket for sightings, instead of\n"
    "                          " BYOD_SIGHTINGS_SOCKET
    "\n"
    "  DNSMASQ_...             What dnsmasq says of the lease\n";

const char* SocketPath() {
  const char* const path = std::getenv("BYOD_SIGHTINGS_SOCKET");
  return path != nullptr ? path : BYOD_SIGHTINGS_SOCKET;
}

/// What becomes of the lease does not depend on it, so nothing is a failure; dnsmasq writes the
/// line into its log.
void Report(const byod::feeds::Sighting& sighting) {
  byod::feeds::SightingSocket socket(SocketPath());
  const int error = socket.Send(sighting);
  if (error == 0) return;
  std::fprintf(stderr, "byod-feed: the lease of %.*s is not reported: %s: %s\n",
               static_cast<int>(sighting.ip.size()), sighting.ip.data(), SocketPath(),
               std::strerror(error));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view first = argc > 1 ? argv[1] : "";
  if (first == "--help" || first == "-h") return std::fputs(kHelp, stdout) < 0;
  if (first == "--version") return std::puts("byod-feed " BYOD_VERSION) < 0;
  if (first.empty() || first.starts_with('-')) {
    std::fputs(
        "byod-feed: expected add, old or del, a MAC address and an IP address\n"
        "byod-feed: \"byod-feed --help\" lists the options\n",
        stderr);
    return kBadUsage;
  }
  const byod::feeds::DnsmasqEvent event(
      std::span<const char* const>(argv + 1, static_cast<size_t>(argc) - 1));
  if (event.IsSighting()) Report(event.sighting());
  return 0;
}
