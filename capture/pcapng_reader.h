// SPDX-License-Identifier: Apache-2.0
// Capture files in the form pcapng, in which each packet names the interface that it passed.
//
// Read here and not by libpcap, which refuses a file whose interfaces differ in their kind of link
// or in how much of a packet they keep.
#ifndef BYOD_CAPTURE_PCAPNG_READER_H
#define BYOD_CAPTURE_PCAPNG_READER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "capture/capture_file.h"
#include "capture/packet_reader.h"

namespace byod::capture {

/// The first byte of a file of this form.
inline constexpr int kFirstOfPcapng = 0x0A;

class PcapngReader : public PacketReader {
 public:
  /// Reads up to the first packet.
  /// @throws SourceError when the file is damaged there, or frames of none of the interfaces that
  /// it
  ///         names by then are understood
  explicit PcapngReader(CaptureFile file);

  /// Frames of interfaces with a link that is not understood are returned too, with its number.
  /// @throws SourceError when the file is damaged from here on
  bool Next(Frame& frame) override;
  void Stop() override { is_stopped_ = true; }

 private:
  struct Interface {
    int link_type = 0;
    uint32_t max_size = 0;       // of what is kept of a packet; 0 = all
    uint64_t units = 1'000'000;  // of a time, in a second
    int64_t offset_s = 0;        // added to a time
  };
  struct Block {
    uint32_t type = 0;
    Bytes body;
  };
  class Fields;

  bool ReadExactly(void* out, size_t size);
  std::optional<Block> ReadBlock();
  void StartSection(uint32_t order);
  bool TakeBlock(const Block& block, Frame& frame);
  void TakeInterface(Fields fields);
  bool TakePacket(uint32_t type, Fields fields, Frame& frame);
  [[noreturn]] void Fail(const std::string& reason) const;

  CaptureFile file_;
  std::atomic<bool> is_stopped_ = false;
  bool is_big_endian_ = false;
  bool has_section_ = false;
  std::vector<Interface> interfaces_;
  std::vector<uint8_t> body_;
  std::optional<Frame> first_;  // read ahead by the constructor
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_PCAPNG_READER_H
