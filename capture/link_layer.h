// SPDX-License-Identifier: Apache-2.0
// The headers before an IP packet: Ethernet with any VLAN tags, PPPoE or MPLS, 802.11, cooked
// captures, raw IP; and the tunnel in which wireless access points send frames to their controller.
//
// Parsed here, layer by layer, with a limit on their number: libtins nests an object for each tag,
// so that one packet full of tags could exhaust the stack.
#ifndef BYOD_CAPTURE_LINK_LAYER_H
#define BYOD_CAPTURE_LINK_LAYER_H

#include <optional>

#include "capture/frame.h"

namespace byod::capture {

enum class Verdict {
  kFound,
  kNothing,   ///< well-formed as far as it was read, but without IP
  kMalformed  ///< cut short or inconsistent
};

struct Unwrapped {
  Verdict verdict = Verdict::kNothing;
  std::optional<MacAddress> sender;  ///< of the frame; of an 802.11 frame its original source
  Bytes ip;                          ///< the packet, perhaps with padding after it
  bool is_arp = false;               ///< nothing found: the frame has an ARP packet in place of ip
};

/// Whether frames of this DLT_* are understood.
bool IsKnownLinkType(int link_type);

Unwrapped UnwrapFrame(int link_type, Bytes frame);

/// @param payload  of a UDP packet to or from kCapwapDataPort
Unwrapped UnwrapCapwap(Bytes payload);

inline constexpr uint16_t kCapwapDataPort = 5247;

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_LINK_LAYER_H
