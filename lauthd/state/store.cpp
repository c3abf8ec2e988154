// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/store.h"

#include <filesystem>
#include <stdexcept>

#include "byod_db.h"
#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "lauthd/log.h"
#include "lauthd/state/authorization.h"
#include "lauthd/state/recovery.h"

namespace byod::lauthd {
namespace {

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
  open_ = true;
  failing_ = false;
  reason_.clear();
  Recover();
  return true;
}

void Store::Recover() {
  if (!none_ && open_) RecoverAll(BYOD_db_GetDBHandle(), idle_, authorization_);
}

void Store::Tidy() {
  if (!none_ && open_) TidyAll(BYOD_db_GetDBHandle(), idle_);
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

bool Store::Note(bool succeeded) {
  if (succeeded) {
    if (failing_) Log(Severity::kNotice, "changes are kept again");
    failing_ = false;
    return true;
  }
  const std::string reason = LAUTH_db_ErrorText();
  if (!failing_ || reason != reason_) {
    Log(Severity::kError, "a change cannot be kept: %s", reason.c_str());
  }
  failing_ = true;
  reason_ = reason;
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

Result Store::Restore(const std::string& file) {
  // The database must not be open while it is replaced.
  Close();
  Result result;
  if (LAUTH_db_Restore(kName, kOwner, &kParameters, file.c_str(), CheckRestored, nullptr) != 0) {
    result = Refused(BYOD_REFUSAL_BAD_DATA, LAUTH_db_ErrorText());
  }
  if (BYOD_db_OpenCfgDBM() == 0) {
    open_ = true;
    failing_ = false;
  } else if (result.Ok()) {
    failing_ = true;
    reason_ = LAUTH_db_ErrorText();
    result = NotSaved();
  }
  return result;
}

}  // namespace byod::lauthd
