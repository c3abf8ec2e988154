// A directory for files that a fuzzer hands to functions that take a path. In memory where there is
// such a place: a fuzzer writes thousands of them a second.
#ifndef BYOD_FUZZ_SCRATCH_DIRECTORY_H
#define BYOD_FUZZ_SCRATCH_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace fuzz {

class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::error_code error;
    const bool in_memory = std::filesystem::is_directory("/dev/shm", error);
    path_ = std::string(in_memory ? "/dev/shm" : "/tmp") + "/fuzz-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  std::string File(const std::string& name) const { return path_ + "/" + name; }

  void Write(const std::string& name, std::string_view bytes) const {
    std::ofstream file(File(name), std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) std::abort();
  }

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace fuzz

#endif  // BYOD_FUZZ_SCRATCH_DIRECTORY_H
