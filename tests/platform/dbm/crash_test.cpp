// SPDX-License-Identifier: Apache-2.0
// Loss of power at every file operation of every kind of change, and disks that refuse an
// operation: the database holds the old state or the new one, and what was reported stays true.
#include <gmock/gmock.h>

#include <functional>
#include <map>

#include "support/crash_vfs.h"
#include "support/dbm_fixture.h"
#include "support/emulation.h"

namespace dbm_test {
namespace {

using crash_vfs::Unflushed;

// Everything that a database holds.
using Contents = std::map<std::string, std::vector<std::string>>;

Contents ContentsOf(int32_t handle) {
  Contents contents;
  for (const char* list : {"L", "M"}) {
    if (HasKey(handle, list) == 1) contents[list] = Records(handle, list);
  }
  if (HasKey(handle, "V") == 1) contents["V"] = {GetValue(handle, "V")};
  return contents;
}

struct Step {
  const char* name;
  std::function<int32_t(int32_t handle)> run;
};

int32_t InsertMany(int32_t handle) {
  int32_t result = LAUTH_db_Begin(handle);
  for (int i = 0; i < 40 && result == DBM_OK; ++i) {
    result = Insert(handle, "L", Record(std::to_string(i), std::string(500, 'm')));
  }
  if (result == DBM_OK) return LAUTH_db_Commit(handle);
  LAUTH_db_Rollback(handle);
  return result;
}

// As a set of attributes is replaced: what is there goes, and the new one comes.
int32_t ReplaceInTwoSteps(int32_t handle) {
  int32_t result = LAUTH_db_Begin(handle);
  if (result == DBM_OK) result = Remove(handle, "L", Record("a"));
  if (result == DBM_OK) result = Insert(handle, "L", Record("a", "another length"));
  if (result == DBM_OK) return LAUTH_db_Commit(handle);
  LAUTH_db_Rollback(handle);
  return result;
}

// Every kind of change in one.
int32_t ChangeEverything(int32_t handle) {
  int32_t result = LAUTH_db_Begin(handle);
  if (result == DBM_OK) result = CreateList(handle, "M");
  if (result == DBM_OK) result = Insert(handle, "M", Record("x", "new"));
  if (result == DBM_OK) result = SetValue(handle, "V", "new value");
  if (result == DBM_OK) result = DeleteKey(handle, "L");
  if (result == DBM_OK) return LAUTH_db_Commit(handle);
  LAUTH_db_Rollback(handle);
  return result;
}

const Step kSteps[] = {
    {"create a list", [](int32_t handle) { return CreateList(handle, "M"); }},
    {"insert", [](int32_t handle) { return Insert(handle, "L", Record("b", "new")); }},
    {"replace by a long one",
     [](int32_t handle) { return Insert(handle, "L", Record("a", std::string(9000, 'n'))); }},
    {"remove", [](int32_t handle) { return Remove(handle, "L", Record("a")); }},
    {"set a value", [](int32_t handle) { return SetValue(handle, "V", "new value"); }},
    {"delete a list", [](int32_t handle) { return DeleteKey(handle, "L"); }},
    {"change in bulk", InsertMany},
    {"replace by a removal and an insertion", ReplaceInTwoSteps},
    {"change everything in bulk", ChangeEverything},
};

// An emulated processor would take half an hour for all of them.
constexpr uint32_t kTornImages = support::kEmulated ? 1 : 3;
constexpr int kOperationsApart = support::kEmulated ? 5 : 1;

class Crash : public DbmTest {
 protected:
  static void SetUpTestSuite() { crash_vfs::Install(); }

  ~Crash() override {
    Close();
    crash_vfs::Reset();
  }

  void Populate() {
    ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
    for (const char* key : {"a", "c", "d"}) {
      ASSERT_EQ(Insert(handle_, "L", Record(key, std::string(3000, 'o'))), DBM_OK);
    }
    ASSERT_EQ(SetValue(handle_, "V", "old value"), DBM_OK);
  }

  // Starts again with the same few things stored.
  void StartAnew() {
    Close();
    crash_vfs::Reset();
    std::filesystem::remove_all(state_);
    UseDirectory(state_);
    OpenIt();
    Populate();
  }

  // Lays the files out as a loss of power now would leave them, in every way.
  void CutPower(std::vector<std::string>& images) {
    const auto lay_out = [&](Unflushed unflushed, uint32_t seed) {
      images.push_back(directory_ / ("image" + std::to_string(image_count_++)));
      crash_vfs::LayOut(state_, images.back(), unflushed, seed);
    };
    lay_out(Unflushed::kLost, 0);
    lay_out(Unflushed::kKept, 0);
    for (uint32_t i = 0; i < kTornImages; ++i)
      lay_out(Unflushed::kTorn, seed_++);
  }

  // Opens an image after the power is back.
  void Reopen(const std::string& image, Contents& contents) {
    UseDirectory(image);
    int32_t handle = -1;
    ASSERT_EQ(Open(handle), DBM_OK) << LAUTH_db_ErrorText();
    contents = ContentsOf(handle);
    // It must be usable, too.
    EXPECT_EQ(SetValue(handle, "after", "the crash"), DBM_OK);
    EXPECT_EQ(DBM_Close(handle), DBM_OK);
    UseDirectory(state_);
    std::filesystem::remove_all(image);
  }

  // Cuts the power before each operation of a change and after the last.
  void CutThroughout(const std::string& name, const std::function<void()>& change,
                     const std::function<bool(const Contents& found, bool done)>& allows) {
    SCOPED_TRACE(name);
    std::vector<std::string> images;
    crash_vfs::Watch([&](int) { CutPower(images); });
    change();
    crash_vfs::Watch(nullptr);
    const size_t before_return = images.size();
    CutPower(images);
    EXPECT_GT(before_return, 0U);
    for (size_t i = 0; i < images.size(); ++i) {
      Contents found;
      Reopen(images[i], found);
      EXPECT_TRUE(allows(found, i >= before_return)) << "image " << i << " of " << images.size();
    }
  }

  int image_count_ = 0;
  uint32_t seed_ = 1;
};

TEST_F(Crash, APowerCutAtAnyOperationOfAChangeLeavesTheOldStateOrTheNew) {
  for (const Step& step : kSteps) {
    StartAnew();
    const Contents before = ContentsOf(handle_);
    Contents after;
    CutThroughout(
        step.name,
        [&] {
          ASSERT_EQ(step.run(handle_), DBM_OK);
          after = ContentsOf(handle_);
        },
        [&](const Contents& found, bool done) {
          return found == after || (!done && found == before);
        });
    EXPECT_NE(before, after) << step.name;
  }
}

TEST_F(Crash, APowerCutWhileTheLogMovesIntoTheFileLosesNothing) {
  StartAnew();
  ASSERT_EQ(InsertMany(handle_), DBM_OK);
  const Contents stored = ContentsOf(handle_);
  CutThroughout(
      "close", [&] { Close(); }, [&](const Contents& found, bool) { return found == stored; });
}

TEST_F(Crash, APowerCutInAChangeAfterTheLogWasMovedLosesNothing) {
  StartAnew();
  Close();
  OpenIt();
  const Contents before = ContentsOf(handle_);
  Contents after;
  CutThroughout(
      "insert into a fresh log",
      [&] {
        ASSERT_EQ(kSteps[1].run(handle_), DBM_OK);
        after = ContentsOf(handle_);
      },
      [&](const Contents& found, bool done) {
        return found == after || (!done && found == before);
      });
}

TEST_F(Crash, APowerCutInManyChangesWithLogRestartsKeepsEveryAcknowledgedOne) {
  StartAnew();
  // Enough pages for SQLite to move the log into the file on its own, and start it over.
  for (int i = 0; i < 30; ++i) {
    const std::string record = Record("big", std::string(200000, static_cast<char>('a' + i)));
    const Contents before = ContentsOf(handle_);
    std::vector<std::string> images;
    int operations = 0;
    crash_vfs::Watch([&](int number) {
      operations = number + 1;
      if (number % 97 == 3 * i) CutPower(images);
    });
    ASSERT_EQ(Insert(handle_, "L", record), DBM_OK);
    crash_vfs::Watch(nullptr);
    const size_t before_return = images.size();
    CutPower(images);
    const Contents after = ContentsOf(handle_);
    for (size_t image = 0; image < images.size(); ++image) {
      Contents found;
      Reopen(images[image], found);
      EXPECT_TRUE(found == after || (image < before_return && found == before))
          << "change " << i << ", image " << image;
    }
    EXPECT_GT(operations, 50);
  }
}

TEST_F(Crash, APowerCutDuringTheCreationLeavesNoDatabaseOrAnEmptyOne) {
  CutThroughout(
      "create", [&] { OpenIt(); }, [](const Contents& found, bool) { return found.empty(); });
}

// One operation fails, or all from it on. The result that was reported must be what the handle
// shows, and what a loss of power right after it leaves.
class Refusal : public Crash {
 protected:
  void FailEach(bool all_later, crash_vfs::Failure failure) {
    for (const Step& step : kSteps) {
      SCOPED_TRACE(step.name);
      for (int first = 0;; first += kOperationsApart) {
        SCOPED_TRACE(first);
        StartAnew();
        const Contents before = ContentsOf(handle_);
        crash_vfs::FailFrom(first, all_later, failure);
        const int32_t result = step.run(handle_);
        const bool failed = crash_vfs::HasFailed();
        const bool reported = strstr(LAUTH_db_ErrorText(), "may yet bring") != nullptr;
        crash_vfs::FailFrom(-1, false, failure);
        const Contents after = ContentsOf(handle_);
        if (!failed) {
          EXPECT_EQ(result, DBM_OK);
          EXPECT_GT(first, 0);
          break;
        }
        if (result == DBM_OK) {
          EXPECT_NE(before, after);
        } else {
          EXPECT_EQ(before, after);
          EXPECT_NE(*LAUTH_db_ErrorText(), '\0');
        }
        if (all_later && reported) {
          // The one case in which a failed change may come back, until the next change succeeds.
          ASSERT_EQ(SetValue(handle_, "next", "change"), DBM_OK);
        }
        std::vector<std::string> images;
        CutPower(images);
        for (const std::string& image : images) {
          Contents found;
          Reopen(image, found);
          EXPECT_EQ(found, after);
        }
        // Once the cause is gone the same change succeeds.
        EXPECT_TRUE(result == DBM_OK || step.run(handle_) == DBM_OK);
      }
    }
  }
};

TEST_F(Refusal, OneFailingOperationIsReportedAndTheReportStaysTrueAfterAPowerCut) {
  FailEach(false, crash_vfs::Failure::kIo);
}

TEST_F(Refusal, ADiskThatFailsForGoodLeavesTheOldState) {
  FailEach(true, crash_vfs::Failure::kIo);
}

TEST_F(Refusal, AFullDiskLeavesTheOldStateAndIsReported) {
  FailEach(true, crash_vfs::Failure::kFull);
  StartAnew();
  crash_vfs::FailFrom(0, true, crash_vfs::Failure::kFull);
  EXPECT_EQ(Insert(handle_, "L", Record("b")), DBM_ERR_FULL);
  EXPECT_THAT(LAUTH_db_ErrorText(), ::testing::HasSubstr("full"));
  crash_vfs::FailFrom(-1, false, crash_vfs::Failure::kFull);
}

TEST_F(Refusal, ABulkChangeThatTheDiskRefusedCannotBeCommittedInPart) {
  StartAnew();
  const Contents before = ContentsOf(handle_);
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  ASSERT_EQ(Insert(handle_, "L", Record("b")), DBM_OK);
  crash_vfs::FailFrom(0, true, crash_vfs::Failure::kFull);
  // More than the cache holds, so that pages go to the log before the commit.
  int32_t result = DBM_OK;
  for (int i = 0; i < 10 && result == DBM_OK; ++i) {
    result = Insert(handle_, "L", Record(std::to_string(i), std::string(1000000, 'x')));
  }
  EXPECT_EQ(result, DBM_ERR_FULL);
  crash_vfs::FailFrom(-1, false, crash_vfs::Failure::kFull);
  EXPECT_NE(Insert(handle_, "L", Record("e")), DBM_OK);
  EXPECT_NE(LAUTH_db_Commit(handle_), DBM_OK);
  EXPECT_EQ(ContentsOf(handle_), before);
  EXPECT_EQ(Insert(handle_, "L", Record("e")), DBM_OK);
}

}  // namespace
}  // namespace dbm_test
