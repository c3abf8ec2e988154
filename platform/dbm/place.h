// SPDX-License-Identifier: Apache-2.0
// Where a database lies, and how its files and its directory come to be.
#ifndef LAUTH_PLATFORM_DBM_PLACE_H
#define LAUTH_PLATFORM_DBM_PLACE_H

#include <string>

#include "net/descriptor.h"
#include "platform/dbm/error.h"

namespace lauth::dbm {

/// The paths of one database.
struct Place {
  std::string directory;
  std::string database;  // <name>.db
  std::string log;       // <name>.db-wal: the changes that are not yet in the database file
  std::string index;     // <name>.db-shm: the log's index, of no use after a crash
  std::string journal;   // <name>.db-journal: ours have none
  std::string fresh;     // <name>.db.new: a file being made ready to take the database's place
  std::string replaced;  // <name>.db.old: what a restore has replaced, until it has ended
  std::string lock;      // <name>.lock
};

/// Sets the directory of all databases; NULL removes the setting.
Result SetDirectory(const char* directory);

/// Finds out where the database of a name lies.
Result Locate(const char* name, Place& place);

/// Creates the directory, with mode 0700, if it is missing.
Result PrepareDirectory(const Place& place);

using byod::net::Descriptor;

/// Creates an empty file that must not exist, with mode 0600.
Result CreatePrivateFile(const std::string& path, Descriptor& file);

/// Creates such a file in the databases' directory. Created by the administrator, it belongs to the
/// directory's owner, so that the daemon can use it.
Result CreateStateFile(const std::string& path, Descriptor& file);

/// Makes a file's content survive a loss of power.
Result FlushFile(const std::string& path);

/// Makes the names in a directory survive a loss of power.
Result FlushDirectory(const std::string& directory);

/// @return the directory part of a path
std::string DirectoryOf(const std::string& path);

/// Removes a file if it is there.
Result RemoveFile(const std::string& path);

/// @return whether anything, a dangling link too, has that name
bool NameIsTaken(const std::string& path);

/// @return whether there is a file of that name that is not empty
bool HasContent(const std::string& path);

}  // namespace lauth::dbm

#endif  // LAUTH_PLATFORM_DBM_PLACE_H
