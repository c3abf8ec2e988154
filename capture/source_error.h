// SPDX-License-Identifier: Apache-2.0
// Why packets cannot be read.
#ifndef BYOD_CAPTURE_SOURCE_ERROR_H
#define BYOD_CAPTURE_SOURCE_ERROR_H

#include <stdexcept>
#include <string>

namespace byod::capture {

/// The packets cannot be read; what() says why.
class SourceError : public std::runtime_error {
 public:
  SourceError(const std::string& what, bool is_permission)
      : std::runtime_error(what), is_permission_(is_permission) {}

  /// The process lacks the permission to capture.
  bool is_permission() const { return is_permission_; }

 private:
  bool is_permission_;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_SOURCE_ERROR_H
