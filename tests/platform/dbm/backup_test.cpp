// SPDX-License-Identifier: Apache-2.0
// Backup of a database in use, and restore.
#include <gmock/gmock.h>

#include "support/dbm_fixture.h"

namespace dbm_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Backup : public DbmTest {
 protected:
  void SetUp() override {
    OpenIt();
    ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
    ASSERT_EQ(Insert(handle_, "L", Record("a", std::string(5000, 'a'))), DBM_OK);
    ASSERT_EQ(SetValue(handle_, "V", "old"), DBM_OK);
  }

  int32_t RestoreIt(LAUTH_db_DataCallback check = nullptr, void* context = nullptr) {
    return LAUTH_db_Restore("eBYOD", "BYOD", &kParameters, backup_.c_str(), check, context);
  }

  void MakeBackup() {
    ASSERT_EQ(LAUTH_db_Backup(handle_, backup_.c_str()), DBM_OK) << LAUTH_db_ErrorText();
  }

  // Expects a restore to fail with a reason, and the database to be as it was.
  void ExpectRefused(int32_t result, const std::string& reason) {
    const std::string before = FileBytes(file_);
    EXPECT_EQ(RestoreIt(), result);
    EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr(reason));
    EXPECT_TRUE(FileBytes(file_) == before);
    EXPECT_FALSE(std::filesystem::exists(file_ + ".new"));
    OpenIt();
    EXPECT_EQ(GetValue(handle_, "V"), "new");
    Close();
  }

  std::string backup_ = directory_ / "backup";
};

TEST_F(Backup, HoldsTheInstantAtWhichItWasMadeAndRestoresIt) {
  MakeBackup();
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  ASSERT_EQ(Insert(handle_, "L", Record("b")), DBM_OK);
  Close();
  const std::string bytes = FileBytes(backup_);
  ASSERT_EQ(RestoreIt(), DBM_OK) << LAUTH_db_ErrorText();
  EXPECT_TRUE(FileBytes(backup_) == bytes);
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "old");
  EXPECT_THAT(Records(handle_, "L"), ElementsAre(Record("a", std::string(5000, 'a'))));
  EXPECT_EQ(SetValue(handle_, "V", "newer"), DBM_OK);
  EXPECT_EQ(ModeOf(file_), 0600U);
}

TEST_F(Backup, IsOnePrivateFile) {
  MakeBackup();
  EXPECT_EQ(ModeOf(backup_), 0600U);
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
    files += entry.is_regular_file() ? 1 : 0;
  }
  EXPECT_EQ(files, 1);
}

TEST_F(Backup, OverwritesNothing) {
  WriteFile(backup_, "someone's letter");
  EXPECT_EQ(LAUTH_db_Backup(handle_, backup_.c_str()), DBM_ERR_REFUSED);
  EXPECT_EQ(FileBytes(backup_), "someone's letter");
}

TEST_F(Backup, IntoAMissingDirectoryIsReported) {
  EXPECT_EQ(LAUTH_db_Backup(handle_, (directory_ / "none/backup").c_str()), DBM_ERR_FAILED);
  EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr("none/backup"));
}

TEST_F(Backup, IsRefusedWithinABulkChange) {
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  EXPECT_EQ(LAUTH_db_Backup(handle_, backup_.c_str()), DBM_ERR_REFUSED);
  EXPECT_FALSE(std::filesystem::exists(backup_));
}

TEST_F(Backup, RestoringOverAnOpenDatabaseIsRefused) {
  MakeBackup();
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  EXPECT_EQ(RestoreIt(), DBM_ERR_BUSY);
  EXPECT_EQ(GetValue(handle_, "V"), "new");
}

TEST_F(Backup, RestoringWhereNoDatabaseIsCreatesIt) {
  MakeBackup();
  Close();
  ASSERT_EQ(DBM_Delete("eBYOD"), DBM_OK);
  std::filesystem::remove_all(state_);
  ASSERT_EQ(RestoreIt(), DBM_OK) << LAUTH_db_ErrorText();
  EXPECT_EQ(ModeOf(state_), 0700U);
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "old");
}

TEST_F(Backup, ABrokenBackupReplacesNothing) {
  MakeBackup();
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  Close();
  const std::string whole = FileBytes(backup_);
  for (size_t i = 0; i < 20; ++i) {
    WriteFile(backup_, whole.substr(0, whole.size() * i / 20));
    ExpectRefused(DBM_ERR_DAMAGED, backup_);
  }
  std::string altered = whole;
  altered[altered.find(std::string(100, 'a')) + 50] = 'b';
  WriteFile(backup_, altered);
  ExpectRefused(DBM_ERR_DAMAGED, "not as it was stored");
  WriteFile(backup_, "a letter");
  ExpectRefused(DBM_ERR_DAMAGED, "not a database");
  std::filesystem::remove(backup_);
  ExpectRefused(DBM_ERR_FAILED, backup_);
  std::filesystem::create_directory(backup_);
  ExpectRefused(DBM_ERR_DAMAGED, "is not a backup");
}

TEST_F(Backup, WhatARestoreReplacedComesBackOrGoes) {
  MakeBackup();
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  Close();
  EXPECT_EQ(LAUTH_db_UndoRestore("eBYOD"), DBM_ERR_NOTFOUND);
  ASSERT_EQ(RestoreIt(), DBM_OK);
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "old");
  EXPECT_EQ(LAUTH_db_UndoRestore("eBYOD"), DBM_ERR_BUSY);
  Close();
  ASSERT_EQ(LAUTH_db_UndoRestore("eBYOD"), DBM_OK);
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "new");
  Close();
  ASSERT_EQ(RestoreIt(), DBM_OK);
  EXPECT_TRUE(std::filesystem::exists(file_ + ".old"));
  EXPECT_EQ(LAUTH_db_EndRestore("eBYOD"), DBM_OK);
  EXPECT_EQ(LAUTH_db_EndRestore("eBYOD"), DBM_OK);
  EXPECT_FALSE(std::filesystem::exists(file_ + ".old"));
  EXPECT_EQ(LAUTH_db_UndoRestore("eBYOD"), DBM_ERR_NOTFOUND);
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "old");
}

TEST_F(Backup, ADatabaseInUseIsNoBackup) {
  MakeBackup();
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  Close();
  WriteFile(backup_ + "-wal", "log");
  ExpectRefused(DBM_ERR_DAMAGED, "in use");
}

TEST_F(Backup, AnotherOwnersBackupIsRefused) {
  MakeBackup();
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  Close();
  EXPECT_EQ(LAUTH_db_Restore("eBYOD", "OTHER", &kParameters, backup_.c_str(), nullptr, nullptr),
            DBM_ERR_REFUSED);
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "new");
}

TEST_F(Backup, TheCallersCheckSeesEverythingAndCanRefuse) {
  MakeBackup();
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  Close();
  struct Seen {
    std::vector<std::string> keys;
    std::vector<size_t> lengths;
    int32_t verdict;
  } seen{{}, {}, 1};
  const auto check = [](void* context, const void* key, uint32_t key_length, uint32_t kind,
                        const void*, uint32_t length) {
    auto* state = static_cast<Seen*>(context);
    state->keys.emplace_back(static_cast<const char*>(key), key_length);
    state->lengths.push_back(length);
    return kind == LAUTH_DB_VALUE ? state->verdict : 0;
  };
  EXPECT_EQ(RestoreIt(check, &seen), DBM_ERR_DAMAGED);
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "new");
  Close();
  seen = {{}, {}, 0};
  EXPECT_EQ(RestoreIt(check, &seen), DBM_OK) << LAUTH_db_ErrorText();
  EXPECT_THAT(seen.keys, ElementsAre(KeyOf("L"), KeyOf("V")));
  EXPECT_THAT(seen.lengths, ElementsAre(5000 + kKeyWidth, 3));
}

TEST_F(Backup, WhatCouldNotBeOpenedIsKeptAside) {
  MakeBackup();
  Close();
  for (const char* kept : {".damaged", ".damaged.1"}) {
    WriteFile(file_, "a letter");
    WriteFile(file_ + "-wal", "its envelope");
    ASSERT_EQ(RestoreIt(), DBM_OK) << LAUTH_db_ErrorText();
    EXPECT_EQ(FileBytes(file_ + kept), "a letter");
    EXPECT_EQ(FileBytes(file_ + kept + "-wal"), "its envelope");
    OpenIt();
    EXPECT_EQ(GetValue(handle_, "V"), "old");
    Close();
  }
}

TEST_F(Backup, ALogWhoseDatabaseIsGoneIsKeptAside) {
  MakeBackup();
  Close();
  std::filesystem::remove(file_);
  WriteFile(file_ + "-wal", "changes");
  ASSERT_EQ(RestoreIt(), DBM_OK) << LAUTH_db_ErrorText();
  EXPECT_EQ(FileBytes(file_ + ".damaged-wal"), "changes");
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "old");
}

}  // namespace
}  // namespace dbm_test
