// SPDX-License-Identifier: Apache-2.0
// A new directory that only its owner can read, removed with its scope.
#ifndef BYOD_NET_SCRATCH_DIRECTORY_H
#define BYOD_NET_SCRATCH_DIRECTORY_H

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <utility>

namespace byod::net {

class ScratchDirectory {
 public:
  /// @param prefix  of its path; random letters follow
  explicit ScratchDirectory(std::string prefix)
      : path_(std::move(prefix) + "XXXXXX"), made_(mkdtemp(path_.data()) != nullptr) {
    if (!made_) return;
    // Open from the start, so that the removal of files needs no memory.
    contents_.reset(opendir(path_.c_str()));
    if (contents_) return;
    const int reason = errno;
    rmdir(path_.c_str());
    made_ = false;
    errno = reason;
  }
  ScratchDirectory(ScratchDirectory&& other) noexcept
      : path_(std::move(other.path_)),
        made_(std::exchange(other.made_, false)),
        contents_(std::move(other.contents_)) {}
  ~ScratchDirectory() {
    if (!made_) return;
    RemoveFiles();
    if (rmdir(path_.c_str()) != 0) RemoveDirectories();
  }
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  /// Whether it could be made; if not, errno says why.
  explicit operator bool() const { return made_; }
  const std::string& path() const { return path_; }
  /// @return the path of a file in it
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  struct Closer {
    void operator()(DIR* directory) const { closedir(directory); }
  };

  void RemoveFiles() {
    rewinddir(contents_.get());
    while (const dirent* const entry = readdir(contents_.get()))
      unlinkat(dirfd(contents_.get()), entry->d_name, 0);
  }

  /// Removes what has directories in it. Without memory they stay.
  void RemoveDirectories() {
    try {
      std::error_code ignored;
      std::filesystem::remove_all(path_, ignored);
    } catch (const std::bad_alloc&) {
      // A destructor has nobody to report to.
    }
  }

  std::string path_;
  bool made_;
  std::unique_ptr<DIR, Closer> contents_;
};

}  // namespace byod::net

#endif  // BYOD_NET_SCRATCH_DIRECTORY_H
