// SPDX-License-Identifier: Apache-2.0
// Packets from a file or from a network interface, by libpcap.
#ifndef BYOD_CAPTURE_PACKET_SOURCE_H
#define BYOD_CAPTURE_PACKET_SOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "capture/frame.h"

struct pcap;

namespace byod::capture {

/// The packets cannot be read; what() says why.
class SourceError : public std::runtime_error {
 public:
  SourceError(const std::string& what, bool is_permission)
      : std::runtime_error(what), is_permission_(is_permission) {}

  /// The process lacks the permission to capture.
  bool is_permission() const { return is_permission_; }

 private:
  bool is_permission_;
};

class PacketSource {
 public:
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
  bool Next(Frame& frame);

  /// Ends the current Next, or the next one. May be called from a signal handler.
  void Stop();

  /// Packets of an interface that came too fast to be read, so far.
  uint64_t dropped() const;

 private:
  struct Closer {
    void operator()(pcap* handle) const;
  };
  using Handle = std::unique_ptr<pcap, Closer>;

  PacketSource(Handle handle, std::string name);

  Handle handle_;
  std::string name_;
  int link_type_;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_PACKET_SOURCE_H
