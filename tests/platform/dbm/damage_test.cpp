// SPDX-License-Identifier: Apache-2.0
// Files that are foreign, empty, truncated or altered: refused with a reason, and not written to.
#include <gmock/gmock.h>
#include <sqlite3.h>

#include <algorithm>

#include "support/dbm_fixture.h"

namespace dbm_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class Damage : public DbmTest {
 protected:
  // Leaves a closed database of some pages, records of several sizes among them.
  void MakeDatabase() {
    OpenIt();
    ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
    ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
    for (int i = 0; i < kRecords; ++i) {
      ASSERT_EQ(Insert(handle_, "L", RecordOf(i)), DBM_OK);
    }
    ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
    ASSERT_EQ(LAUTH_db_Commit(handle_), DBM_OK);
    Close();
  }

  static std::string RecordOf(int i) {
    return Record(std::to_string(1000 + i), std::string(static_cast<size_t>(i * 97 % 6000), 'r'));
  }

  bool IsIntact() {
    if (Open(handle_) != DBM_OK) return false;
    std::vector<std::string> expected;
    for (int i = 0; i < kRecords; ++i)
      expected.push_back(RecordOf(i));
    const bool intact = Records(handle_, "L") == expected && GetValue(handle_, "V") == "value";
    Close();
    return intact;
  }

  // Puts bytes in the database's place and expects an open to refuse and keep them.
  void ExpectRefused(const std::string& bytes, const std::string& reason) {
    std::filesystem::create_directories(state_);
    WriteFile(file_, bytes);
    EXPECT_EQ(Open(handle_), DBM_ERR_DAMAGED);
    EXPECT_THAT(LAUTH_db_ErrorText(), AllOf(HasSubstr(file_), HasSubstr(reason)));
    EXPECT_TRUE(FileBytes(file_) == bytes);
    EXPECT_EQ(handle_, -1);
  }

  // Runs SQL on the closed database, behind the library's back.
  void Alter(const std::string& sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(file_.c_str(), &database), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
    sqlite3_free(error);
    sqlite3_close(database);
  }

  void ExpectRefusedAfter(const std::string& sql, const std::string& reason) {
    MakeDatabase();
    Alter(sql);
    ExpectRefused(FileBytes(file_), reason);
  }

  static constexpr int kRecords = 60;
};

TEST_F(Damage, AnEmptyFileIsRefused) {
  ExpectRefused("", "is empty");
}

TEST_F(Damage, AFileOfAnotherKindIsRefused) {
  ExpectRefused("#!/bin/sh\nexit 0\n", "not a database");
  ExpectRefused(std::string(40960, '\0'), "not a database");
}

TEST_F(Damage, ADatabaseOfAnotherProgramIsRefused) {
  std::filesystem::create_directories(state_);
  Alter("CREATE TABLE people (name TEXT); INSERT INTO people VALUES ('x')");
  ExpectRefused(FileBytes(file_), "another program");
}

TEST_F(Damage, ADatabaseOfALaterVersionIsRefused) {
  ExpectRefusedAfter("PRAGMA user_version = 2", "another version");
}

TEST_F(Damage, OtherTablesAreRefused) {
  ExpectRefusedAfter("ALTER TABLE record ADD COLUMN extra INTEGER", "tables");
}

TEST_F(Damage, TriggersAreRefused) {
  ExpectRefusedAfter("CREATE TRIGGER t AFTER DELETE ON record BEGIN DELETE FROM value; END",
                     "triggers");
}

TEST_F(Damage, AnAlteredRecordIsRefused) {
  ExpectRefusedAfter(
      "UPDATE record SET data = CAST(data || x'00' AS BLOB) WHERE sort_key = CAST('1007' AS BLOB)",
      "a record is not as it was stored");
}

TEST_F(Damage, ARecordUnderAnothersSortKeyIsRefused) {
  ExpectRefusedAfter(
      "UPDATE record SET sort_key = CAST('1007x' AS BLOB) WHERE sort_key = CAST('1007' AS BLOB)",
      "a record is not as it was stored");
}

TEST_F(Damage, ARecordTooShortForItsSortKeyIsRefused) {
  ExpectRefusedAfter("UPDATE record SET data = x'31' WHERE sort_key = CAST('1007' AS BLOB)",
                     "size is wrong");
}

TEST_F(Damage, RecordsWithoutAListAreRefused) {
  ExpectRefusedAfter("DELETE FROM list", "records of no list");
}

TEST_F(Damage, RecordsThatChangedPlacesAreRefused) {
  constexpr size_t kPage = 4096;
  constexpr char kIndexLeaf = 0x0A;
  MakeDatabase();
  const std::string whole = FileBytes(file_);
  int swapped = 0;
  for (size_t page = kPage; page < whole.size(); page += kPage) {
    const auto* const head = reinterpret_cast<const unsigned char*>(whole.data()) + page;
    if (whole[page] != kIndexLeaf || head[3] * 256 + head[4] < 2) continue;
    // The page's list of where its records lie begins behind eight bytes.
    std::string altered = whole;
    std::swap_ranges(altered.begin() + static_cast<ptrdiff_t>(page) + 8,
                     altered.begin() + static_cast<ptrdiff_t>(page) + 10,
                     altered.begin() + static_cast<ptrdiff_t>(page) + 10);
    ExpectRefused(altered, "out of order");
    ++swapped;
  }
  EXPECT_GE(swapped, 5);
}

TEST_F(Damage, AnAlteredListIsRefused) {
  ExpectRefusedAfter("UPDATE list SET number = 1", "description is not as it was stored");
  std::filesystem::remove_all(state_);
  ExpectRefusedAfter("UPDATE list SET comparison = 5", "description is wrong");
}

TEST_F(Damage, AnAlteredValueIsRefused) {
  ExpectRefusedAfter("UPDATE value SET data = x'00'", "a value is not as it was stored");
}

TEST_F(Damage, AKeyWithTwoMeaningsIsRefused) {
  MakeDatabase();
  OpenIt();
  ASSERT_EQ(DBM_SetBinary(handle_, "X\0", 2, 0, 0, nullptr, 4), DBM_OK);
  Close();
  Alter("DELETE FROM record; UPDATE list SET key = x'5800'");
  EXPECT_EQ(Open(handle_), DBM_ERR_DAMAGED);
}

TEST_F(Damage, ADatabaseWithoutIdentityIsRefused) {
  ExpectRefusedAfter("DELETE FROM store", "whose it is");
  std::filesystem::remove_all(state_);
  ExpectRefusedAfter("INSERT INTO store SELECT * FROM store", "whose it is");
}

TEST_F(Damage, TruncatedAnywhereItIsRefusedOrIntactAndNeverAltered) {
  MakeDatabase();
  const std::string whole = FileBytes(file_);
  ASSERT_GT(whole.size(), 50U * 4096U / 2U);
  int refused = 0;
  for (size_t i = 0; i < 50; ++i) {
    // Even places are spread over the file, odd ones sit closely before its end.
    const size_t length = i % 2 == 0 ? whole.size() * i / 50 : whole.size() - (1 + i * i);
    WriteFile(file_, whole.substr(0, length));
    const int32_t result = Open(handle_);
    if (result == DBM_OK) {
      Close();
      EXPECT_TRUE(IsIntact()) << length;
    } else {
      ++refused;
      EXPECT_EQ(result, DBM_ERR_DAMAGED) << length << ": " << LAUTH_db_ErrorText();
      EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr(file_));
      EXPECT_TRUE(FileBytes(file_) == whole.substr(0, length)) << length;
      EXPECT_EQ(DBM_Delete("eBYOD"), DBM_ERR_DAMAGED) << length;
      EXPECT_TRUE(FileBytes(file_) == whole.substr(0, length)) << length;
    }
  }
  EXPECT_EQ(refused, 50);
  WriteFile(file_, whole);
  EXPECT_TRUE(IsIntact());
}

TEST_F(Damage, AByteAlteredAnywhereIsNoticedOrHarmless) {
  MakeDatabase();
  const std::string whole = FileBytes(file_);
  int noticed = 0;
  for (size_t at = 11; at < whole.size(); at += whole.size() / 300) {
    std::string altered = whole;
    altered[at] = static_cast<char>(altered[at] ^ 0x55);
    WriteFile(file_, altered);
    const int32_t result = Open(handle_);
    if (result != DBM_OK) {
      ++noticed;
      EXPECT_TRUE(FileBytes(file_) == altered) << at;
    } else {
      Close();
      EXPECT_TRUE(IsIntact()) << at;
    }
  }
  EXPECT_GE(noticed, 150);
}

TEST_F(Damage, ALogWithoutItsDatabaseIsRefusedAndKept) {
  std::filesystem::create_directories(state_);
  WriteFile(file_ + "-wal", "changes that someone may still want");
  EXPECT_EQ(Open(handle_), DBM_ERR_DAMAGED);
  EXPECT_THAT(LAUTH_db_ErrorText(), HasSubstr("-wal"));
  EXPECT_EQ(FileBytes(file_ + "-wal"), "changes that someone may still want");
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(Damage, AForeignJournalIsNotRolledBack) {
  MakeDatabase();
  WriteFile(file_ + "-journal", "journal");
  ExpectRefused(FileBytes(file_), "journal");
  EXPECT_EQ(FileBytes(file_ + "-journal"), "journal");
}

TEST_F(Damage, WhatAnInterruptedCreationLeftIsInNobodysWay) {
  std::filesystem::create_directories(state_);
  WriteFile(file_ + ".new", "half of a database");
  WriteFile(file_ + ".new-journal", "half of a journal");
  OpenIt();
  EXPECT_FALSE(std::filesystem::exists(file_ + ".new"));
  EXPECT_FALSE(std::filesystem::exists(file_ + ".new-journal"));
}

TEST_F(Damage, AForeignFileIsNotDeleted) {
  std::filesystem::create_directories(state_);
  WriteFile(file_, "someone's letter, long enough to be looked at");
  EXPECT_EQ(DBM_Delete("eBYOD"), DBM_ERR_DAMAGED);
  EXPECT_EQ(FileBytes(file_), "someone's letter, long enough to be looked at");
}

}  // namespace
}  // namespace dbm_test
