// SPDX-License-Identifier: Apache-2.0
// A separate directory for a test's databases, and short forms of the database calls.
#ifndef BYOD_TESTS_SUPPORT_DBM_FIXTURE_H
#define BYOD_TESTS_SUPPORT_DBM_FIXTURE_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "support/scratch_directory.h"

namespace dbm_test {

inline constexpr DBM_Parameters kParameters = {{0, 0, 1, 0}, "SEC-BYOD-CFG"};
inline constexpr uint32_t kListNumber = 3;
inline constexpr uint32_t kKeyWidth = 16;
inline constexpr uint32_t kDescriptor[4] = {0, kKeyWidth, DBM_COMPARE_TEXT, 0};

using support::ScratchDirectory;

inline int32_t Open(int32_t& handle, const char* name = "eBYOD") {
  return DBM_Open(name, "BYOD", 7, &kParameters, &handle);
}

/// The bytes of a key, its NUL counted.
inline std::string KeyOf(const std::string& text) {
  return text + '\0';
}

inline uint32_t Size(const std::string& bytes) {
  return static_cast<uint32_t>(bytes.size());
}

/// A record: the sort key in its field, and what follows it.
inline std::string Record(std::string key, const std::string& rest = "") {
  key.resize(kKeyWidth, '\0');
  return key + rest;
}

inline int32_t CreateList(int32_t handle, const std::string& list) {
  const std::string key = KeyOf(list);
  return DBM_CreateSortList(handle, key.data(), Size(key), kDescriptor, 1, kListNumber);
}

inline int32_t Insert(int32_t handle, const std::string& list, const std::string& record,
                      uint32_t number = kListNumber) {
  const std::string key = KeyOf(list);
  return DBM_InsertSortList(handle, key.data(), Size(key), Size(record), record.data(), number);
}

inline int32_t Remove(int32_t handle, const std::string& list, const std::string& record) {
  const std::string key = KeyOf(list);
  return DBM_RemoveSortList(handle, key.data(), Size(key), Size(record), record.data());
}

/// @return the record with that sort key, or ""
inline std::string Get(int32_t handle, const std::string& list, const std::string& sort_key) {
  const std::string key = KeyOf(list);
  std::string buffer = Record(sort_key);
  buffer.resize(8192, '\0');
  const int32_t got = DBM_GetSortList(handle, key.data(), Size(key), Size(buffer), buffer.data());
  return buffer.substr(0, got > 0 ? static_cast<size_t>(got) : 0);
}

/// @return the next record, or ""
inline std::string Next(int32_t handle, const std::string& list, uintptr_t& iterator) {
  const std::string key = KeyOf(list);
  std::string buffer(8192, '\0');
  const int32_t got = DBM_GetNextSortList(handle, key.data(), Size(key), &iterator, 0, 0,
                                          Size(buffer), buffer.data());
  return buffer.substr(0, got > 0 ? static_cast<size_t>(got) : 0);
}

inline std::vector<std::string> Records(int32_t handle, const std::string& list) {
  std::vector<std::string> records;
  uintptr_t iterator = 0;
  for (;;) {
    std::string record = Next(handle, list, iterator);
    if (record.empty()) break;
    records.push_back(std::move(record));
  }
  EXPECT_EQ(DBM_FreeIterator(handle, &iterator), DBM_OK);
  return records;
}

inline int32_t SetValue(int32_t handle, const std::string& name, const std::string& data) {
  const std::string key = KeyOf(name);
  return DBM_SetBinary(handle, key.data(), Size(key), 0, Size(data), data.data(), 4);
}

/// @return the value, or "(none)"
inline std::string GetValue(int32_t handle, const std::string& name) {
  const std::string key = KeyOf(name);
  std::string buffer(8192, '\0');
  const int32_t got = DBM_GetBinary(handle, key.data(), Size(key), 0, Size(buffer), buffer.data());
  return got >= 0 ? buffer.substr(0, static_cast<size_t>(got)) : "(none)";
}

inline int32_t DeleteKey(int32_t handle, const std::string& name) {
  const std::string key = KeyOf(name);
  return DBM_DeleteKey(handle, key.data(), Size(key));
}

inline int32_t HasKey(int32_t handle, const std::string& name) {
  const std::string key = KeyOf(name);
  return DBM_IsKeyExist(handle, key.data(), Size(key));
}

inline std::string FileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline uint32_t ModeOf(const std::string& path) {
  struct stat found;
  return stat(path.c_str(), &found) == 0 ? found.st_mode & 07777U : 0;
}

/// A test with a directory of databases.
class DbmTest : public ::testing::Test {
 protected:
  DbmTest() { UseDirectory(state_); }
  ~DbmTest() override {
    Close();
    LAUTH_db_SetDirectory(nullptr);
  }

  void UseDirectory(const std::string& path) {
    EXPECT_EQ(LAUTH_db_SetDirectory(path.c_str()), DBM_OK);
  }

  /// Opens the database as handle_.
  void OpenIt() { ASSERT_EQ(Open(handle_), DBM_OK) << LAUTH_db_ErrorText(); }

  void Close() {
    if (handle_ != -1) {
      EXPECT_EQ(DBM_Close(handle_), DBM_OK) << LAUTH_db_ErrorText();
    }
    handle_ = -1;
  }

  ScratchDirectory directory_;
  std::string state_ = directory_ / "state";
  std::string file_ = state_ + "/eBYOD.db";
  int32_t handle_ = -1;
};

}  // namespace dbm_test

#endif  // BYOD_TESTS_SUPPORT_DBM_FIXTURE_H
