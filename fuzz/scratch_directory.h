// SPDX-License-Identifier: Apache-2.0
// A directory for files that a fuzzer hands to functions that take a path. In memory where there is
// such a place: a fuzzer writes thousands of them a second.
#ifndef BYOD_FUZZ_SCRATCH_DIRECTORY_H
#define BYOD_FUZZ_SCRATCH_DIRECTORY_H

#include <filesystem>

#include "support/scratch_directory.h"

namespace fuzz {

class ScratchDirectory : public support::ScratchDirectory {
 public:
  ScratchDirectory()
      : support::ScratchDirectory(std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp") {
  }
};

}  // namespace fuzz

#endif  // BYOD_FUZZ_SCRATCH_DIRECTORY_H
