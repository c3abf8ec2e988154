// SPDX-License-Identifier: Apache-2.0
#include "platform/dbm/lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace lauth::dbm {
namespace {

using namespace std::chrono_literals;

// A process that holds the lock alone is done in well under a second. Those that share it may keep
// it for days, so waiting long for them is of no use.
constexpr auto kPatienceForShared = 10s;
constexpr auto kPatienceForAlone = 2s;
constexpr auto kPause = 5ms;

Result OpenLockFile(const std::string& path, Descriptor& file) {
  for (;;) {
    file = Descriptor(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
    if (file) return DBM_OK;
    if (errno != ENOENT) return FailSystem("open", path.c_str());
    const Result result = CreateStateFile(path, file);
    if (result == DBM_OK || !NameIsTaken(path)) return result;  // else another one was faster
  }
}

// Removing a database removes the lock file too; a process that opened it before that holds a lock
// that no other process will ever try.
bool IsStillInPlace(const Descriptor& file, const std::string& path) {
  struct stat held;
  struct stat named;
  // The descriptor is open, as no failure to open it returns DBM_OK.
  // NOLINTNEXTLINE(clang-analyzer-unix.StdCLibraryFunctions)
  return fstat(file.get(), &held) == 0 && lstat(path.c_str(), &named) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

}  // namespace

Result Lock::Acquire(const Place& place, Kind kind) {
  Release();
  const bool alone = kind == Kind::kAlone;
  const auto deadline =
      std::chrono::steady_clock::now() + (alone ? kPatienceForAlone : kPatienceForShared);
  for (;;) {
    Descriptor file;
    if (const Result result = OpenLockFile(place.lock, file); result != DBM_OK) return result;
    while (flock(file.get(), (alone ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
      if (errno == EINTR) continue;
      if (errno != EWOULDBLOCK) return FailSystem("lock", place.lock.c_str());
      if (std::chrono::steady_clock::now() >= deadline) {
        return Fail(DBM_ERR_BUSY, "%s is %s", place.database.c_str(),
                    alone ? "open" : "being replaced by another process");
      }
      std::this_thread::sleep_for(kPause);
    }
    if (IsStillInPlace(file, place.lock)) {
      file_ = std::move(file);
      return DBM_OK;
    }
  }
}

}  // namespace lauth::dbm
