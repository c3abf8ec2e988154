// SPDX-License-Identifier: Apache-2.0
#include "platform/dbm/store.h"

#include <cstring>

#include "platform/dbm/checksum.h"
#include "platform/dbm/schema.h"

namespace lauth::dbm {

Result MakeIdentity(const char* owner, uint32_t mode, const void* parameters, Identity& identity) {
  if (owner == nullptr || *owner == '\0' || std::strlen(owner) > DBM_MAX_NAME) {
    return Fail(DBM_ERR_REFUSED, "an owner's name has 1 to %d bytes", int{DBM_MAX_NAME});
  }
  if (mode != DBM_MODE) return Fail(DBM_ERR_REFUSED, "%u is not a mode of opening", mode);
  if (parameters == nullptr) return Fail(DBM_ERR_REFUSED, "the parameters are missing");
  DBM_Parameters given;
  std::memcpy(&given, parameters, sizeof given);  // the caller's record may lie unaligned
  identity.owner = owner;
  identity.mode = mode;
  std::memcpy(identity.words.data(), given.words, sizeof given.words);
  identity.store.assign(given.store, strnlen(given.store, sizeof given.store));
  return DBM_OK;
}

bool HoldsSortKey(const List& list, size_t size) {
  return size >= size_t{list.offset} + list.length;
}

std::string_view SortKeyOf(const List& list, std::string_view record) {
  const std::string_view field = record.substr(list.offset, list.length);
  return field.substr(0, field.find('\0'));
}

uint32_t ListSum(std::string_view key, const List& list) {
  return Checksum()
      .Add(key)
      .Add(uint64_t{list.offset})
      .Add(uint64_t{list.length})
      .Add(uint64_t{list.number})
      .Get();
}

uint32_t RecordSum(int64_t list, std::string_view data) {
  return Checksum().Add(static_cast<uint64_t>(list)).Add(data).Get();
}

uint32_t ValueSum(std::string_view key, uint32_t area, uint32_t form, std::string_view data) {
  return Checksum().Add(key).Add(uint64_t{area}).Add(uint64_t{form}).Add(data).Get();
}

Result MakeStore(const std::string& path, const Identity& identity) {
  Connection connection;
  Result result = connection.Open(path);
  // The file has no name yet that counts, so an interruption loses nothing, and one flush at the
  // end is enough. That changes go through a log is written into it as the last thing.
  if (result == DBM_OK) {
    result = connection.Execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF");
  }
  if (result == DBM_OK) result = connection.Execute(kMakeTables);
  if (result == DBM_OK) {
    Statement add(connection,
                  "INSERT INTO store (owner, mode, word0, word1, word2, word3, name, withdrawn)"
                  " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, 0)");
    add.Bind(identity.owner).Bind(int64_t{identity.mode});
    for (const uint32_t word : identity.words)
      add.Bind(int64_t{word});
    result = add.Bind(identity.store).Run();
  }
  if (result == DBM_OK) result = connection.Execute("COMMIT");
  if (result == DBM_OK) result = connection.Execute("PRAGMA journal_mode = WAL");
  if (result == DBM_OK) {
    connection.LetCloseTidyUp(true);
    result = connection.Close();
  }
  return result == DBM_OK ? FlushFile(path) : result;
}

Result MakeDurable(Connection& connection) {
  std::string mode;
  Result result = connection.Read("PRAGMA journal_mode = WAL", mode);
  if (result == DBM_OK && mode != "wal") {
    result = Fail(DBM_ERR_FAILED, "%s: a write-ahead log is not possible here",
                  connection.name().c_str());
  }
  if (result == DBM_OK) result = connection.Execute("PRAGMA synchronous = FULL");
  if (result == DBM_OK) connection.LetCloseTidyUp(true);
  return result;
}

}  // namespace lauth::dbm
