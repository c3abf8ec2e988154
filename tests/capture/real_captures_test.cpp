// SPDX-License-Identifier: Apache-2.0
// Captures of real stations, and what another program reads from them, where they are at hand: in
// pcap/ of the folder that BYOD_CORPUS names, or of ../shared/corpus beside the source tree.
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "capture/dissector.h"
#include "capture/packet_source.h"

namespace byod::capture {
namespace {

namespace fs = std::filesystem;

/// A fingerprint in a capture, and the packets that show it.
struct Seen {
  size_t first = 0;
  size_t packets = 0;
  std::set<int> types;  // of DHCP messages
};

/// By capture, kind, client's address, sender's address, and list or User-Agent.
using Fingerprints = std::map<std::vector<std::string>, Seen>;

fs::path Folder() {
  const char* const named = std::getenv("BYOD_CORPUS");
  if (named != nullptr) return fs::path(named) / "pcap";
  return fs::path(SOURCE_DIRECTORY).parent_path() / "shared" / "corpus" / "pcap";
}

std::string TextOf(const std::optional<MacAddress>& mac) {
  return mac ? net::ToString(*mac) : "";
}

std::string ListOf(const std::vector<uint8_t>& options) {
  std::string text;
  for (const uint8_t option : options)
    text += (text.empty() ? "" : ",") + std::to_string(option);
  return text;
}

void Note(const std::string& capture, const Sighting& sighting, size_t packet,
          Fingerprints& found) {
  std::vector<std::string> key{capture};
  if (sighting.HasOptions()) {
    key.insert(key.end(), {"dhcp", net::ToString(sighting.dhcp.client),
                           TextOf(sighting.outer_sender), ListOf(sighting.dhcp.option55)});
  } else if (sighting.kind == Sighting::Kind::kUserAgent) {
    key.insert(key.end(), {"http", "", TextOf(sighting.outer_sender), sighting.user_agent});
  } else {
    return;
  }
  Seen& seen = found[key];
  if (seen.packets++ == 0) seen.first = packet;
  if (key[1] == "dhcp") seen.types.insert(sighting.dhcp.type);
}

void ReadCapture(const fs::path& path, Fingerprints& found) {
  PacketSource source = PacketSource::OpenFile(path);
  Dissector dissector;
  Frame frame;
  while (source.Next(frame)) {
    for (const Sighting& sighting : dissector.Take(frame))
      Note(path.filename(), sighting, dissector.counts().packets, found);
  }
}

std::vector<std::string> SplitAt(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, separator);)
    parts.push_back(part);
  return parts;
}

/// Columns: pcap kind client_hw_address link_source dhcp_message_types option55 user_agent hostname
/// vendor_class first_frame packets
Fingerprints ReadExpected(const fs::path& path) {
  Fingerprints expected;
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);  // the header
  while (std::getline(in, line)) {
    const auto fields = SplitAt(line, '\t');
    if (fields.size() != 11) throw std::runtime_error("not a row of 11 fields: " + line);
    const bool is_dhcp = fields[1] == "dhcp";
    Seen& seen =
        expected[{fields[0], fields[1], fields[2], fields[3], is_dhcp ? fields[5] : fields[6]}];
    for (const std::string& type : SplitAt(fields[4], ','))
      seen.types.insert(std::stoi(type));
    seen.first = std::stoul(fields[9]);
    seen.packets = std::stoul(fields[10]);
  }
  return expected;
}

TEST(RealCaptures, TellWhatAnotherProgramReadsFromThem) {
  const fs::path expected_file = Folder() / "expected.tsv";
  if (!fs::exists(expected_file)) GTEST_SKIP() << "no " << expected_file;
  const Fingerprints expected = ReadExpected(expected_file);
  Fingerprints found;
  for (const fs::directory_entry& entry : fs::directory_iterator(Folder())) {
    if (entry.path().extension() == ".pcap") ReadCapture(entry.path(), found);
  }
  ASSERT_FALSE(expected.empty());
  for (const auto& [key, seen] : found)
    EXPECT_TRUE(expected.contains(key)) << testing::PrintToString(key);
  for (const auto& [key, seen] : expected) {
    SCOPED_TRACE(testing::PrintToString(key));
    const auto own = found.find(key);
    ASSERT_NE(own, found.end());
    EXPECT_EQ(own->second.packets, seen.packets);
    EXPECT_EQ(own->second.types, seen.types);
    if (key[1] == "dhcp") {
      EXPECT_EQ(own->second.first, seen.first);
    } else {
      // The other program reports the packet in which the body of a request ends.
      EXPECT_LE(own->second.first, seen.first);
    }
  }
}

}  // namespace
}  // namespace byod::capture
