// SPDX-License-Identifier: Apache-2.0
// Packets by libpcap: of a network interface, or of a file in the form pcap.
#ifndef BYOD_CAPTURE_PCAP_READER_H
#define BYOD_CAPTURE_PCAP_READER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "capture/capture_file.h"
#include "capture/packet_reader.h"

struct pcap;

namespace byod::capture {

class PcapReader : public PacketReader {
 public:
  /// @throws SourceError as PacketSource says
  explicit PcapReader(CaptureFile file);
  explicit PcapReader(const std::string& interface);

  bool Next(Frame& frame) override;
  void Stop() override;
  uint64_t dropped() const override;

 private:
  struct Closer {
    void operator()(pcap* handle) const;
  };
  using Handle = std::unique_ptr<pcap, Closer>;

  void CheckLinkType();
  [[noreturn]] void Fail(const std::string& reason) const;

  std::string name_;
  std::optional<CaptureFile> file_;  // its stream is the handle's
  Handle handle_;
  int link_type_ = 0;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_PCAP_READER_H
