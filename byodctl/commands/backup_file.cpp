// SPDX-License-Identifier: Apache-2.0
#include "byodctl/commands/backup_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "byodctl/failure.h"

namespace byod::ctl {
namespace {

constexpr char kStandardOutput[] = "-";

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// "/dev/stdout" and similar, also if standard output is redirected to a file.
bool IsStandardOutput(const struct stat& status) {
  struct stat output = {};
  return fstat(STDOUT_FILENO, &output) == 0 && SameFile(status, output);
}

/// The end of a chain of symbolic links, whether it exists or not.
std::string Followed(const std::string& name) {
  constexpr int kMaxLinks = 40;  // as the kernel
  std::filesystem::path path = name;
  std::error_code error;
  for (int i = 0; i < kMaxLinks && std::filesystem::is_symlink(path, error); ++i) {
    const std::filesystem::path target = std::filesystem::read_symlink(path, error);
    if (error) break;
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return path.string();
}

std::string HeaderOf(const std::string& name) {
  const Descriptor file(open(name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  std::array<char, kBackupHeaderSize> bytes = {};
  const ssize_t got = file.get() < 0 ? -1 : read(file.get(), bytes.data(), bytes.size());
  return {bytes.data(), got < 0 ? 0 : static_cast<size_t>(got)};
}

bool IsWritable(const std::string& name, const struct stat& status) {
  // Root may write in spite of the mode, but the mode asks not to.
  return (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) != 0 && access(name.c_str(), W_OK) == 0;
}

/// @return why a regular file must not be replaced; empty = it may be
std::string ReasonToKeep(const std::string& name, const struct stat& status) {
  if (!IsWritable(name, status)) return "read-only";
  if (access((name + "-wal").c_str(), F_OK) == 0) return "a database in use";
  // An empty file may be replaced.
  if (status.st_size > 0 && !IsBackupHeader(HeaderOf(name))) return "not a backup";
  return {};
}

}  // namespace

bool IsBackupHeader(std::string_view bytes) {
  using namespace std::string_view_literals;
  constexpr size_t kApplicationAt = 68;
  return bytes.size() >= kBackupHeaderSize && bytes.starts_with("SQLite format 3\0"sv) &&
         bytes.substr(kApplicationAt).starts_with("LADB");
}

BackupFile::BackupFile(const std::string& name, bool force) : name_(name) {
  struct stat status = {};
  const bool is_there =
      (name == kStandardOutput ? fstat(STDOUT_FILENO, &status) : stat(name.c_str(), &status)) == 0;
  if (!is_there && errno != ENOENT) FailWithErrno();
  if (is_there && (!S_ISREG(status.st_mode) || IsStandardOutput(status))) {
    OpenAsItIs(status);
    return;
  }
  const std::string followed = Followed(name);
  const std::string reason = is_there ? ReasonToKeep(followed, status) : "";
  if (!reason.empty() && !force) Fail(reason + "; to replace it use --force");
  OpenDraft(followed);
}

BackupFile::~BackupFile() {
  if (!draft_.empty()) unlink(draft_.c_str());
}

void BackupFile::OpenAsItIs(const struct stat& status) {
  if (IsStandardOutput(status)) {
    is_standard_output_ = true;
    file_ = Descriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
    if (file_.get() < 0) FailWithErrno();
    return;
  }
  // O_NONBLOCK: the open of a FIFO without a reader fails instead of waiting for one.
  file_ = Descriptor(open(name_.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (file_.get() < 0 && errno == ENXIO && S_ISFIFO(status.st_mode)) {
    Fail("no process reads from this FIFO");
  }
  struct stat opened = {};
  if (file_.get() < 0 || fstat(file_.get(), &opened) != 0) FailWithErrno();
  if (!SameFile(status, opened)) Fail("replaced by another file at this moment");
  const int flags = fcntl(file_.get(), F_GETFL);
  if (flags < 0 || fcntl(file_.get(), F_SETFL, flags & ~O_NONBLOCK) != 0) FailWithErrno();
}

void BackupFile::OpenDraft(const std::string& final_name) {
  final_name_ = final_name;
  draft_ = final_name + ".XXXXXX";
  file_ = Descriptor(mkstemp(draft_.data()));
  if (file_.get() >= 0) return;
  draft_.clear();
  FailWithErrno();
}

void BackupFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file_.get(), bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) FailWithErrno();
    if (written > 0) bytes.remove_prefix(static_cast<size_t>(written));
  }
}

void BackupFile::Finish() {
  if (draft_.empty()) {
    // EINVAL: a device or a pipe, which has no cache to flush.
    if (fsync(file_.get()) != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP) {
      FailWithErrno();
    }
    if (!file_.Close()) FailWithErrno();
    return;
  }
  if (fsync(file_.get()) != 0 || !file_.Close()) FailWithErrno();
  if (rename(draft_.c_str(), final_name_.c_str()) != 0) FailWithErrno();
  draft_.clear();
  FlushDirectory();
}

/// Makes the new name survive a loss of power. Some file systems have no such thing.
void BackupFile::FlushDirectory() const {
  const size_t slash = final_name_.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : final_name_.substr(0, slash + 1);
  const Descriptor file(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (file.get() >= 0 && fsync(file.get()) != 0 && errno != EINVAL && errno != ENOTSUP) {
    FailWithErrno();
  }
}

void BackupFile::Fail(const std::string& why) const {
  throw Failure(kExitBadInput, name_ + ": " + why);
}

void BackupFile::FailWithErrno() const {
  Fail(std::strerror(errno));
}

}  // namespace byod::ctl
