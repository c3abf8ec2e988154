// A backup on its way into the state.
#ifndef LAUTHD_REQUESTS_RESTORE_UPLOAD_H
#define LAUTHD_REQUESTS_RESTORE_UPLOAD_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace byod::lauthd {

/// A private directory beside the database, for one file; removed with its scope.
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

/// The bytes of a backup that have arrived so far, in a file that is removed with its scope.
class RestoreUpload {
 public:
  /// @param total  the size that the client announced
  RestoreUpload(const std::string& directory, uint64_t total);
  ~RestoreUpload();
  RestoreUpload(const RestoreUpload&) = delete;
  RestoreUpload& operator=(const RestoreUpload&) = delete;

  bool Ready() const { return file_ >= 0; }
  /// @return false when the bytes cannot be written, or exceed the announced size
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

#endif  // LAUTHD_REQUESTS_RESTORE_UPLOAD_H
