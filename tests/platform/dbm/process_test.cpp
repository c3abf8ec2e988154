// SPDX-License-Identifier: Apache-2.0
// Several processes at once, and processes that are killed in the middle of changes.
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <map>
#include <random>
#include <thread>

#include "support/dbm_fixture.h"

namespace dbm_test {
namespace {

using DbmProcess = DbmTest;

pid_t Start(const std::function<bool()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body() ? 0 : 1);
  EXPECT_GT(child, 0);
  return child;
}

bool EndedWell(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(DbmProcess, ProcessesThatCreateTheDatabaseAtOnceAllGetTheSameOne) {
  std::vector<pid_t> children;
  for (int child = 0; child < 6; ++child) {
    children.push_back(Start([child] {
      int32_t handle = -1;
      return Open(handle) == DBM_OK && CreateList(handle, "L") == DBM_OK &&
             Insert(handle, "L", Record(std::to_string(child))) == DBM_OK &&
             DBM_Close(handle) == DBM_OK;
    }));
  }
  for (const pid_t child : children)
    EXPECT_TRUE(EndedWell(child));
  OpenIt();
  EXPECT_EQ(Records(handle_, "L").size(), 6U);
}

TEST_F(DbmProcess, ChangesOfSeveralProcessesAllArrive) {
  constexpr int kChildren = 3;
  constexpr int kEach = 60;
  OpenIt();
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  Close();
  std::vector<pid_t> children;
  for (int child = 0; child < kChildren; ++child) {
    children.push_back(Start([child] {
      int32_t handle = -1;
      if (Open(handle) != DBM_OK) return false;
      for (int i = 0; i < kEach; ++i) {
        const std::string key = std::to_string(i) + "." + std::to_string(child);
        if (Insert(handle, "L", Record(key)) != DBM_OK) return false;
        if (Get(handle, "L", key) != Record(key)) return false;
        // One closes and opens over and over, as an existence check does.
        if (child == 0 && i % 5 == 0 && (DBM_Close(handle) != DBM_OK || Open(handle) != DBM_OK)) {
          return false;
        }
      }
      return true;
    }));
  }
  for (const pid_t child : children)
    EXPECT_TRUE(EndedWell(child));
  OpenIt();
  EXPECT_EQ(Records(handle_, "L").size(), size_t{kChildren} * kEach);
}

TEST_F(DbmProcess, AnotherProcessSeesAChangeAtOnce) {
  OpenIt();
  ASSERT_EQ(SetValue(handle_, "V", "old"), DBM_OK);
  Close();
  int to_child[2];
  int to_parent[2];
  ASSERT_EQ(pipe(to_child), 0);
  ASSERT_EQ(pipe(to_parent), 0);
  const pid_t child = Start([&] {
    int32_t handle = -1;
    char token = 0;
    return Open(handle) == DBM_OK && GetValue(handle, "V") == "old" &&
           write(to_parent[1], "o", 1) == 1 && read(to_child[0], &token, 1) == 1 &&
           GetValue(handle, "V") == "new";
  });
  char token = 0;
  EXPECT_EQ(read(to_parent[0], &token, 1), 1);
  OpenIt();
  EXPECT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  EXPECT_EQ(DBM_Delete("eBYOD"), DBM_ERR_BUSY);
  EXPECT_EQ(write(to_child[1], "c", 1), 1);
  EXPECT_TRUE(EndedWell(child));
  for (const int end : {to_child[0], to_child[1], to_parent[0], to_parent[1]})
    close(end);
}

using Model = std::map<std::string, std::string>;

// A change by its number: the same in the child, which makes it, and in the model.
struct Planned {
  bool remove;
  std::string key;
  std::string record;
};

Planned Plan(uint64_t number) {
  std::mt19937_64 random(number * 2654435761U + 17);
  const std::string key = std::to_string(random() % 40);
  return {random() % 3 == 0, key,
          Record(key, std::string(random() % 3000, 'p') + std::to_string(number))};
}

void ApplyTo(Model& model, const Planned& change) {
  if (change.remove) {
    model.erase(change.key);
  } else {
    model[change.key] = change.record;
  }
}

TEST_F(DbmProcess, AProcessKilledInTheMiddleOfChangesLosesNoneThatReturned) {
  constexpr int kRounds = 150;
  OpenIt();
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  Close();
  // The child writes here how many of its changes returned.
  void* shared = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto* returned = new (shared) std::atomic<uint32_t>(0);
  std::mt19937 random(7);
  Model model;
  uint32_t number = 0;
  uint64_t in_flight_kept = 0;
  for (int round = 0; round < kRounds; ++round) {
    *returned = number;
    const pid_t child = Start([number, returned] {
      int32_t handle = -1;
      if (Open(handle) != DBM_OK) return false;
      for (uint32_t next = number;; ++next) {
        const Planned change = Plan(next);
        const int32_t result = change.remove ? Remove(handle, "L", Record(change.key))
                                             : Insert(handle, "L", change.record);
        if (result != DBM_OK && result != DBM_ERR_NOTFOUND) return false;
        *returned = next + 1;
      }
    });
    // Killed once it is at work, at a moment that has nothing to do with what it does.
    while (*returned == number) {
      ASSERT_EQ(waitpid(child, nullptr, WNOHANG), 0) << "the child ended by itself";
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
    ASSERT_GT(child, 0);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));

    for (; number < *returned; ++number)
      ApplyTo(model, Plan(number));
    Model with_in_flight = model;
    ApplyTo(with_in_flight, Plan(number));
    OpenIt();
    Model found;
    for (const std::string& record : Records(handle_, "L")) {
      found[record.substr(0, record.find('\0'))] = record;
    }
    Close();
    ASSERT_TRUE(found == model || found == with_in_flight) << "round " << round;
    if (found != model) {
      ++in_flight_kept;
      model = found;
    }
    ++number;  // the one in flight is decided either way
  }
  EXPECT_GE(number, uint32_t{kRounds});
  RecordProperty("changes", static_cast<int>(number));
  RecordProperty("in_flight_kept", static_cast<int>(in_flight_kept));
  munmap(shared, 4096);
}

TEST_F(DbmProcess, AProcessKilledWhileItCreatesLeavesNoneOrAWholeDatabase) {
  std::mt19937 random(11);
  for (int round = 0; round < 40; ++round) {
    std::filesystem::remove_all(state_);
    const pid_t child = Start([] {
      int32_t handle = -1;
      return Open(handle) == DBM_OK && pause() != 0;
    });
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 6000));
    ASSERT_GT(child, 0);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    OpenIt();
    EXPECT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
    Close();
  }
}

// The system's own limit on a file's size stands in for a full disk: writes fail with EFBIG.
TEST_F(DbmProcess, AFullDiskIsReportedAndNothingIsLostAndItGoesOnOnceThereIsRoom) {
  OpenIt();
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  Close();
  EXPECT_TRUE(EndedWell(Start([] {
    int32_t handle = -1;
    signal(SIGXFSZ, SIG_IGN);
    if (Open(handle) != DBM_OK) return false;
    const rlimit limit = {300000, RLIM_INFINITY};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return false;
    size_t stored = 0;
    int32_t result = DBM_OK;
    while (stored < 1000 && result == DBM_OK) {
      result = Insert(handle, "L", Record(std::to_string(stored), std::string(4000, 'f')));
      if (result == DBM_OK) ++stored;
    }
    const bool reported = result == DBM_ERR_FULL &&
                          strstr(LAUTH_db_ErrorText(), "eBYOD.db") != nullptr &&
                          strstr(LAUTH_db_ErrorText(), strerror(EFBIG)) != nullptr;
    const bool kept = Records(handle, "L").size() == stored;
    const rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
    return stored > 0 && stored < 1000 && reported && kept && setrlimit(RLIMIT_FSIZE, &none) == 0 &&
           Insert(handle, "L", Record("more")) == DBM_OK &&
           Records(handle, "L").size() == stored + 1;
  })));
  OpenIt();
  EXPECT_GT(Records(handle_, "L").size(), 1U);
}

TEST_F(DbmProcess, ANewDatabaseThatFindsNoRoomLeavesNothingInTheWay) {
  EXPECT_TRUE(EndedWell(Start([] {
    int32_t handle = -1;
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {3000, RLIM_INFINITY};
    return setrlimit(RLIMIT_FSIZE, &limit) == 0 && Open(handle) != DBM_OK &&
           strstr(LAUTH_db_ErrorText(), "eBYOD.db.new") != nullptr;
  })));
  EXPECT_FALSE(std::filesystem::exists(file_));
  OpenIt();
}

}  // namespace
}  // namespace dbm_test
