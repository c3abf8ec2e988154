// SPDX-License-Identifier: Apache-2.0
// The tables of a database file. Their text is part of the format: a file whose tables read
// otherwise is not ours.
#ifndef LAUTH_PLATFORM_DBM_SCHEMA_H
#define LAUTH_PLATFORM_DBM_SCHEMA_H

#include <cstdint>

namespace lauth::dbm {

/// "LADB", in the file's header.
constexpr int64_t kApplication = 0x4C414442;

/// The format's version, in the file's header.
constexpr int64_t kVersion = 1;

/// The file consists of pages of this size.
constexpr int kPageSize = 4096;

struct Table {
  const char* name;
  const char* sql;
};

#define LAUTH_DBM_STORE                                                                     \
  "CREATE TABLE store (owner BLOB NOT NULL, mode INTEGER NOT NULL, word0 INTEGER NOT NULL," \
  " word1 INTEGER NOT NULL, word2 INTEGER NOT NULL, word3 INTEGER NOT NULL,"                \
  " name BLOB NOT NULL, withdrawn INTEGER NOT NULL) STRICT"
#define LAUTH_DBM_LIST                                                              \
  "CREATE TABLE list (id INTEGER PRIMARY KEY, key BLOB NOT NULL UNIQUE,"            \
  " offset INTEGER NOT NULL, length INTEGER NOT NULL, comparison INTEGER NOT NULL," \
  " reserved INTEGER NOT NULL, number INTEGER NOT NULL, sum INTEGER NOT NULL) STRICT"
#define LAUTH_DBM_RECORD                                                                    \
  "CREATE TABLE record (list INTEGER NOT NULL, sort_key BLOB NOT NULL, data BLOB NOT NULL," \
  " sum INTEGER NOT NULL, PRIMARY KEY (list, sort_key)) STRICT, WITHOUT ROWID"
#define LAUTH_DBM_VALUE                                                       \
  "CREATE TABLE value (key BLOB NOT NULL PRIMARY KEY, area INTEGER NOT NULL," \
  " form INTEGER NOT NULL, data BLOB NOT NULL, sum INTEGER NOT NULL) STRICT, WITHOUT ROWID"

constexpr Table kTables[] = {
    {"store", LAUTH_DBM_STORE},
    {"list", LAUTH_DBM_LIST},
    {"record", LAUTH_DBM_RECORD},
    {"value", LAUTH_DBM_VALUE},
};

/// Makes the tables and leaves the transaction open, for the row of "store".
constexpr const char* kMakeTables =
    "PRAGMA page_size = 4096;"
    "PRAGMA application_id = 0x4C414442;"
    "PRAGMA user_version = 1;"
    "BEGIN IMMEDIATE;" LAUTH_DBM_STORE ";" LAUTH_DBM_LIST ";" LAUTH_DBM_RECORD ";" LAUTH_DBM_VALUE
    ";";

#undef LAUTH_DBM_STORE
#undef LAUTH_DBM_LIST
#undef LAUTH_DBM_RECORD
#undef LAUTH_DBM_VALUE

}  // namespace lauth::dbm

#endif  // LAUTH_PLATFORM_DBM_SCHEMA_H
