// SPDX-License-Identifier: Apache-2.0
#include "capture/packet_source.h"

#include "capture/capture_file.h"
#include "capture/pcap_reader.h"
#include "capture/pcapng_reader.h"

namespace byod::capture {

PacketSource PacketSource::OpenFile(const std::string& path) {
  CaptureFile file(path);
  if (file.Peek() == kFirstOfPcapng) {
    return PacketSource(std::make_unique<PcapngReader>(std::move(file)));
  }
  return PacketSource(std::make_unique<PcapReader>(std::move(file)));
}

PacketSource PacketSource::OpenInterface(const std::string& name) {
  return PacketSource(std::make_unique<PcapReader>(name));
}

}  // namespace byod::capture
