// SPDX-License-Identifier: Apache-2.0
// Stores changes, so that they survive a restart.
#ifndef LAUTHD_STATE_STORE_H
#define LAUTHD_STATE_STORE_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <new>
#include <string>

#include "lauthd/state/lock_file.h"
#include "lauthd/state/result.h"

namespace byod::lauthd {

class Authorization;
class IdleRules;

/**
 * The configuration database, which may fail and come back. While it cannot be opened,
 * identification goes on with the predefined rules, and changes are refused; it is tried again
 * before each change, and when it opens, what it holds is recovered.
 */
class Store {
 public:
  /**
   * @param directory  of the database; empty: the platform's own
   * @param none       keep nothing
   */
  Store(const std::string& directory, bool none, IdleRules& idle, Authorization& authorization);
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  /// Whether the database file exists; Open makes a missing one.
  bool Exists() const;

  /// Locks the state directory, if it exists: only one daemon may use it. A lock that fails for
  /// another reason than another daemon is tried again by Open.
  /// @throws std::runtime_error  when another daemon holds it, which the text names
  void Claim();

  /// Opens the database and recovers rules, order and authorization from it. The predefined rules
  /// are in their tables. @return false, and says why in the log, when it cannot be opened
  bool Open();
  void Close();

  /// Called every second or so: tries now and then to open a database that could not be opened.
  void RetryInBackground();

  /// Whether changes can be stored now; tries to open a closed database.
  bool Ready();

  /**
   * Makes one write.
   *
   * @param write  () -> 0, or anything else for failure; not called without a database
   * @return whether it is kept
   */
  template <typename Function>
  bool Write(Function write) {
    if (none_) return true;
    return Note(Succeeds(write));
  }

  /// Makes several writes in one transaction with one flush.
  template <typename Function>
  bool WriteTogether(Function write) {
    if (none_) return true;
    if (!Begin()) return false;
    if (Note(Succeeds(write))) return Commit();
    Rollback();
    return false;
  }

  Result NotSaved() const;

  /// BYOD_DATABASE_*
  uint32_t DatabaseState() const;

  // The following two require a database.

  /// Writes a copy of the database to a new file.
  Result Backup(const std::string& file);

  /// Replaces the database by a backup, and makes everything in memory what it holds. Otherwise the
  /// database is the former one, also after the next start.
  Result Restore(const std::string& file, uint32_t rule_limit);

  /// The directory for files that go through a backup or restore.
  const std::string& directory() const { return directory_; }

  /// Makes rules, order and authorization those of the open database. Without memory for that the
  /// database is closed, to be tried again later. @return false then
  bool Recover();

  /// Stores rules again whose keys are spelled differently since the predefined rules changed.
  void Tidy();

 private:
  using Clock = std::chrono::steady_clock;

  /// A write without memory is one that has failed.
  template <typename Function>
  static bool Succeeds(Function& write) {
    try {
      return write() == 0;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  std::string InUse() const;
  bool OpenAlone(std::string& reason);
  bool Reopen();
  void RemoveLeftovers() const;
  bool Note(bool succeeded) noexcept;
  bool Begin();
  bool Commit();
  void Rollback();

  std::string directory_;
  bool none_;
  LockFile lock_;
  bool open_ = false;
  bool tidied_ = false;  // of what others left behind
  const std::filesystem::file_time_type started_ = std::filesystem::file_time_type::clock::now();
  bool failing_ = false;
  std::string reason_;
  Clock::time_point next_try_;
  Clock::time_point next_background_try_;
  IdleRules& idle_;
  Authorization& authorization_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_STORE_H
