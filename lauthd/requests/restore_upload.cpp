// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/restore_upload.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace byod::lauthd {

RestoreUpload::RestoreUpload(const std::string& directory, uint64_t total)
    : directory_(directory + "/.lauthd-"), total_(total) {
  if (!directory_) return;
  file_ = net::Descriptor(open(file().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
}

bool RestoreUpload::Add(const void* bytes, size_t length) {
  if (length > total_ - received_) return false;
  const auto* next = static_cast<const uint8_t*>(bytes);
  while (length > 0) {
    const ssize_t written = write(file_.get(), next, length);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    next += written;
    length -= static_cast<size_t>(written);
    received_ += static_cast<uint64_t>(written);
  }
  return true;
}

}  // namespace byod::lauthd
