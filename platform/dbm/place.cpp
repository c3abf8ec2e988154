// SPDX-License-Identifier: Apache-2.0
#include "platform/dbm/place.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace lauth::dbm {
namespace {

constexpr const char* kDefaultDirectory = "/var/lib/lauth";

// SQLite's limit for a path is 512 bytes, its own suffixes included.
constexpr size_t kMaxPath = 480;

std::mutex directory_mutex;
std::string& ChosenDirectory() {
  static std::string directory;
  return directory;
}

Result MakeAbsolute(std::string& path) {
  if (path.front() == '/') return DBM_OK;
  char current[PATH_MAX];
  if (getcwd(current, sizeof current) == nullptr) return FailSystem("find", "current directory");
  path = std::string(current) + "/" + path;
  return DBM_OK;
}

Result CurrentDirectory(std::string& directory) {
  {
    const std::lock_guard guard(directory_mutex);
    directory = ChosenDirectory();
  }
  if (!directory.empty()) return DBM_OK;
  const char* requested = secure_getenv("LAUTH_STATE_DIR");
  directory = requested != nullptr && *requested != '\0' ? requested : kDefaultDirectory;
  return MakeAbsolute(directory);
}

// A file name for any name: distinct names give distinct files, and none leaves the directory.
std::string FileNameFor(const char* name) {
  static constexpr char kHexadecimal[] = "0123456789ABCDEF";
  std::string file;
  for (; *name != '\0'; ++name) {
    const auto c = static_cast<unsigned char>(*name);
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '_' || c == '-';
    if (plain) {
      file += static_cast<char>(c);
    } else {
      file += {'%', kHexadecimal[c >> 4], kHexadecimal[c & 15U]};
    }
  }
  return file;
}

}  // namespace

Result SetDirectory(const char* directory) {
  std::string chosen;
  if (directory != nullptr) {
    chosen = directory;
    if (chosen.empty()) return Fail(DBM_ERR_REFUSED, "the directory's name is empty");
    if (const Result result = MakeAbsolute(chosen); result != DBM_OK) return result;
  }
  const std::lock_guard guard(directory_mutex);
  ChosenDirectory().swap(chosen);
  return DBM_OK;
}

Result Locate(const char* name, Place& place) {
  if (name == nullptr || *name == '\0' || std::strlen(name) > DBM_MAX_NAME) {
    return Fail(DBM_ERR_REFUSED, "a database's name has 1 to %d bytes", int{DBM_MAX_NAME});
  }
  if (const Result result = CurrentDirectory(place.directory); result != DBM_OK) return result;
  const std::string base = place.directory + "/" + FileNameFor(name);
  if (base.size() > kMaxPath) {
    return Fail(DBM_ERR_REFUSED, "the path %s is longer than %zu bytes", base.c_str(), kMaxPath);
  }
  place.database = base + ".db";
  place.log = place.database + "-wal";
  place.index = place.database + "-shm";
  place.journal = place.database + "-journal";
  place.fresh = place.database + ".new";
  place.replaced = place.database + ".old";
  place.lock = base + ".lock";
  return DBM_OK;
}

Result PrepareDirectory(const Place& place) {
  const char* directory = place.directory.c_str();
  struct stat found;
  if (stat(directory, &found) == 0) {
    if (S_ISDIR(found.st_mode)) return DBM_OK;
    errno = ENOTDIR;
    return FailSystem("use", directory);
  }
  if (errno != ENOENT) return FailSystem("use", directory);
  if (mkdir(directory, 0700) != 0) {
    return errno == EEXIST ? DBM_OK : FailSystem("create", directory);
  }
  // The umask can only have taken bits of ours away.
  if (chmod(directory, 0700) != 0) return FailSystem("set the mode of", directory);
  return FlushDirectory(DirectoryOf(place.directory));
}

Result CreatePrivateFile(const std::string& path, Descriptor& file) {
  Descriptor created(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!created) return FailSystem("create", path.c_str());
  if (fchmod(created.get(), 0600) != 0) return FailSystem("set the mode of", path.c_str());
  file = std::move(created);
  return DBM_OK;
}

Result CreateStateFile(const std::string& path, Descriptor& file) {
  const Result result = CreatePrivateFile(path, file);
  if (result != DBM_OK || geteuid() != 0) return result;
  struct stat directory;
  if (stat(DirectoryOf(path).c_str(), &directory) != 0 ||
      (directory.st_uid != 0 && fchown(file.get(), directory.st_uid, directory.st_gid) != 0)) {
    return FailSystem("set the owner of", path.c_str());
  }
  return DBM_OK;
}

Result FlushFile(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!file || fsync(file.get()) != 0) return FailSystem("flush", path.c_str());
  return DBM_OK;
}

Result FlushDirectory(const std::string& directory) {
  const Descriptor file(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!file || fsync(file.get()) != 0) return FailSystem("flush", directory.c_str());
  return DBM_OK;
}

std::string DirectoryOf(const std::string& path) {
  const size_t end = path.find_last_not_of('/');
  const size_t slash = end == std::string::npos ? end : path.rfind('/', end);
  if (slash == std::string::npos) return path.front() == '/' ? "/" : ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

Result RemoveFile(const std::string& path) {
  if (unlink(path.c_str()) == 0 || errno == ENOENT) return DBM_OK;
  return FailSystem("remove", path.c_str());
}

bool NameIsTaken(const std::string& path) {
  struct stat found;
  return lstat(path.c_str(), &found) == 0;
}

bool HasContent(const std::string& path) {
  struct stat found;
  return lstat(path.c_str(), &found) == 0 && found.st_size > 0;
}

}  // namespace lauth::dbm
