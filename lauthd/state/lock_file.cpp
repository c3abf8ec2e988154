// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/lock_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

namespace byod::lauthd {
namespace {

struct flock WholeFile(short kind) {
  struct flock lock = {};
  lock.l_type = kind;
  lock.l_whence = SEEK_SET;
  return lock;
}

std::string DescribeProcess(pid_t pid) {
  // The kernel gives no number for a process that is out of sight, as in another container.
  return pid > 0 ? "process " + std::to_string(pid) : "a process in another PID namespace";
}

}  // namespace

LockFile::Outcome LockFile::Take() {
  // The directory may have been replaced by another one since.
  if (file_ >= 0 && IsInPlace()) return Outcome::kTaken;
  for (;;) {
    Release();
    if (!Open()) return Outcome::kFailed;
    const Outcome outcome = Lock();
    if (outcome != Outcome::kTaken) {
      Release();
      return outcome;
    }
    if (IsInPlace()) return Outcome::kTaken;
  }
}

bool LockFile::IsInPlace() const {
  struct stat held;
  struct stat named;
  return fstat(file_, &held) == 0 && lstat(path_.c_str(), &named) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

bool LockFile::Open() {
  file_ = open(path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  struct stat file;
  struct stat directory;
  const std::string parent = std::filesystem::path(path_).parent_path();
  if (file_ < 0 || fstat(file_, &file) != 0 || stat(parent.c_str(), &directory) != 0) {
    Fail("open");
    return false;
  }
  // A lock that another user can hold is one by which that user can keep the daemon from starting.
  const bool ours = file.st_uid == geteuid() || file.st_uid == directory.st_uid;
  if (!S_ISREG(file.st_mode) || !ours) {
    errno = EPERM;
    Fail("use");
    return false;
  }
  // Made by the administrator, it is for the user whose directory it is in.
  const bool give = geteuid() == 0 && file.st_uid != directory.st_uid;
  if ((give && fchown(file_, directory.st_uid, directory.st_gid) != 0) ||
      ((file.st_mode & 07777) != 0600 && fchmod(file_, 0600) != 0)) {
    Fail("set the access of");
    return false;
  }
  return true;
}

LockFile::Outcome LockFile::Lock() {
  for (;;) {
    struct flock lock = WholeFile(F_WRLCK);
    if (fcntl(file_, F_SETLK, &lock) == 0) return Outcome::kTaken;
    if (errno == EINTR) continue;
    if (errno != EACCES && errno != EAGAIN) return Fail("lock");
    lock = WholeFile(F_WRLCK);
    if (fcntl(file_, F_GETLK, &lock) != 0) return Fail("lock");
    if (lock.l_type == F_UNLCK) continue;  // released in between
    holder_ = DescribeProcess(lock.l_pid);
    return Outcome::kHeld;
  }
}

LockFile::Outcome LockFile::Fail(const char* what) {
  reason_ = std::string("cannot ") + what + " " + path_ + ": " + std::strerror(errno);
  return Outcome::kFailed;
}

void LockFile::Release() {
  if (file_ >= 0) close(std::exchange(file_, -1));
}

}  // namespace byod::lauthd
