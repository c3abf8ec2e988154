// SPDX-License-Identifier: Apache-2.0
#include "capture/packet_source.h"

#include <gmock/gmock.h>
#include <pcap/dlt.h>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "support/packets.h"

namespace byod::capture {
namespace {

namespace fs = std::filesystem;
using namespace byod::test;
using testing::ElementsAre;
using testing::HasSubstr;

Packet Text(std::string_view text) {
  return Maker().Text(text);
}

/// Numbers in either byte order, as pcapng writes them.
class Numbers {
 public:
  explicit Numbers(bool is_big_endian = false) : is_big_endian_(is_big_endian) {}

  Packet Of(uint64_t value, size_t size) const {
    Packet bytes(size);
    for (size_t i = 0; i < size; ++i)
      bytes[is_big_endian_ ? size - 1 - i : i] = static_cast<uint8_t>(value >> (8 * i));
    return bytes;
  }
  Packet Words(std::initializer_list<unsigned> words) const { return Joined(words, 2); }
  Packet Longs(std::initializer_list<uint32_t> longs) const { return Joined(longs, 4); }

  Packet Block(uint32_t type, const Packet& body) const {
    const auto size = static_cast<uint32_t>(12 + (body.size() + 3) / 4 * 4);
    Packet block = Maker().All(Longs({type, size})).All(body);
    block.resize(size - 4);
    return Maker().All(block).All(Longs({size}));
  }
  Packet Section() const {
    return Block(0x0A0D0D0A,
                 Maker().All(Longs({0x1A2B3C4D})).All(Words({1, 0})).All(Of(UINT64_MAX, 8)));
  }
  Packet Interface(unsigned link_type, uint32_t max_size = 0, const Packet& options = {}) const {
    return Block(1, Maker().All(Words({link_type, 0})).All(Longs({max_size})).All(options));
  }
  Packet PacketOf(uint32_t interface, const Packet& bytes, uint64_t time = 0) const {
    const auto size = static_cast<uint32_t>(bytes.size());
    return Block(6, Maker()
                        .All(Longs({interface, static_cast<uint32_t>(time >> 32),
                                    static_cast<uint32_t>(time), size, size + 1}))
                        .All(bytes));
  }
  /// if_tsresol
  Packet Resolution(unsigned value) const {
    return Maker().All(Words({9, 1})).Byte(value).Zeros(3);
  }

 private:
  template <typename Values>
  Packet Joined(const Values& values, size_t size) const {
    Maker maker;
    for (const auto value : values)
      maker.All(Of(value, size));
    return maker;
  }

  bool is_big_endian_;
};

struct Read {
  int link_type;
  uint64_t time_us;
  std::string bytes;

  bool operator==(const Read&) const = default;
};

class PacketSourceTest : public testing::Test {
 protected:
  PacketSourceTest() {
    std::string name = (fs::temp_directory_path() / "packet_source.XXXXXX").string();
    directory_ = mkdtemp(name.data());
  }
  ~PacketSourceTest() override { fs::remove_all(directory_); }

  std::string Write(const Packet& content) const {
    std::string path = directory_ / "capture";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(content.size()));
    return path;
  }

  std::vector<Read> ReadAll(const Packet& content) {
    PacketSource source = PacketSource::OpenFile(Write(content));
    std::vector<Read> packets;
    Frame frame;
    while (source.Next(frame)) {
      packets.push_back(
          {frame.link_type, frame.time_us, std::string(frame.bytes.begin(), frame.bytes.end())});
    }
    return packets;
  }

  /// @return why a capture cannot be read to its end; empty = it can
  std::string FaultOf(const Packet& content) {
    try {
      ReadAll(content);
    } catch (const SourceError& error) {
      return error.what();
    }
    return {};
  }

  static Packet Compressed(const Packet& plain) {
    z_stream state = {};
    deflateInit2(&state, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY);
    Packet packed(deflateBound(&state, plain.size()) + 64);
    state.next_in = const_cast<Bytef*>(plain.data());
    state.avail_in = static_cast<uInt>(plain.size());
    state.next_out = packed.data();
    state.avail_out = static_cast<uInt>(packed.size());
    deflate(&state, Z_FINISH);
    packed.resize(state.total_out);
    deflateEnd(&state);
    return packed;
  }

  /// A file in the form pcap with one packet for each text.
  static Packet Pcap(const std::vector<std::string>& texts) {
    const Numbers numbers;
    Maker maker;
    maker.All(numbers.Longs({0xA1B2C3D4})).All(numbers.Words({2, 4}));
    maker.All(numbers.Longs({0, 0, 65535, 1}));
    for (const std::string& text : texts) {
      const auto size = static_cast<uint32_t>(text.size());
      maker.All(numbers.Longs({100, 5, size, size})).Text(text);
    }
    return maker;
  }

 private:
  fs::path directory_;
};

TEST_F(PacketSourceTest, AFileThatGzipCompressedReadsLikeTheOneInIt) {
  const Packet plain = Pcap({"one", std::string(100000, 'x'), "three"});
  const std::vector<Read> expected = ReadAll(plain);
  ASSERT_EQ(expected.size(), 3U);
  EXPECT_EQ(ReadAll(Compressed(plain)), expected);
  const Numbers numbers;
  const Packet other =
      Maker().All(numbers.Section()).All(numbers.Interface(1)).All(numbers.PacketOf(0, Text("a")));
  EXPECT_THAT(ReadAll(Compressed(other)), ElementsAre(Read{1, 0, "a"}));
}

TEST_F(PacketSourceTest, CompressedFilesInARowAreOneAndZerosMayFollow) {
  const Packet plain = Pcap({"one", "two"});
  const Packet first(plain.begin(), plain.begin() + 30);
  const Packet second(plain.begin() + 30, plain.end());
  const Packet both = Maker().All(Compressed(first)).All(Compressed(second)).Zeros(512);
  EXPECT_EQ(ReadAll(both), ReadAll(plain));
}

TEST_F(PacketSourceTest, ACompressedFileThatIsCutOrDamagedIsReported) {
  const Packet packed = Compressed(Pcap({"one", "two"}));
  for (size_t size = 1; size < packed.size(); ++size) {
    EXPECT_THAT(FaultOf(Packet(packed.begin(), packed.begin() + static_cast<ptrdiff_t>(size))),
                HasSubstr("the compressed data ends early"))
        << size;
  }
  Packet damaged = packed;
  damaged[packed.size() - 6] ^= 1;  // of the checksum
  EXPECT_THAT(FaultOf(damaged), HasSubstr("the compressed data is damaged"));
}

TEST_F(PacketSourceTest, PacketsOfInterfacesThatDifferAreRead) {
  for (const bool is_big_endian : {false, true}) {
    SCOPED_TRACE(is_big_endian);
    const Numbers numbers(is_big_endian);
    const Packet file = Maker()
                            .All(numbers.Section())
                            .All(numbers.Interface(1, 96))
                            .All(numbers.Interface(101, 65535, numbers.Resolution(9)))
                            .All(numbers.Block(5, Text("counts of an interface")))
                            .All(numbers.PacketOf(0, Text("first"), 1'000'002))
                            .All(numbers.PacketOf(1, Text("second!!"), 3'000'004'567))
                            .All(numbers.Section())
                            .All(numbers.Interface(113, 0, numbers.Resolution(0x80 | 10)))
                            .All(numbers.PacketOf(0, Text("third"), 5 * 1024 + 512));
    EXPECT_THAT(ReadAll(file), ElementsAre(Read{DLT_EN10MB, 1'000'002, "first"},
                                           Read{DLT_RAW, 3'000'005, "second!!"},
                                           Read{DLT_LINUX_SLL, 5'500'000, "third"}));
  }
}

TEST_F(PacketSourceTest, SimpleAndOldPacketsAreRead) {
  const Numbers numbers;
  const Packet file =
      Maker()
          .All(numbers.Section())
          .All(numbers.Interface(1, 4))
          .All(numbers.Block(3, Maker().All(numbers.Longs({9})).Text("cut!")))
          .All(numbers.Block(3, Maker().All(numbers.Longs({2})).Text("no")))
          .All(numbers.Block(
              2, Maker().All(numbers.Words({0, 0})).All(numbers.Longs({0, 7, 3, 3})).Text("old")));
  EXPECT_THAT(ReadAll(file), ElementsAre(Read{1, 0, "cut!"}, Read{1, 0, "no"}, Read{1, 7, "old"}));
}

TEST_F(PacketSourceTest, TheOffsetOfAnInterfaceIsAddedToItsTimes) {
  const Numbers numbers;
  const Packet options = Maker().All(numbers.Words({14, 8})).All(numbers.Of(100, 8)).Zeros(4);
  const Packet file = Maker()
                          .All(numbers.Section())
                          .All(numbers.Interface(1, 0, options))
                          .All(numbers.PacketOf(0, Text("a"), 7));
  EXPECT_THAT(ReadAll(file), ElementsAre(Read{1, 100'000'007, "a"}));
}

TEST_F(PacketSourceTest, AFileCutInsideABlockIsReported) {
  const Numbers numbers;
  const Packet head = Maker().All(numbers.Section()).All(numbers.Interface(1));
  const Packet packet = numbers.PacketOf(0, Text("packet"));
  for (size_t size = 1; size < packet.size(); ++size) {
    const Packet cut(packet.begin(), packet.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_THAT(FaultOf(Maker().All(head).All(cut)), HasSubstr("the file ends within a block"))
        << size;
  }
}

TEST_F(PacketSourceTest, BlocksThatContradictThemselvesAreReported) {
  const Numbers numbers;
  const Packet head = Maker().All(numbers.Section()).All(numbers.Interface(1));
  const auto fault_of = [&](const Packet& more) { return FaultOf(Maker().All(head).All(more)); };
  EXPECT_THAT(fault_of(numbers.PacketOf(1, Text("x"))), HasSubstr("does not describe"));
  EXPECT_THAT(fault_of(numbers.Longs({6, 0x7FFFFFFC, 0})), HasSubstr("impossible length"));
  EXPECT_THAT(fault_of(numbers.Longs({6, 8, 8})), HasSubstr("impossible length"));
  EXPECT_THAT(fault_of(numbers.Block(6, numbers.Longs({0, 0, 0, 9, 9, 0, 0}))),
              HasSubstr("longer than its block"));
  EXPECT_THAT(fault_of(numbers.Block(1, numbers.Words({1}))), HasSubstr("cut short"));
  EXPECT_THAT(FaultOf(numbers.Longs({0x0A0D0D0A, 28, 0x12345678, 0, 0, 0, 28})),
              HasSubstr("not a capture file"));
}

TEST_F(PacketSourceTest, DamagedFilesDoNoHarm) {
  const Numbers numbers;
  const Packet options = Maker().All(numbers.Words({14, 8})).All(numbers.Of(100, 8)).Zeros(4);
  const Packet plain = Maker()
                           .All(numbers.Section())
                           .All(numbers.Interface(1, 96, options))
                           .All(numbers.Interface(113, 96, numbers.Resolution(9)))
                           .All(numbers.PacketOf(0, Text("first"), 5))
                           .All(numbers.Block(3, Maker().All(numbers.Longs({2})).Text("no")))
                           .All(numbers.PacketOf(1, Text("second"), 7));
  std::mt19937 random(4);
  size_t read = 0, refused = 0;
  for (int i = 0; i < 900; ++i) {
    Packet file = i % 3 == 0 ? Compressed(plain) : plain;
    for (size_t times = 1 + random() % 4; times > 0; --times) {
      uint8_t& byte = file[random() % file.size()];
      byte = static_cast<uint8_t>(random() % 2 == 0 ? random() : byte ^ 1U << random() % 8);
    }
    ++(FaultOf(file).empty() ? read : refused);
  }
  EXPECT_GT(read, 30U);
  EXPECT_GT(refused, 100U);
}

TEST_F(PacketSourceTest, AFileWithoutALinkThatIsReadIsRefusedWithItsKind) {
  const Numbers numbers;
  const Packet packet = numbers.PacketOf(0, Text("x"));
  EXPECT_THAT(FaultOf(Maker().All(numbers.Section()).All(numbers.Interface(8)).All(packet)),
              HasSubstr("frames of the kind SLIP are not read"));
  // Beside a link that is read, its packets are passed over by the caller.
  EXPECT_EQ(FaultOf(Maker()
                        .All(numbers.Section())
                        .All(numbers.Interface(8))
                        .All(numbers.Interface(1))
                        .All(packet)),
            "");
}

}  // namespace
}  // namespace byod::capture
