// SPDX-License-Identifier: Apache-2.0
#include "support/golden.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <fstream>

namespace support {

std::map<std::string, std::string> ReadGolden(const std::string& file) {
  std::ifstream in(std::string(BYOD_GOLDEN_DIR "/") + file);
  EXPECT_TRUE(in.good()) << file;
  std::map<std::string, std::string> golden;
  std::string line, name;
  while (std::getline(in, line)) {
    line.resize(std::min(line.find('#'), line.size()));
    size_t at = 0;
    if (!line.empty() && line[0] != ' ') {
      at = line.find(':');
      if (at == std::string::npos) {
        ADD_FAILURE() << file << ": " << line;
        continue;
      }
      name = line.substr(0, at++);
      EXPECT_EQ(golden.count(name), 0u) << name;
    }
    std::string digits;
    for (; at < line.size(); ++at) {
      if (std::isxdigit(static_cast<unsigned char>(line[at]))) digits.push_back(line[at]);
    }
    EXPECT_EQ(digits.size() % 2, 0u) << file << ": " << line;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
      golden[name].push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
  }
  return golden;
}

std::string Hex(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02x ", static_cast<unsigned char>(c));
    text += hex;
  }
  return text;
}

}  // namespace support
