// SPDX-License-Identifier: Apache-2.0
// A directory for a test's files, removed with its scope.
#ifndef BYOD_TESTS_SUPPORT_SCRATCH_DIRECTORY_H
#define BYOD_TESTS_SUPPORT_SCRATCH_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "net/scratch_directory.h"

namespace support {

class ScratchDirectory : public byod::net::ScratchDirectory {
 public:
  /// @param parent  where it is made
  explicit ScratchDirectory(const std::string& parent = std::filesystem::temp_directory_path())
      : byod::net::ScratchDirectory(parent + "/byod-test-") {
    if (!*this) std::abort();
  }

  /// @return the file's path
  std::string Write(const std::string& name, std::string_view bytes) const {
    std::string path = *this / name;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) std::abort();
    return path;
  }
};

}  // namespace support

#endif  // BYOD_TESTS_SUPPORT_SCRATCH_DIRECTORY_H
