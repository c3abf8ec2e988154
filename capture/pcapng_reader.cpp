// SPDX-License-Identifier: Apache-2.0
#include "capture/pcapng_reader.h"

#include <pcap/dlt.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "capture/link_layer.h"
#include "capture/source_error.h"
#include "net/byte_order.h"

namespace byod::capture {
namespace {

// block: "type(4) length(4) body length(4)", the length that of the whole block, a multiple of 4
enum BlockType : uint32_t {
  kSection = 0x0A0D0D0A,  // "byte order(4) version(4) section length(8)", options
  kInterface = 1,         // "link type(2) reserved(2) snapshot length(4)", options
  kOldPacket = 2,         // "interface(2) drops(2) time(8) captured(4) length(4)", bytes, options
  kSimplePacket = 3,      // "length(4)", bytes; of the first interface
  kPacket = 6             // "interface(4) time(8) captured(4) length(4)", bytes, options
};

// Above what any capturing program writes: the largest packet of USB has 128 MiB, of a network 256
// KiB.
constexpr uint32_t kMaxBlock = 16U << 20;
constexpr size_t kAroundBody = 12;
constexpr uint32_t kByteOrder = 0x1A2B3C4D;

/// A file has numbers of its own for what machines number differently.
int LinkTypeOf(uint16_t number) {
  constexpr uint16_t kRaw = 101;
  return number == kRaw ? DLT_RAW : number;
}

/// From "10 to the power -value", or of 2 if the highest bit is set.
uint64_t UnitsOf(uint8_t resolution) {
  const double power = std::pow((resolution & 0x80) != 0 ? 2.0 : 10.0, resolution & 0x7F);
  return power < 1e19 ? static_cast<uint64_t>(power) : 0;
}

uint64_t MicrosecondsOf(uint64_t time, uint64_t units, int64_t offset_s) {
  constexpr uint64_t kMicroseconds = 1'000'000;
  if (units == 0) return 0;
  const uint64_t seconds = time / units + static_cast<uint64_t>(offset_s);
  const double rest = static_cast<double>(time % units) / static_cast<double>(units);
  return seconds * kMicroseconds +
         std::min<uint64_t>(static_cast<uint64_t>(rest * kMicroseconds + 0.5), kMicroseconds - 1);
}

}  // namespace

/// Reads a block from the front, in the byte order of its section. Behind the end are zeros.
class PcapngReader::Fields {
 public:
  Fields(Bytes bytes, bool is_big_endian) : rest_(bytes), is_big_endian_(is_big_endian) {}

  bool failed() const { return failed_; }
  size_t size() const { return rest_.size(); }

  Bytes Take(size_t count) {
    failed_ = failed_ || count > rest_.size();
    if (failed_) return {};
    const Bytes taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }
  uint16_t Word() { return Number<uint16_t>(); }
  uint32_t Long() { return Number<uint32_t>(); }

 private:
  template <typename Value>
  Value Number() {
    const Bytes taken = Take(sizeof(Value));
    if (taken.empty()) return 0;
    return is_big_endian_ ? net::LoadBig<Value>(taken.data())
                          : net::LoadLittle<Value>(taken.data());
  }

  Bytes rest_;
  bool is_big_endian_;
  bool failed_ = false;
};

PcapngReader::PcapngReader(CaptureFile file) : file_(std::move(file)) {
  Frame frame;
  if (Next(frame)) first_ = frame;
  const auto is_known = [](const Interface& i) { return IsKnownLinkType(i.link_type); };
  if (!interfaces_.empty() && std::ranges::none_of(interfaces_, is_known)) {
    Fail(UnknownLinkType(interfaces_.front().link_type));
  }
}

void PcapngReader::Fail(const std::string& reason) const {
  throw SourceError(file_.name() + ": " + (file_.fault().empty() ? reason : file_.fault()), false);
}

bool PcapngReader::Next(Frame& frame) {
  if (first_) {
    frame = *first_;
    first_.reset();
    return true;
  }
  while (!is_stopped_) {
    const auto block = ReadBlock();
    if (!block) return false;
    if (TakeBlock(*block, frame)) return true;
  }
  return false;
}

/// @return false at the end of the file
bool PcapngReader::ReadExactly(void* out, size_t size) {
  const size_t read = std::fread(out, 1, size, file_.stream());
  if (read == size) return true;
  if (is_stopped_) return false;
  if (std::ferror(file_.stream()) != 0) Fail(std::strerror(errno));
  if (read > 0) Fail("the file ends within a block");
  return false;
}

/// @return nothing at the end of the file
std::optional<PcapngReader::Block> PcapngReader::ReadBlock() {
  uint8_t head[8];
  if (!ReadExactly(head, sizeof head)) return std::nullopt;
  Block block;
  // Spelt alike in both byte orders. The length that follows is in the order of the new section.
  block.type = net::LoadBig<uint32_t>(head);
  uint8_t order[4] = {};
  const bool is_section = block.type == kSection;
  if (is_section) {
    if (!ReadExactly(order, sizeof order)) Fail("the file ends within a block");
    StartSection(net::LoadBig<uint32_t>(order));
  }
  if (!has_section_) Fail("not a capture file");
  Fields fields(head, is_big_endian_);
  block.type = fields.Long();
  const uint32_t size = fields.Long();
  const size_t read = sizeof head + (is_section ? sizeof order : 0);
  if (size % 4 != 0 || size > kMaxBlock || size < kAroundBody + (is_section ? 16 : 0)) {
    Fail("a block has the impossible length " + std::to_string(size));
  }
  body_.resize(size - read);
  if (!ReadExactly(body_.data(), body_.size())) {
    if (is_stopped_) return std::nullopt;
    Fail("the file ends within a block");
  }
  block.body = Bytes(body_).first(body_.size() - sizeof size);
  return block;
}

void PcapngReader::StartSection(uint32_t order) {
  is_big_endian_ = order == kByteOrder;
  if (!is_big_endian_ && order != __builtin_bswap32(kByteOrder)) Fail("not a capture file");
  has_section_ = true;
  interfaces_.clear();
}

/// @return whether the block is a packet
bool PcapngReader::TakeBlock(const Block& block, Frame& frame) {
  const Fields fields(block.body, is_big_endian_);
  switch (block.type) {
    case kInterface:
      TakeInterface(fields);
      return false;
    case kPacket:
    case kOldPacket:
    case kSimplePacket:
      return TakePacket(block.type, fields, frame);
    default:
      return false;  // names, statistics, comments
  }
}

/// Options: "code(2) length(2) value", each filled up to a multiple of 4 bytes, the last one of
/// code 0
void PcapngReader::TakeInterface(Fields fields) {
  enum : uint16_t { kEnd = 0, kResolution = 9, kOffset = 14 };
  Interface interface;
  interface.link_type = LinkTypeOf(fields.Word());
  fields.Word();
  interface.max_size = fields.Long();
  if (fields.failed()) Fail("an interface is cut short");
  while (fields.size() >= 4) {
    const uint16_t code = fields.Word();
    const uint16_t length = fields.Word();
    if (code == kEnd) break;
    Fields value(fields.Take((size_t{length} + 3) / 4 * 4), is_big_endian_);
    if (fields.failed()) Fail("an option of an interface is cut short");
    if (code == kResolution && length == 1) interface.units = UnitsOf(value.Take(1)[0]);
    if (code == kOffset && length == 8) {
      const Bytes bytes = value.Take(8);
      interface.offset_s =
          static_cast<int64_t>(is_big_endian_ ? net::LoadBig<uint64_t>(bytes.data())
                                              : net::LoadLittle<uint64_t>(bytes.data()));
    }
  }
  interfaces_.push_back(interface);
}

bool PcapngReader::TakePacket(uint32_t type, Fields fields, Frame& frame) {
  uint32_t number = 0;
  uint64_t time = 0;
  if (type == kPacket) number = fields.Long();
  if (type == kOldPacket) {
    number = fields.Word();
    fields.Word();
  }
  if (type != kSimplePacket) {
    time = uint64_t{fields.Long()} << 32;
    time |= fields.Long();
  }
  if (number >= interfaces_.size()) {
    Fail("a packet of the interface " + std::to_string(number) +
         ", which the file does not describe");
  }
  const Interface& interface = interfaces_[number];
  uint32_t size = fields.Long();
  if (type == kSimplePacket) {
    if (interface.max_size > 0) size = std::min(size, interface.max_size);
  } else {
    fields.Long();
  }
  frame.bytes = fields.Take(size);
  if (fields.failed()) Fail("a packet is longer than its block");
  frame.link_type = interface.link_type;
  frame.time_us = MicrosecondsOf(time, interface.units, interface.offset_s);
  return true;
}

}  // namespace byod::capture
