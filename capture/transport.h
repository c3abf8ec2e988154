// SPDX-License-Identifier: Apache-2.0
// UDP and TCP packets in IP packets, read by libtins.
#ifndef BYOD_CAPTURE_TRANSPORT_H
#define BYOD_CAPTURE_TRANSPORT_H

#include <cstdint>
#include <vector>

#include "capture/frame.h"
#include "capture/link_layer.h"

namespace byod::capture {

/// One UDP or TCP packet.
struct Segment {
  bool is_tcp = false;
  IpAddress source = {};
  IpAddress destination = {};
  uint16_t source_port = 0;
  uint16_t destination_port = 0;
  uint32_t sequence = 0;  ///< TCP: of the payload's first byte
  bool is_start = false;  ///< TCP: SYN
  bool is_reset = false;  ///< TCP: RST
  bool is_cut = false;    ///< captured shorter than it was sent
  std::vector<uint8_t> payload;
};

struct Transport {
  Verdict verdict = Verdict::kNothing;
  Segment segment;
};

/// @param ip  an IPv4 or IPv6 packet, perhaps with padding. Fragments are not reassembled: they are
///            skipped.
Transport ReadIp(Bytes ip);

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_TRANSPORT_H
