// SPDX-License-Identifier: Apache-2.0
// The stations' records on the disk, in a database that nothing else is in.
#ifndef LAUTHD_STATIONS_STATION_DATABASE_H
#define LAUTHD_STATIONS_STATION_DATABASE_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

struct sqlite3;

namespace byod::lauthd {

/// What is to be written in one transaction.
struct StationBatch {
  struct Entry {
    uint64_t mac;
    uint32_t seen;       // when last; seconds since 1970
    std::string record;  // empty: the station is forgotten
  };
  bool from_scratch = false;  // what is stored is dropped before
  std::vector<Entry> entries;
};

/**
 * Writes on a thread of its own, so that nobody waits for the disk. A database that cannot be read
 * is moved aside and a new one is begun. The file is made by the first write.
 */
class StationDatabase {
 public:
  explicit StationDatabase(std::string file) : file_(std::move(file)) {}
  ~StationDatabase();
  StationDatabase(const StationDatabase&) = delete;
  StationDatabase& operator=(const StationDatabase&) = delete;

  /// Calls take for every record, the station seen longest ago first. To be called once, before the
  /// first Write. @param take  (record) -> whether it could be read
  void Load(const std::function<bool(std::string_view)>& take);

  enum class Status { kIdle, kBusy, kFailed };

  /// What has become of the last batch. Failed is returned once.
  Status Poll();

  /// Hands a batch to the thread, which is idle.
  void Write(StationBatch batch);

  /// Waits until the thread is idle.
  void Wait();

 private:
  void Run();
  bool Store(const StationBatch& batch);
  bool TryStore(const StationBatch& batch, int& code);
  int Open();
  void CloseHandle();
  int Execute(const char* statement);
  void MoveAside(const char* why);

  const std::string file_;
  sqlite3* handle_ = nullptr;  // of the thread, once it runs
  bool is_failing_ = false;    // has been logged

  std::mutex mutex_;
  std::condition_variable changed_;
  StationBatch batch_;
  Status status_ = Status::kIdle;
  bool is_ending_ = false;
  std::thread thread_;  // since the first Write
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_STATION_DATABASE_H
