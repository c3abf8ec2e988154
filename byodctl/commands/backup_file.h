// SPDX-License-Identifier: Apache-2.0
// Writes backups to files.
#ifndef BYODCTL_COMMANDS_BACKUP_FILE_H
#define BYODCTL_COMMANDS_BACKUP_FILE_H

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "net/descriptor.h"

namespace byod::ctl {

using net::Descriptor;

/// Whether these first bytes of a file are those of a backup.
constexpr size_t kBackupHeaderSize = 72;
bool IsBackupHeader(std::string_view bytes);

/**
 * The file that a backup becomes.
 *
 * A regular file, and one that does not exist, is replaced as a whole when the backup is complete,
 * and unchanged otherwise; a symbolic link is followed. Anything else, a device or a FIFO, is
 * written to directly, and so is standard output, by the name "-" or by its path.
 *
 * Every function throws a Failure that names the file.
 */
class BackupFile {
 public:
  /**
   * @param force  replaces what is read-only or not a backup
   * @throws Failure if the file must not or cannot be written. Does not wait for a FIFO's reader
   */
  BackupFile(const std::string& name, bool force);
  ~BackupFile();
  BackupFile(const BackupFile&) = delete;
  BackupFile& operator=(const BackupFile&) = delete;

  void Write(std::string_view bytes);

  /// Completes the backup. @throws Failure; then the file is unchanged, unless the new one is in
  /// its place and only its name could not be made durable
  void Finish();

  /// Nothing else may be written to standard output then.
  bool is_standard_output() const { return is_standard_output_; }

 private:
  void OpenAsItIs(const struct stat& status);
  void OpenDraft(const std::string& final_name);
  void FlushDirectory() const;
  [[noreturn]] void Fail(const std::string& why) const;
  [[noreturn]] void FailWithErrno() const;

  std::string name_;
  std::string final_name_;  ///< without symbolic links; only if the file is replaced
  std::string draft_;       ///< beside it; empty = none
  Descriptor file_;
  bool is_standard_output_ = false;
};

}  // namespace byod::ctl

#endif  // BYODCTL_COMMANDS_BACKUP_FILE_H
