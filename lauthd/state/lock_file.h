// SPDX-License-Identifier: Apache-2.0
// A file that at most one process holds, by which two daemons notice each other.
#ifndef LAUTHD_STATE_LOCK_FILE_H
#define LAUTHD_STATE_LOCK_FILE_H

#include <sys/types.h>

#include <string>

namespace byod::lauthd {

/**
 * Locks a file of the daemon's own, which has mode 0600 so that no other user can hold the lock.
 * The lock lasts until this object or the process ends, and the file stays. It is the process's:
 * nothing else in the process may open and close that file, which would end it.
 */
class LockFile {
 public:
  enum class Outcome { kTaken, kHeld, kFailed };

  explicit LockFile(std::string path) : path_(std::move(path)) {}
  ~LockFile() { Release(); }
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;

  /**
   * Takes the lock, or keeps one that is taken, without waiting. The file is made if it is missing;
   * its directory is not.
   *
   * @return kHeld when another process has it; kFailed when the file cannot be used
   */
  Outcome Take();

  /// The process that had the lock when Take found it held; "process 123".
  const std::string& holder() const { return holder_; }

  /// Why Take failed, naming the file.
  const std::string& reason() const { return reason_; }

 private:
  bool IsInPlace() const;
  bool Open();
  Outcome Lock();
  Outcome Fail(const char* what);
  void Release();

  std::string path_;
  int file_ = -1;
  std::string holder_;
  std::string reason_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_LOCK_FILE_H
