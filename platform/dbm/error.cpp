// SPDX-License-Identifier: Apache-2.0
#include "platform/dbm/error.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace lauth::dbm {
namespace {

// Fixed, so that "out of memory" can still be reported.
thread_local char error_text[1024];

}  // namespace

Result Fail(Result code, const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  char text[sizeof error_text];  // the arguments may lie in the old text
  if (std::vsnprintf(text, sizeof text, format, arguments) < 0) text[0] = '\0';
  va_end(arguments);
  std::memcpy(error_text, text, sizeof text);
  return code;
}

Result ResultOf(int reason) noexcept {
  return reason == ENOSPC || reason == EDQUOT || reason == EFBIG ? DBM_ERR_FULL : DBM_ERR_FAILED;
}

Result FailSystem(const char* doing, const char* path) noexcept {
  const int reason = errno;
  char buffer[128];
  return Fail(ResultOf(reason), "cannot %s %s: %s", doing, path,
              strerror_r(reason, buffer, sizeof buffer));
}

const char* ErrorText() noexcept {
  return error_text;
}

}  // namespace lauth::dbm
