// SPDX-License-Identifier: Apache-2.0
// A file system for SQLite that remembers what was flushed and what was not, so that a test can lay
// out the files as a loss of power would leave them; and that can fail any single operation.
//
// It works on the real files underneath: the program under test notices nothing until an operation
// is made to fail. Files that come to be, or are renamed, without SQLite are taken as flushed when
// SQLite opens them.
#ifndef BYOD_TESTS_SUPPORT_CRASH_VFS_H
#define BYOD_TESTS_SUPPORT_CRASH_VFS_H

#include <cstdint>
#include <functional>
#include <string>

namespace crash_vfs {

/// Registers it as SQLite's default, before any database is opened.
void Install();

/// Forgets everything known about files; no database may be open.
void Reset();

/// What becomes of operations that were not flushed when the power fails.
enum class Unflushed {
  kLost,  // all of them
  kKept,  // none of them
  kTorn,  // any of them, sector by sector, as the seed has it
};

/// Called before every operation that changes a file: a write, truncation, flush or removal.
using Watcher = std::function<void(int number)>;

/// Sets the watcher; operations count from 0 again. An empty one watches no more.
void Watch(Watcher watcher);

/// @return the operations since the last Watch
int OperationCount();

/// Writes the files of a directory, as a loss of power at this instant leaves them, to another.
void LayOut(const std::string& from, const std::string& to, Unflushed unflushed, uint32_t seed);

/// Makes operations fail: number first, and with it all later ones or it alone. -1 fails none.
enum class Failure { kIo, kFull };
void FailFrom(int first, bool all_later, Failure failure);

/// @return whether an operation was made to fail since FailFrom
bool HasFailed();

}  // namespace crash_vfs

#endif  // BYOD_TESTS_SUPPORT_CRASH_VFS_H
