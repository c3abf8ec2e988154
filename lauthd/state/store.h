// Where changes are kept over a restart.
#ifndef LAUTHD_STATE_STORE_H
#define LAUTHD_STATE_STORE_H

#include <chrono>
#include <cstdint>
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

  /// Whether a database is there to be opened; an open makes one that is not.
  bool Exists() const;

  /// Locks the state directory, if it is there: only one daemon may change what is in it. A lock
  /// that cannot be had for another reason is tried again by Open.
  /// @throws std::runtime_error  when another daemon has it, which the text names
  void Claim();

  /// Opens the database and recovers rules, order and authorization from it. The predefined rules
  /// are in their tables. @return false, and says why in the log, when it cannot be opened
  bool Open();
  void Close();

  /// Called every second or so: tries now and then to open a database that could not be opened.
  void RetryInBackground();

  /// Whether a change has a chance to be kept.
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
    return Note(write() == 0);
  }

  /// Makes several writes with one flush, all or none of which are kept.
  template <typename Function>
  bool WriteTogether(Function write) {
    if (none_) return true;
    if (!Begin()) return false;
    if (Note(write() == 0)) return Commit();
    Rollback();
    return false;
  }

  Result NotSaved() const;

  /// BYOD_DATABASE_*
  uint32_t DatabaseState() const;

  // The following two are not for a daemon without a database.

  /// Writes a copy of the database to a file that is not there yet.
  Result Backup(const std::string& file);

  /// Puts a backup in the database's place, which is closed for that and opened again. What is in
  /// memory is not touched: see Recover.
  Result Restore(const std::string& file);

  /// The directory for files that go through a backup or restore.
  const std::string& directory() const { return directory_; }

  /// Makes rules, order and authorization those of the open database.
  void Recover();

  /// Stores rules anew whose keys are spelt otherwise since the predefined rules have changed.
  void Tidy();

 private:
  using Clock = std::chrono::steady_clock;

  std::string InUse() const;
  bool OpenAlone(std::string& reason);
  bool Note(bool succeeded);
  bool Begin();
  bool Commit();
  void Rollback();

  std::string directory_;
  bool none_;
  LockFile lock_;
  bool open_ = false;
  bool failing_ = false;
  std::string reason_;
  Clock::time_point next_try_;
  Clock::time_point next_background_try_;
  IdleRules& idle_;
  Authorization& authorization_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_STORE_H
