// SPDX-License-Identifier: Apache-2.0
// What a packet source reads by: a reader for each form of capture.
#ifndef BYOD_CAPTURE_PACKET_READER_H
#define BYOD_CAPTURE_PACKET_READER_H

#include <cstdint>
#include <string>

#include "capture/frame.h"

namespace byod::capture {

/// As PacketSource, whose functions of the same names call these.
class PacketReader {
 public:
  virtual ~PacketReader() = default;
  virtual bool Next(Frame& frame) = 0;
  virtual void Stop() = 0;
  virtual uint64_t dropped() const { return 0; }
};

/// "frames of the kind SLIP are not read"
std::string UnknownLinkType(int link_type);

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_PACKET_READER_H
