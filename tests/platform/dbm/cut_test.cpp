// SPDX-License-Identifier: Apache-2.0
// Creation, deletion and restore, which move whole files: ended by force at each of their calls of
// the system, and checked by the order in which they flush.
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <functional>

#include "support/dbm_fixture.h"

namespace {

// The calls until the process ends; negative: it goes on.
int left = -1;
bool tracing = false;
std::vector<std::string>* trace = nullptr;

// The last part of a path, with the random part of the test's directory left out.
std::string NameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::string NameOf(int descriptor) {
  char path[512];
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = readlink(link.c_str(), path, sizeof path);
  return length > 0 ? NameOf(std::string(path, static_cast<size_t>(length))) : "?";
}

// The call that fails, and how many of it go well before.
std::string failing;
int before_failing = 0;

bool Fails(const std::string& call) {
  if (call != failing || before_failing-- != 0) return false;
  errno = EIO;
  return true;
}

void Announce(const std::string& call) {
  if (tracing) trace->push_back(call);
  if (left >= 0 && left-- == 0) _exit(99);
}

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// These take the place of the system's for the library and for SQLite.
extern "C" {
int fsync(int descriptor) {
  const std::string call = "flush " + NameOf(descriptor);
  Announce(call);
  return Fails(call) ? -1 : Real<int(int)>("fsync")(descriptor);
}
int fdatasync(int descriptor) {
  Announce("flush " + NameOf(descriptor));
  return Real<int(int)>("fdatasync")(descriptor);
}
int link(const char* from, const char* to) noexcept {
  Announce("link " + NameOf(from) + " " + NameOf(to));
  return Real<int(const char*, const char*)>("link")(from, to);
}
int rename(const char* from, const char* to) noexcept {
  Announce("rename " + NameOf(from) + " " + NameOf(to));
  return Real<int(const char*, const char*)>("rename")(from, to);
}
int unlink(const char* path) noexcept {
  Announce("unlink " + NameOf(path));
  return Real<int(const char*)>("unlink")(path);
}
int mkdir(const char* path, mode_t mode) noexcept {
  Announce("mkdir " + NameOf(path));
  return Real<int(const char*, mode_t)>("mkdir")(path, mode);
}
ssize_t write(int descriptor, const void* data, size_t size) {
  // The test framework's own output is not meant.
  if (descriptor > STDERR_FILENO) Announce("write " + NameOf(descriptor));
  return Real<ssize_t(int, const void*, size_t)>("write")(descriptor, data, size);
}
}

namespace dbm_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

class Cut : public DbmTest {
 protected:
  // Ends a child at each call of its body in turn, until one finishes, and checks what is left.
  void CutEverywhere(const std::function<void()>& prepare, const std::function<bool()>& body,
                     const std::function<void(bool finished)>& check) {
    for (int calls = 0;; ++calls) {
      SCOPED_TRACE(calls);
      ASSERT_LT(calls, 200);
      prepare();
      const pid_t child = fork();
      if (child == 0) {
        left = calls;
        _exit(body() ? 0 : 1);
      }
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      ASSERT_TRUE(WIFEXITED(status));
      const bool finished = WEXITSTATUS(status) != 99;
      check(finished);
      if (finished) {
        EXPECT_EQ(WEXITSTATUS(status), 0);
        EXPECT_GT(calls, 3);
        return;
      }
    }
  }

  std::vector<std::string> Trace(const std::function<int32_t()>& body) {
    std::vector<std::string> calls;
    trace = &calls;
    tracing = true;
    EXPECT_EQ(body(), DBM_OK) << LAUTH_db_ErrorText();
    tracing = false;
    return calls;
  }

  void Store(const std::string& value) {
    OpenIt();
    ASSERT_EQ(SetValue(handle_, "V", value), DBM_OK);
    Close();
  }

  std::string Stored() {
    OpenIt();
    const std::string value = GetValue(handle_, "V");
    Close();
    return value;
  }

  // A backup that holds "old", and a database that holds "new".
  void PrepareRestore() {
    std::filesystem::remove_all(state_);
    std::filesystem::remove(backup_);
    OpenIt();
    ASSERT_EQ(SetValue(handle_, "V", "old"), DBM_OK);
    ASSERT_EQ(LAUTH_db_Backup(handle_, backup_.c_str()), DBM_OK);
    ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
    Close();
  }

  int32_t RestoreIt() {
    return LAUTH_db_Restore("eBYOD", "BYOD", &kParameters, backup_.c_str(), nullptr, nullptr);
  }

  std::string backup_ = directory_ / "backup";
};

TEST_F(Cut, ACreationThatWasCutIsDoneAnew) {
  CutEverywhere([this] { std::filesystem::remove_all(state_); },
                [this] { return Open(handle_) == DBM_OK; },
                [this](bool) { EXPECT_EQ(Stored(), "(none)"); });
}

TEST_F(Cut, ADeletionThatWasCutLeavesTheWholeDatabaseOrNone) {
  CutEverywhere(
      [this] {
        std::filesystem::remove_all(state_);
        Store("old");
        // With changes in the log, as a killed process leaves them.
        const pid_t child = fork();
        if (child == 0) _exit(Open(handle_) == DBM_OK ? SetValue(handle_, "V", "new") : 1);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
      },
      [] { return DBM_Delete("eBYOD") == DBM_OK; },
      [this](bool finished) {
        const bool there = std::filesystem::exists(file_);
        EXPECT_TRUE(!finished || !there);
        EXPECT_EQ(Stored(), there ? "new" : "(none)");
      });
}

TEST_F(Cut, ARestoreThatWasCutLeavesTheOldDatabaseOrTheBackup) {
  CutEverywhere([this] { PrepareRestore(); }, [this] { return RestoreIt() == DBM_OK; },
                [this](bool finished) {
                  const std::string stored = Stored();
                  EXPECT_TRUE(stored == "old" || (!finished && stored == "new")) << stored;
                });
}

TEST_F(Cut, ANewDatabaseIsFlushedBeforeItGetsItsName) {
  std::filesystem::create_directory(state_);
  const auto calls = Trace([this] { return Open(handle_); });
  std::vector<std::string> order;
  for (const std::string& call : calls) {
    if (call == "flush eBYOD.db.new" || call == "flush state" || call.starts_with("link")) {
      order.push_back(call);
    }
  }
  // The last one is of the name of its log.
  ASSERT_GE(order.size(), 4U);
  order.erase(order.begin(), order.end() - 4);
  EXPECT_THAT(order, ElementsAre("flush eBYOD.db.new", "link eBYOD.db.new eBYOD.db", "flush state",
                                 "flush state"));
}

TEST_F(Cut, ARestoredDatabaseIsFlushedBeforeItTakesTheOldOnesPlaceAndItsNameAfter) {
  PrepareRestore();
  const auto calls = Trace([this] { return RestoreIt(); });
  const auto renamed = std::find(calls.begin(), calls.end(), "rename eBYOD.db.new eBYOD.db");
  ASSERT_NE(renamed, calls.end());
  std::vector<std::string> before(calls.begin(), renamed);
  const std::vector<std::string> after(renamed + 1, calls.end());
  EXPECT_THAT(before, Contains("flush eBYOD.db.new"));
  ASSERT_EQ(before.back(), "link eBYOD.db eBYOD.db.old");
  before.pop_back();
  // That the old log is gone must last, or the new file would be taken for its owner.
  EXPECT_EQ(before.back(), "flush state");
  EXPECT_THAT(after, ElementsAre("flush state"));
}

// SQLite ignores it when the name of its new log cannot be flushed; a loss of power would then take
// the changes in it along, though they were reported as saved.
TEST_F(Cut, ALogWhoseNameCannotBeFlushedIsNotWrittenTo) {
  Store("old");
  const auto calls = Trace([this] { return Open(handle_); });
  EXPECT_THAT(calls, Contains("flush state"));
  EXPECT_TRUE(std::filesystem::exists(file_ + "-wal")) << "what is flushed is there";
  Close();
  failing = "flush state";
  before_failing = 0;
  EXPECT_NE(Open(handle_), DBM_OK);
  EXPECT_THAT(LAUTH_db_ErrorText(), ::testing::HasSubstr("cannot flush"));
  failing.clear();
  EXPECT_EQ(Stored(), "old");
}

TEST_F(Cut, AChangeIsFlushedBeforeItReturns) {
  Store("old");
  OpenIt();
  ASSERT_EQ(SetValue(handle_, "V", "once"), DBM_OK);
  const auto calls = Trace([this] { return SetValue(handle_, "V", "twice"); });
  EXPECT_EQ(calls.back(), "flush eBYOD.db-wal");
}

}  // namespace
}  // namespace dbm_test
