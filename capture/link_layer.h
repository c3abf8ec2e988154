// What stands in front of an IP packet: Ethernet with any VLAN tags, 802.11, cooked captures, raw
// IP; and the tunnel in which wireless access points hand frames to their controller.
//
// Taken off by hand, layer by layer, with a bound on their number: libtins makes an object inside
// an object for each tag, so that one packet of nothing but tags could exhaust the stack.
#ifndef BYOD_CAPTURE_LINK_LAYER_H
#define BYOD_CAPTURE_LINK_LAYER_H

#include <optional>

#include "capture/frame.h"

namespace byod::capture {

enum class Verdict {
  kFound,
  kNothing,   ///< sound as far as it was looked at, but not what is looked for
  kMalformed  ///< cut short, or at odds with itself
};

struct Unwrapped {
  Verdict verdict = Verdict::kNothing;
  std::optional<MacAddress> sender;  ///< of the frame; of an 802.11 frame its original source
  Bytes ip;                          ///< the packet and maybe padding behind it
};

/// Whether frames of this DLT_* are understood.
bool IsKnownLinkType(int link_type);

Unwrapped UnwrapFrame(int link_type, Bytes frame);

/// @param payload  of a UDP packet to or from kCapwapDataPort
Unwrapped UnwrapCapwap(Bytes payload);

inline constexpr uint16_t kCapwapDataPort = 5247;

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_LINK_LAYER_H
