// SPDX-License-Identifier: Apache-2.0
// A backup on its way into the state.
#ifndef LAUTHD_REQUESTS_RESTORE_UPLOAD_H
#define LAUTHD_REQUESTS_RESTORE_UPLOAD_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "net/descriptor.h"
#include "net/scratch_directory.h"

namespace byod::lauthd {

/// The bytes of a backup that have arrived so far, in a file that is removed with its scope.
class RestoreUpload {
 public:
  /// @param total  the size that the client announced
  RestoreUpload(const std::string& directory, uint64_t total);

  bool Ready() const { return bool{file_}; }
  /// @return false when the bytes cannot be written, or exceed the announced size
  bool Add(const void* bytes, size_t length);
  bool Whole() const { return received_ == total_; }
  std::string file() const { return directory_ / "database"; }

 private:
  net::ScratchDirectory directory_;
  net::Descriptor file_;
  uint64_t total_;
  uint64_t received_ = 0;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_RESTORE_UPLOAD_H
