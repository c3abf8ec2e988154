// SPDX-License-Identifier: Apache-2.0
// Opening, closing and deleting: arguments, handles, files and their modes, and what is refused.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <thread>

#include "support/dbm_fixture.h"

namespace dbm_test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<std::string> FilesIn(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Runs a body in a child process. @return whether it ended with true
bool InChild(const std::function<bool()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body() ? 0 : 1);
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

using DbmOpen = DbmTest;

TEST_F(DbmOpen, CreatesTheDirectoryAndTheFilesPrivateWhateverTheUmask) {
  for (const mode_t mask : {0000, 0077, 0777}) {
    const mode_t before = umask(mask);
    const int32_t result = Open(handle_);
    const int32_t stored = SetValue(handle_, "V", "value");
    umask(before);
    ASSERT_EQ(result, DBM_OK) << LAUTH_db_ErrorText();
    EXPECT_EQ(stored, DBM_OK);
    EXPECT_EQ(ModeOf(state_), 0700U);
    for (const std::string& name : FilesIn(state_)) {
      EXPECT_EQ(ModeOf(state_ + "/" + name), 0600U) << name;
    }
    Close();
    std::filesystem::remove_all(state_);
  }
}

TEST_F(DbmOpen, ADatabaseReadsBackWhatWasStored) {
  OpenIt();
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  ASSERT_EQ(Insert(handle_, "L", Record("a", "rest")), DBM_OK);
  ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
  Close();
  OpenIt();
  EXPECT_EQ(Get(handle_, "L", "a"), Record("a", "rest"));
  EXPECT_EQ(GetValue(handle_, "V"), "value");
  EXPECT_EQ(CreateList(handle_, "L"), DBM_OK);
}

TEST_F(DbmOpen, OtherParametersThanTheStoredOnesAreRefused) {
  OpenIt();
  Close();
  DBM_Parameters parameters = kParameters;
  EXPECT_EQ(DBM_Open("eBYOD", "OTHER", 7, &kParameters, &handle_), DBM_ERR_REFUSED);
  for (uint32_t& word : parameters.words) {
    word ^= 2U;
    EXPECT_EQ(DBM_Open("eBYOD", "BYOD", 7, &parameters, &handle_), DBM_ERR_REFUSED);
    word ^= 2U;
  }
  parameters.store[0] = 'X';
  EXPECT_EQ(DBM_Open("eBYOD", "BYOD", 7, &parameters, &handle_), DBM_ERR_REFUSED);
  EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr(file_));
  EXPECT_EQ(handle_, -1);
  OpenIt();
}

TEST_F(DbmOpen, ArgumentsThatMeanNothingAreRefused) {
  EXPECT_EQ(DBM_Open(nullptr, "BYOD", 7, &kParameters, &handle_), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_Open("", "BYOD", 7, &kParameters, &handle_), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_Open(std::string(65, 'n').c_str(), "BYOD", 7, &kParameters, &handle_),
            DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_Open("eBYOD", nullptr, 7, &kParameters, &handle_), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_Open("eBYOD", "BYOD", 6, &kParameters, &handle_), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_Open("eBYOD", "BYOD", 7, nullptr, &handle_), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_Open("eBYOD", "BYOD", 7, &kParameters, nullptr), DBM_ERR_REFUSED);
  EXPECT_EQ(handle_, -1);
  EXPECT_FALSE(std::filesystem::exists(state_));
}

TEST_F(DbmOpen, ANameCannotLeaveTheDirectory) {
  ASSERT_EQ(Open(handle_, "../x/.%a"), DBM_OK) << LAUTH_db_ErrorText();
  EXPECT_TRUE(std::filesystem::exists(state_ + "/%2E%2E%2Fx%2F%2E%25a.db"));
}

TEST_F(DbmOpen, HandlesThatAreClosedOrInventedAreRefused) {
  OpenIt();
  const int32_t stale = handle_;
  Close();
  OpenIt();
  EXPECT_NE(handle_, stale);
  for (const int32_t wrong : {stale, -1, -2, 63, handle_ + 1, std::numeric_limits<int32_t>::min(),
                              std::numeric_limits<int32_t>::max()}) {
    EXPECT_EQ(SetValue(wrong, "V", "value"), DBM_ERR_REFUSED) << wrong;
    EXPECT_EQ(HasKey(wrong, "V"), DBM_ERR_REFUSED) << wrong;
    EXPECT_EQ(LAUTH_db_Begin(wrong), DBM_ERR_REFUSED) << wrong;
    EXPECT_EQ(DBM_Close(wrong), DBM_ERR_REFUSED) << wrong;
  }
  EXPECT_EQ(HasKey(handle_, "V"), 0);
}

TEST_F(DbmOpen, AnIteratorOfAClosedHandleIsRefusedAndMadeZero) {
  OpenIt();
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);
  uintptr_t iterator = 0;
  EXPECT_EQ(Next(handle_, "L", iterator), Record("a"));
  const int32_t stale = handle_;
  Close();
  EXPECT_EQ(DBM_FreeIterator(stale, &iterator), DBM_ERR_REFUSED);
  EXPECT_EQ(iterator, 0U);
}

TEST_F(DbmOpen, OnlySoManyHandlesAreGivenOutAndAllAreDistinct) {
  std::vector<int32_t> handles;
  int32_t handle = -1;
  while (handles.size() < 100 && Open(handle) == DBM_OK)
    handles.push_back(handle);
  EXPECT_EQ(handles.size(), 64U);
  EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr("64"));
  auto sorted = handles;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(std::unique(sorted.begin(), sorted.end()), sorted.end());
  for (const int32_t open : handles)
    EXPECT_EQ(DBM_Close(open), DBM_OK);
}

TEST_F(DbmOpen, AForkedChildCanUseNeitherInheritedHandlesNorNewOnes) {
  OpenIt();
  ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
  EXPECT_TRUE(InChild([this] {
    int32_t fresh = -1;
    return SetValue(handle_, "V", "child's") == DBM_ERR_REFUSED &&
           DBM_Close(handle_) == DBM_ERR_REFUSED && Open(fresh) == DBM_ERR_REFUSED &&
           DBM_Delete("eBYOD") == DBM_ERR_REFUSED;
  }));
  EXPECT_EQ(GetValue(handle_, "V"), "value");
}

TEST_F(DbmOpen, DeleteLeavesNothingBehind) {
  OpenIt();
  ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
  Close();
  EXPECT_EQ(DBM_Delete("eBYOD"), DBM_OK) << LAUTH_db_ErrorText();
  EXPECT_THAT(FilesIn(state_), IsEmpty());
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "(none)");
}

TEST_F(DbmOpen, DeletingWhatIsNotThereIsNotFoundAndLeavesNothing) {
  EXPECT_EQ(DBM_Delete("eBYOD"), DBM_ERR_NOTFOUND);
  std::filesystem::create_directory(state_);
  EXPECT_EQ(DBM_Delete("eBYOD"), DBM_ERR_NOTFOUND);
  EXPECT_THAT(FilesIn(state_), IsEmpty());
}

TEST_F(DbmOpen, DeletingAnOpenDatabaseIsRefusedAndItStays) {
  OpenIt();
  ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
  EXPECT_EQ(DBM_Delete("eBYOD"), DBM_ERR_BUSY);
  EXPECT_EQ(GetValue(handle_, "V"), "value");
}

TEST_F(DbmOpen, TheEnvironmentNamesTheDirectoryUnlessTheProgramHas) {
  const std::string named = directory_ / "named";
  ASSERT_EQ(setenv("LAUTH_STATE_DIR", named.c_str(), 1), 0);
  OpenIt();
  EXPECT_TRUE(std::filesystem::exists(file_));
  Close();
  EXPECT_EQ(LAUTH_db_SetDirectory(nullptr), DBM_OK);
  OpenIt();
  EXPECT_TRUE(std::filesystem::exists(named + "/eBYOD.db"));
  unsetenv("LAUTH_STATE_DIR");
}

TEST_F(DbmOpen, TheEnvironmentIsNotAskedByAProgramWithMoreRightsThanItsUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser has rights to lend";
  const std::string named = directory_ / "named";
  for (const bool privileged : {false, true}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
      setenv("LAUTH_STATE_DIR", named.c_str(), 1);
      dup2(ends[1], STDOUT_FILENO);
      // Started by an unprivileged user with the superuser's rights, as a set-user-id program is.
      if (privileged && setresuid(65534, 0, 0) != 0) _exit(1);
      execl(DBM_PLACE_PROGRAM, DBM_PLACE_PROGRAM, nullptr);
      _exit(1);
    }
    close(ends[1]);
    char output[512] = "";
    EXPECT_GT(read(ends[0], output, sizeof output - 1), 0);
    close(ends[0]);
    waitpid(child, nullptr, 0);
    EXPECT_THAT(output, HasSubstr("there is no such database"));
    EXPECT_EQ(strstr(output, named.c_str()) == nullptr, privileged) << output;
  }
}

TEST_F(DbmOpen, ARelativeDirectoryIsTakenFromWhereItWasSet) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path());
  UseDirectory("state");
  std::filesystem::current_path(before);
  OpenIt();
  EXPECT_TRUE(std::filesystem::exists(file_));
  EXPECT_EQ(LAUTH_db_SetDirectory(""), DBM_ERR_REFUSED);
}

TEST_F(DbmOpen, AMissingParentDirectoryIsNamedAndOpeningWorksOnceItIsThere) {
  const std::string parent = directory_ / "parent";
  UseDirectory(parent + "/state");
  EXPECT_EQ(Open(handle_), DBM_ERR_FAILED);
  EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr(parent + "/state: No such file or directory"));
  std::filesystem::create_directory(parent);
  OpenIt();
}

TEST_F(DbmOpen, AFileInTheDirectorysPlaceIsNamed) {
  WriteFile(state_, "not a directory");
  EXPECT_EQ(Open(handle_), DBM_ERR_FAILED);
  EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr(state_ + ": Not a directory"));
  EXPECT_EQ(FileBytes(state_), "not a directory");
}

TEST_F(DbmOpen, ALinkInTheDatabasesPlaceIsRefused) {
  std::filesystem::create_directory(state_);
  std::filesystem::create_symlink(directory_ / "elsewhere", file_);
  EXPECT_EQ(Open(handle_), DBM_ERR_DAMAGED);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "elsewhere"));
}

// Permissions do not bind the superuser, so the child becomes someone else.
bool AsNobody(const std::string& directory, const std::function<bool()>& body) {
  constexpr uid_t kNobody = 65534;
  if (geteuid() == 0 && chown(directory.c_str(), kNobody, kNobody) != 0) return false;
  return InChild([&] {
    if (geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) != 0) return false;
    return body();
  });
}

bool ReportsPermission() {
  return strstr(LAUTH_db_ErrorText(), "Permission denied") != nullptr;
}

TEST_F(DbmOpen, ADirectoryThatMayNotBeWrittenIsReportedAndLeftAlone) {
  std::filesystem::create_directory(state_);
  ASSERT_EQ(chmod(directory_.path().c_str(), 0755), 0);
  EXPECT_TRUE(AsNobody(state_, [this] {
    int32_t handle = -1;
    return chmod(state_.c_str(), 0500) == 0 && Open(handle) == DBM_ERR_FAILED &&
           ReportsPermission();
  }));
  EXPECT_THAT(FilesIn(state_), IsEmpty());
  ASSERT_EQ(chmod(state_.c_str(), 0700), 0);
  OpenIt();
}

TEST_F(DbmOpen, ADatabaseInADirectoryThatMayNotBeWrittenIsReportedAndLeftAlone) {
  std::filesystem::create_directory(state_);
  ASSERT_EQ(chmod(directory_.path().c_str(), 0755), 0);
  EXPECT_TRUE(AsNobody(state_, [] {
    int32_t handle = -1;
    return Open(handle) == DBM_OK && SetValue(handle, "V", "value") == DBM_OK &&
           DBM_Close(handle) == DBM_OK;
  }));
  const std::string before = FileBytes(file_);
  EXPECT_TRUE(AsNobody(state_, [this] {
    int32_t handle = -1;
    return chmod(state_.c_str(), 0500) == 0 && Open(handle) == DBM_ERR_FAILED &&
           ReportsPermission() && strstr(LAUTH_db_ErrorText(), state_.c_str()) != nullptr;
  }));
  EXPECT_EQ(FileBytes(file_), before);
  ASSERT_EQ(chmod(state_.c_str(), 0700), 0);
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "value");
}

TEST_F(DbmOpen, ADatabaseWhoseFileIsTakenAwayWhileOpenRefusesChangesUntilItIsBack) {
  OpenIt();
  ASSERT_EQ(SetValue(handle_, "V", "before"), DBM_OK);
  const std::string aside = directory_ / "aside";
  std::filesystem::rename(state_, aside);
  for (const bool replaced : {false, true}) {
    if (replaced) {
      std::filesystem::create_directory(state_);
      WriteFile(file_, "another file");
    }
    EXPECT_EQ(SetValue(handle_, "V", "lost"), DBM_ERR_FAILED);
    EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr(file_ + ": the open file is no longer found"));
    EXPECT_EQ(LAUTH_db_Begin(handle_), DBM_ERR_FAILED);
    EXPECT_EQ(GetValue(handle_, "V"), "before");
  }
  std::filesystem::remove_all(state_);
  std::filesystem::rename(aside, state_);
  EXPECT_EQ(SetValue(handle_, "V", "after"), DBM_OK);
  Close();
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "after");
}

TEST_F(DbmOpen, WhatTheAdministratorCreatesTheDirectorysOwnerCanUse) {
  if (geteuid() != 0) GTEST_SKIP() << "needs the superuser";
  std::filesystem::create_directory(state_);
  ASSERT_EQ(chmod(directory_.path().c_str(), 0755), 0);
  ASSERT_EQ(chown(state_.c_str(), 65534, 65534), 0);
  OpenIt();
  ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
  Close();
  EXPECT_TRUE(AsNobody(state_, [] {
    int32_t handle = -1;
    return Open(handle) == DBM_OK && GetValue(handle, "V") == "value" &&
           SetValue(handle, "V", "new") == DBM_OK;
  }));
}

TEST_F(DbmOpen, TheErrorTextIsTheThreadsOwn) {
  EXPECT_EQ(DBM_Close(12345), DBM_ERR_REFUSED);
  EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr("12345"));
  std::thread([] {
    EXPECT_STREQ(LAUTH_db_ErrorText(), "");
    EXPECT_EQ(DBM_Close(54321), DBM_ERR_REFUSED);
    EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr("54321"));
  }).join();
  EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr("12345"));
}

}  // namespace
}  // namespace dbm_test
