// SPDX-License-Identifier: Apache-2.0
// The database file: its tables, how a new one is made, and how one is verified.
#ifndef LAUTH_PLATFORM_DBM_STORE_H
#define LAUTH_PLATFORM_DBM_STORE_H

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "platform/dbm/connection.h"
#include "platform/dbm/place.h"

namespace lauth::dbm {

/// Whose database it is: what DBM_Open was given besides the name.
struct Identity {
  std::string owner;
  uint32_t mode = 0;
  std::array<uint32_t, 4> words{};
  std::string store;  // without padding

  bool operator==(const Identity&) const = default;
};

/// Reads the identity from DBM_Open's arguments.
Result MakeIdentity(const char* owner, uint32_t mode, const void* parameters, Identity& identity);

/// What a sort list was created with.
struct List {
  int64_t id = 0;
  uint32_t offset = 0;
  uint32_t length = 0;
  uint32_t number = 0;

  bool operator==(const List&) const = default;
};

/// @return whether a record of a size holds the sort key's bytes
bool HoldsSortKey(const List& list, size_t size);

/// @return the sort key of a record that holds its bytes; part of the record
std::string_view SortKeyOf(const List& list, std::string_view record);

uint32_t ListSum(std::string_view key, const List& list);
uint32_t RecordSum(int64_t list, std::string_view data);
uint32_t ValueSum(std::string_view key, uint32_t area, uint32_t form, std::string_view data);

/// Fills an empty file with a new database, and flushes it.
Result MakeStore(const std::string& path, const Identity& identity);

/// Checks one record or value beyond what every database must be. @return a result
using DataCheck = std::function<Result(std::string_view key, uint32_t kind, std::string_view data)>;

/// Checks only whether a file is a database of this library, of any owner.
Result VerifyKind(Connection& connection);

enum class Depth { kOpening, kRestoring };

/// Verifies a whole database without writing to it: ours, of that identity, every page in its
/// place, every record as it was stored.
Result Verify(Connection& connection, const Identity& identity, Depth depth,
              const DataCheck& check = nullptr);

/// Sets a verified connection up for durable changes.
Result MakeDurable(Connection& connection);

}  // namespace lauth::dbm

#endif  // LAUTH_PLATFORM_DBM_STORE_H
