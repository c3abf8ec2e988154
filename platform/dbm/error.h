// SPDX-License-Identifier: Apache-2.0
// Results of the database's inner functions: a DBM_ code, and beside it the text for a person.
#ifndef LAUTH_PLATFORM_DBM_ERROR_H
#define LAUTH_PLATFORM_DBM_ERROR_H

#include <cstdint>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "lauth_dbm.h"

namespace lauth::dbm {

using Result = int32_t;

/// Keeps a text as the calling thread's error text. @return code
Result Fail(Result code, const char* format, ...) noexcept __attribute__((format(printf, 2, 3)));

/// @return DBM_ERR_FULL for a reason of the system that is a lack of room, or DBM_ERR_FAILED
Result ResultOf(int reason) noexcept;

/// Fails with what errno says. @return as ResultOf
Result FailSystem(const char* doing, const char* path) noexcept;

/// @return the calling thread's error text
const char* ErrorText() noexcept;

/// The error text of now, while what follows may fail too. Needs no memory.
class KeptErrorText {
 public:
  KeptErrorText() noexcept { std::snprintf(text_, sizeof text_, "%s", ErrorText()); }
  const char* get() const { return text_; }

 private:
  char text_[1024];
};

/// Runs an exported function's body, of which no exception may escape into C.
template <typename Body>
Result Guarded(Body body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return Fail(DBM_ERR_MEMORY, "out of memory");
  } catch (const std::exception& error) {
    return Fail(DBM_ERR_FAILED, "%s", error.what());
  }
}

}  // namespace lauth::dbm

#endif  // LAUTH_PLATFORM_DBM_ERROR_H
