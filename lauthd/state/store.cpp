// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/store.h"

#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "byod_db.h"
#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "lauthd/log.h"
#include "lauthd/state/authorization.h"
#include "lauthd/state/directory_names.h"
#include "lauthd/state/recovery.h"
#include "lauthd/state/retry.h"

namespace byod::lauthd {
namespace {

// Of the directories in which backups are written and received.
constexpr std::string_view kScratchPrefix = ".lauthd-";

constexpr std::chrono::seconds kRetryPause{1};
constexpr std::chrono::seconds kBackgroundPause{30};

// The database as the library opens it.
constexpr char kName[] = "eBYOD";
constexpr char kOwner[] = "BYOD";
constexpr DBM_Parameters kParameters = {{0, 0, 1, 0}, "SEC-BYOD-CFG"};

}  // namespace

Store::Store(const std::string& directory, bool none, IdleRules& idle, Authorization& authorization)
    : directory_(directory),
      none_(none),
      lock_(directory_ + "/lauthd.lock"),
      idle_(idle),
      authorization_(authorization) {
  if (!directory_.empty()) LAUTH_db_SetDirectory(directory_.c_str());
}

Store::~Store() {
  Close();
}

bool Store::Exists() const {
  std::error_code unreadable;
  return !none_ && std::filesystem::exists(directory_ + "/" + kName + ".db", unreadable);
}

std::string Store::InUse() const {
  return "another daemon, " + lock_.holder() + ", uses the state directory " + directory_;
}

void Store::Claim() {
  if (none_ || lock_.Take() != LockFile::Outcome::kHeld) return;
  throw std::runtime_error(InUse());
}

/// Opens the database if no other daemon uses it. The library makes a directory that is missing,
/// and only then it can be locked. @return false, and fills in why, when it cannot be opened
bool Store::OpenAlone(std::string& reason) {
  if (lock_.Take() == LockFile::Outcome::kHeld) {
    reason = InUse();
    return false;
  }
  if (BYOD_db_OpenCfgDBM() != 0) {
    reason = LAUTH_db_ErrorText();
    return false;
  }
  const LockFile::Outcome locked = lock_.Take();
  if (locked == LockFile::Outcome::kTaken) return true;
  BYOD_db_CloseCfgDBM();
  reason = locked == LockFile::Outcome::kHeld ? InUse() : lock_.reason();
  return false;
}

/// Removes what daemons that were killed left in the middle of a backup or restore.
void Store::RemoveLeftovers() const {
  LAUTH_db_EndRestore(kName);
  for (const std::string& name : NamesIn(directory_)) {
    if (!name.starts_with(kScratchPrefix)) continue;
    const std::filesystem::path path = directory_ + '/' + name;
    std::error_code unknown;
    const auto type = std::filesystem::symlink_status(path, unknown).type();
    if (type != std::filesystem::file_type::directory) continue;
    if (std::filesystem::last_write_time(path, unknown) >= started_ || unknown) continue;
    Log(Severity::kNotice, "%s, which was left behind, is removed", path.c_str());
    std::filesystem::remove_all(path, unknown);
  }
}

bool Store::Open() {
  if (none_ || open_) return true;
  next_try_ = Clock::now() + kRetryPause;
  next_background_try_ = Clock::now() + kBackgroundPause;
  if (std::string reason; !OpenAlone(reason)) {
    // Logged once for each cause, not for each try.
    if (reason != reason_) {
      Log(Severity::kError,
          "the configuration database cannot be opened, and no change is kept: %s", reason.c_str());
    }
    reason_ = reason;
    failing_ = true;
    return false;
  }
  if (failing_) Log(Severity::kNotice, "the configuration database is open again");
  if (!std::exchange(tidied_, true)) RetryForMemory([this] { RemoveLeftovers(); });
  open_ = true;
  failing_ = false;
  reason_.clear();
  return Recover();
}

bool Store::Recover() {
  if (none_ || !open_) return true;
  if (RetryForMemory([this] { RecoverAll(BYOD_db_GetDBHandle(), idle_, authorization_); })) {
    return true;
  }
  ForgetConfiguration(idle_, authorization_);
  Close();
  failing_ = true;
  Log(Severity::kError, "no memory for what the configuration database holds");
  return false;
}

void Store::Tidy() {
  if (none_ || !open_) return;
  if (!RetryForMemory([this] { TidyAll(BYOD_db_GetDBHandle(), idle_); })) {
    Log(Severity::kError, "no memory to tidy the configuration database");
  }
}

void Store::Close() {
  if (!open_) return;
  BYOD_db_CloseCfgDBM();
  open_ = false;
}

void Store::RetryInBackground() {
  if (none_ || open_ || Clock::now() < next_background_try_) return;
  next_background_try_ = Clock::now() + kBackgroundPause;
  Open();
}

bool Store::Ready() {
  if (none_ || open_) return true;
  return Clock::now() >= next_try_ && Open();
}

/// Remembers whether changes can be kept. The caller is in the middle of a change, so that without
/// memory only the reason is left out.
bool Store::Note(bool succeeded) noexcept {
  if (succeeded) {
    if (failing_) Log(Severity::kNotice, "changes are kept again");
    failing_ = false;
    return true;
  }
  const char* const reason = LAUTH_db_ErrorText();
  if (!failing_ || reason != reason_) Log(Severity::kError, "a change cannot be kept: %s", reason);
  failing_ = true;
  try {
    reason_ = reason;
  } catch (const std::bad_alloc&) {
    reason_.clear();
  }
  return false;
}

bool Store::Begin() {
  // Beginning a transaction does not show yet that it can be committed.
  return LAUTH_db_Begin(BYOD_db_GetDBHandle()) == 0 || Note(false);
}

bool Store::Commit() {
  return Note(LAUTH_db_Commit(BYOD_db_GetDBHandle()) == 0);
}

void Store::Rollback() {
  LAUTH_db_Rollback(BYOD_db_GetDBHandle());
}

Result Store::NotSaved() const {
  return Refused(BYOD_REFUSAL_NOT_SAVED, "the change cannot be kept: " + reason_);
}

uint32_t Store::DatabaseState() const {
  if (none_) return BYOD_DATABASE_NONE;
  return open_ && !failing_ ? BYOD_DATABASE_OPEN : BYOD_DATABASE_FAILING;
}

Result Store::Backup(const std::string& file) {
  if (!Ready()) return NotSaved();
  if (LAUTH_db_Backup(BYOD_db_GetDBHandle(), file.c_str()) == 0) return {};
  return Refused(BYOD_REFUSAL_NOT_SAVED, LAUTH_db_ErrorText());
}

bool Store::Reopen() {
  open_ = BYOD_db_OpenCfgDBM() == 0;
  failing_ = !open_;
  if (!open_) Note(false);
  return open_;
}

Result Store::Restore(const std::string& file, uint32_t rule_limit) {
  // The database must not be open while it is replaced.
  Close();
  BackupCheck check = {rule_limit};
  if (LAUTH_db_Restore(kName, kOwner, &kParameters, file.c_str(), CheckRestored, &check) != 0) {
    Reopen();
    return Refused(check.custom_rules > rule_limit ? BYOD_REFUSAL_LIMIT : BYOD_REFUSAL_BAD_DATA,
                   check.fault != nullptr ? check.fault : LAUTH_db_ErrorText());
  }
  if (Reopen() && Recover()) {
    LAUTH_db_EndRestore(kName);
    return {};
  }
  Close();
  if (LAUTH_db_UndoRestore(kName) != 0) {
    Log(Severity::kError, "the former database cannot be put back: %s", LAUTH_db_ErrorText());
  }
  if (Reopen()) Recover();
  return NotSaved();
}

}  // namespace byod::lauthd
