// SPDX-License-Identifier: Apache-2.0
// Packets from a file or from a network interface.
#ifndef BYOD_CAPTURE_PACKET_SOURCE_H
#define BYOD_CAPTURE_PACKET_SOURCE_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "capture/frame.h"
#include "capture/packet_reader.h"
#include "capture/source_error.h"

namespace byod::capture {

class PacketSource {
 public:
  /// A file in the form pcap or pcapng, perhaps compressed by gzip.
  /// @param path  "-" for standard input
  /// @throws SourceError when it is not a capture, or of an unknown kind of link
  static PacketSource OpenFile(const std::string& path);

  /// Every packet that passes the interface from now on, in promiscuous mode.
  /// @throws SourceError
  static PacketSource OpenInterface(const std::string& name);

  /**
   * Waits for the next packet.
   *
   * @param frame  filled in; its bytes are borrowed until the next call
   * @return false at the end of a file, and after Stop
   * @throws SourceError when the capture is damaged from here on, or the interface is gone
   */
  bool Next(Frame& frame) { return reader_->Next(frame); }

  /// Ends the current Next, or the next one. May be called from a signal handler.
  void Stop() { reader_->Stop(); }

  /// Packets of an interface that came too fast to be read, so far.
  uint64_t dropped() const { return reader_->dropped(); }

 private:
  explicit PacketSource(std::unique_ptr<PacketReader> reader) : reader_(std::move(reader)) {}

  std::unique_ptr<PacketReader> reader_;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_PACKET_SOURCE_H
