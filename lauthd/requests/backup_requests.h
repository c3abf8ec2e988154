// The database as a file's bytes, out and in.
#ifndef LAUTHD_REQUESTS_BACKUP_REQUESTS_H
#define LAUTHD_REQUESTS_BACKUP_REQUESTS_H

#include <cstdint>
#include <string>

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

Result SendBackup(Exchange& exchange);
Result TakeRestore(Exchange& exchange);

/// A directory of our own beside the database, for one file; removed with its scope.
class ScratchDirectory {
 public:
  explicit ScratchDirectory(const std::string& parent);
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  bool made() const { return made_; }
  std::string file() const { return path_ + "/database"; }

 private:
  std::string path_;
  bool made_;
};

/// A backup that a client is sending; what has arrived goes with it.
class RestoreUpload {
 public:
  RestoreUpload(const std::string& directory, uint64_t total);
  ~RestoreUpload();
  RestoreUpload(const RestoreUpload&) = delete;
  RestoreUpload& operator=(const RestoreUpload&) = delete;

  bool Ready() const { return file_ >= 0; }
  /// @return false when it cannot be written, or is more than was announced
  bool Add(const void* bytes, size_t length);
  bool Whole() const { return received_ == total_; }
  std::string file() const { return directory_.file(); }

 private:
  ScratchDirectory directory_;
  int file_ = -1;
  uint64_t total_;
  uint64_t received_ = 0;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_BACKUP_REQUESTS_H
