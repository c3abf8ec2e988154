// SPDX-License-Identifier: Apache-2.0
// The n-th allocation fails, in SQLite's memory or in C++'s, for every call: it reports a failure
// or does its work, and the database stays whole.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>

#include "support/dbm_fixture.h"

namespace {

// Allocations until the one that fails; negative: none fails.
std::atomic<long> left{-1};
std::atomic<bool> failed{false};

bool FailsNow() {
  if (left.load() < 0 || left.fetch_sub(1) != 0) return false;
  failed = true;
  return true;
}

}  // namespace

// The library's C++ allocations come here too. Not inlined, or the compiler sees new paired with
// free.
[[gnu::noinline]] void* operator new(size_t size) {
  void* memory = FailsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}

// Nothing is flushed here, in thousands of rounds that are not about that.
extern "C" int fsync(int) {
  return 0;
}
extern "C" int fdatasync(int) {
  return 0;
}

namespace dbm_test {
namespace {

sqlite3_mem_methods original;

void* Allocate(int size) {
  return FailsNow() ? nullptr : original.xMalloc(size);
}
void* Reallocate(void* memory, int size) {
  return FailsNow() ? nullptr : original.xRealloc(memory, size);
}

struct Call {
  const char* name;
  std::function<int32_t(int32_t handle)> run;
};

class Memory : public DbmTest {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_GETMALLOC, &original), SQLITE_OK);
    sqlite3_mem_methods failing = original;
    failing.xMalloc = Allocate;
    failing.xRealloc = Reallocate;
    ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_MALLOC, &failing), SQLITE_OK);
    ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0), SQLITE_OK);
  }

  ~Memory() override { left = -1; }

  void StartAnew() {
    Close();
    std::filesystem::remove_all(state_);
    OpenIt();
    ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
    ASSERT_EQ(Insert(handle_, "L", Record("a", "old")), DBM_OK);
    ASSERT_EQ(SetValue(handle_, "V", "old"), DBM_OK);
    // The statements that are kept are prepared again, and their memory is part of the sweep.
    Close();
    OpenIt();
  }

  // Fails each allocation of a call in turn, until the call needs no more.
  void Sweep(const Call& call) {
    SCOPED_TRACE(call.name);
    int refused = 0;
    for (long n = 0;; ++n) {
      SCOPED_TRACE(n);
      ASSERT_LT(n, 5000);
      StartAnew();
      failed = false;
      left = n;
      const int32_t result = call.run(handle_);
      left = -1;
      if (!failed) {
        EXPECT_GE(result, 0) << LAUTH_db_ErrorText();
        break;
      }
      if (result < 0) {
        ++refused;
        EXPECT_NE(*LAUTH_db_ErrorText(), '\0');
      }
      // The same call succeeds when there is memory, or has been done before.
      const int32_t again = call.run(handle_);
      EXPECT_TRUE(again >= 0 || (result >= 0 && again == DBM_ERR_NOTFOUND) ||
                  again == DBM_ERR_REFUSED)
          << again << ": " << LAUTH_db_ErrorText();
      Close();
      OpenIt();  // which checks it whole
    }
    EXPECT_GT(refused, 0);
  }
};

const std::string kNew = Record("b", "new");
const std::string kOld = Record("a");

int32_t GetOld(int32_t handle) {
  char buffer[64] = "a";
  return DBM_GetSortList(handle, "L", 2, sizeof buffer, buffer);
}

int32_t WalkOnce(int32_t handle) {
  uintptr_t iterator = 0;
  char buffer[64];
  const int32_t result =
      DBM_GetNextSortList(handle, "L", 2, &iterator, 0, 0, sizeof buffer, buffer);
  DBM_FreeIterator(handle, &iterator);
  return result;
}

int32_t CallBack(void*, const void*, uint32_t, uint32_t) {
  return 0;
}

int32_t OpenAndClose(int32_t) {
  int32_t handle = -1;
  const int32_t result = DBM_Open("eBYOD", "BYOD", 7, &kParameters, &handle);
  if (result == DBM_OK) DBM_Close(handle);
  return result;
}

const Call kCalls[] = {
    {"insert",
     [](int32_t handle) {
       return DBM_InsertSortList(handle, "L", 2, Size(kNew), kNew.data(), kListNumber);
     }},
    {"remove",
     [](int32_t handle) { return DBM_RemoveSortList(handle, "L", 2, Size(kOld), kOld.data()); }},
    {"get", GetOld},
    {"walk", WalkOnce},
    {"create a list",
     [](int32_t handle) {
       return DBM_CreateSortList(handle, "M", 2, kDescriptor, 1, kListNumber);
     }},
    {"set a value", [](int32_t handle) { return DBM_SetBinary(handle, "V", 2, 0, 3, "new", 4); }},
    {"get a value",
     [](int32_t handle) {
       char buffer[8];
       return DBM_GetBinary(handle, "V", 2, 0, sizeof buffer, buffer);
     }},
    {"look for a key", [](int32_t handle) { return DBM_IsKeyExist(handle, "L", 2); }},
    {"delete a key", [](int32_t handle) { return DBM_DeleteKey(handle, "L", 2); }},
    {"walk the keys", [](int32_t handle) { return LAUTH_db_WalkKeys(handle, CallBack, nullptr); }},
    {"open", OpenAndClose},
};

TEST_F(Memory, EveryCallReportsEveryFailedAllocationOrDoesWithout) {
  for (const Call& call : kCalls)
    Sweep(call);
}

}  // namespace
}  // namespace dbm_test
