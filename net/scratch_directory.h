// SPDX-License-Identifier: Apache-2.0
// A new directory that only its owner can read, removed with its scope.
#ifndef BYOD_NET_SCRATCH_DIRECTORY_H
#define BYOD_NET_SCRATCH_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

namespace byod::net {

class ScratchDirectory {
 public:
  /// @param prefix  of its path; random letters follow
  explicit ScratchDirectory(std::string prefix)
      : path_(std::move(prefix) + "XXXXXX"), made_(mkdtemp(path_.data()) != nullptr) {}
  ScratchDirectory(ScratchDirectory&& other) noexcept
      : path_(std::move(other.path_)), made_(std::exchange(other.made_, false)) {}
  ~ScratchDirectory() {
    std::error_code ignored;
    if (made_) std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  /// Whether it could be made; if not, errno says why.
  explicit operator bool() const { return made_; }
  const std::string& path() const { return path_; }
  /// @return the path of a file in it
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
  bool made_;
};

}  // namespace byod::net

#endif  // BYOD_NET_SCRATCH_DIRECTORY_H
