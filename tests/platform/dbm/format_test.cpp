// SPDX-License-Identifier: Apache-2.0
// The file's format, as another program reads it: a database that a device holds must stay
// readable.
#include <gmock/gmock.h>
#include <sqlite3.h>

#include "support/dbm_fixture.h"

namespace dbm_test {
namespace {

using ::testing::ElementsAre;

class Format : public DbmTest {
 protected:
  // @return the rows of a statement, columns joined by blanks
  std::vector<std::string> Rows(const char* sql) {
    sqlite3* database = nullptr;
    sqlite3_stmt* statement = nullptr;
    std::vector<std::string> rows;
    EXPECT_EQ(sqlite3_open_v2(file_.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr), SQLITE_OK);
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::string row;
      for (int column = 0; column < sqlite3_column_count(statement); ++column) {
        if (column > 0) row += ' ';
        row += reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
      }
      rows.push_back(row);
    }
    sqlite3_finalize(statement);
    sqlite3_close(database);
    return rows;
  }
};

TEST_F(Format, RowsAreAsTheDocumentDescribesThem) {
  std::string record(
      "001a-2b3c-4d5e\0\xFF\xFF\xFF\xFF\xFF\xFF"
      "Desk phone",
      31);
  record.resize(341, '\0');
  const uint32_t descriptor[4] = {0, 15, 6, 0};
  OpenIt();
  ASSERT_EQ(DBM_CreateSortList(handle_, "BYOD_MacRules", 14, descriptor, 1, 2), DBM_OK);
  ASSERT_EQ(DBM_InsertSortList(handle_, "BYOD_MacRules", 14, 341, record.data(), 2), DBM_OK);
  ASSERT_EQ(DBM_SetBinary(handle_, "BYOD_Order", 11, 0, 3, "\1\2\3", 4), DBM_OK);
  Close();

  EXPECT_THAT(Rows("PRAGMA application_id"), ElementsAre(std::to_string(0x4C414442)));
  EXPECT_THAT(Rows("PRAGMA user_version"), ElementsAre("1"));
  EXPECT_THAT(Rows("PRAGMA page_size"), ElementsAre("4096"));
  EXPECT_THAT(Rows("PRAGMA journal_mode"), ElementsAre("wal"));
  EXPECT_THAT(Rows("SELECT owner, mode, word0, word1, word2, word3, name, withdrawn FROM store"),
              ElementsAre("BYOD 7 0 0 1 0 SEC-BYOD-CFG 0"));
  EXPECT_THAT(
      Rows("SELECT id, hex(key), offset, length, comparison, reserved, number, sum FROM list"),
      ElementsAre("1 42594F445F4D616352756C657300 0 15 6 0 2 706611951"));
  EXPECT_THAT(Rows("SELECT list, hex(sort_key), length(data), hex(substr(data, 1, 33)), sum"
                   " FROM record"),
              ElementsAre("1 303031612D326233632D34643565 341"
                          " 303031612D326233632D3464356500FFFFFFFFFFFF4465736B2070686F6E650000"
                          " 3804230136"));
  EXPECT_THAT(Rows("SELECT hex(key), area, form, hex(data), sum FROM value"),
              ElementsAre("42594F445F4F7264657200 0 4 010203 3333960753"));
}

}  // namespace
}  // namespace dbm_test
