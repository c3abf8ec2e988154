// SPDX-License-Identifier: Apache-2.0
// The handles that are given out.
#ifndef LAUTH_PLATFORM_DBM_HANDLES_H
#define LAUTH_PLATFORM_DBM_HANDLES_H

#include <memory>
#include <mutex>

#include "platform/dbm/database.h"

namespace lauth::dbm {

/// Checks that this process may open a database, which a fork forbids.
Result MayOpen();

/// Gives out a handle, at least 0, for a database.
Result AddHandle(std::shared_ptr<Database> database, int32_t& handle);

/// Finds the database of a handle.
Result FindHandle(int32_t handle, std::shared_ptr<Database>& database);

/// Makes a handle mean nothing, for good.
Result RemoveHandle(int32_t handle, std::shared_ptr<Database>& database);

/// Calls a function with the database of a handle, alone on it. @return its result
template <typename Function>
Result WithDatabase(int32_t handle, Function function) noexcept {
  return Guarded([&]() -> Result {
    std::shared_ptr<Database> database;
    if (const Result result = FindHandle(handle, database); result != DBM_OK) return result;
    const std::lock_guard guard(database->mutex());
    return function(*database);
  });
}

}  // namespace lauth::dbm

#endif  // LAUTH_PLATFORM_DBM_HANDLES_H
