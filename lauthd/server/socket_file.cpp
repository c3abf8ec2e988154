// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/socket_file.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "net/descriptor.h"
#include "net/scratch_directory.h"

namespace byod::lauthd {
namespace {

constexpr mode_t kDirectoryMode = 0750;
constexpr mode_t kSocketMode = 0660;
constexpr int kBacklog = 512;

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

void SetAccess(const std::string& path, std::optional<gid_t> group, mode_t mode) {
  if (group && chown(path.c_str(), static_cast<uid_t>(-1), *group) != 0) {
    Fail("cannot give " + path + " to its group");
  }
  if (chmod(path.c_str(), mode) != 0) Fail("cannot set the mode of " + path);
}

std::string DirectoryOf(const std::string& path) {
  const std::string parent = std::filesystem::path(path).parent_path();
  return parent.empty() ? "." : parent;
}

std::string NameOf(const std::string& path) {
  return std::filesystem::path(path).filename();
}

/// The directory is removed with its scope. @throws when it cannot be made
net::ScratchDirectory MakeHidden(const std::string& parent) {
  net::ScratchDirectory directory(parent + "/.lauthd-");
  if (!directory) Fail("cannot make a directory in " + parent);
  return directory;
}

/// Makes a directory that appears under its name with its final permissions.
void MakeDirectory(const std::string& path, std::optional<gid_t> group) {
  if (std::filesystem::is_directory(path)) return;
  const net::ScratchDirectory outer = MakeHidden(DirectoryOf(path));
  const std::string made = outer / "directory";
  if (mkdir(made.c_str(), 0700) != 0) Fail("cannot make " + made);
  SetAccess(made, group, kDirectoryMode);
  if (rename(made.c_str(), path.c_str()) != 0 && !std::filesystem::is_directory(path)) {
    Fail("cannot make the directory " + path);
  }
}

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    throw std::runtime_error("no path for a socket, or too long a one: \"" + path + "\"");
  }
  std::memcpy(address.sun_path, path.c_str(), path.size());
  return address;
}

/// Removes the socket of a daemon that no longer runs. @throws when a daemon listens on it, and
/// when the path is not a socket
void ClearStale(const std::string& path, int type) {
  struct stat found;
  if (lstat(path.c_str(), &found) != 0) {
    if (errno == ENOENT) return;
    Fail("cannot look at " + path);
  }
  if (!S_ISSOCK(found.st_mode)) throw std::runtime_error(path + " exists and is not a socket");
  const net::Descriptor probe(socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (probe.get() < 0) Fail("cannot make a socket");
  const sockaddr_un address = AddressOf(path);
  if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
      errno != ECONNREFUSED) {
    throw std::runtime_error("another daemon is listening on " + path);
  }
  if (unlink(path.c_str()) != 0) Fail("cannot remove the socket that was left at " + path);
}

}  // namespace

SocketFile::SocketFile(const std::string& path, std::optional<gid_t> group, int type)
    : path_(path), lock_(DirectoryOf(path) + "/" + NameOf(path) + ".lock") {
  AddressOf(path);
  MakeDirectory(DirectoryOf(path), group);
  switch (lock_.Take()) {
    case LockFile::Outcome::kHeld:
      throw std::runtime_error("another daemon, " + lock_.holder() + ", is listening on " + path);
    case LockFile::Outcome::kFailed:
      throw std::runtime_error(lock_.reason());
    case LockFile::Outcome::kTaken:
      break;
  }
  ClearStale(path, type);
  Bind(path, group, type);
}

void SocketFile::Bind(const std::string& path, std::optional<gid_t> group, int type) {
  const net::ScratchDirectory hidden = MakeHidden(DirectoryOf(path));
  const std::string made = hidden / "s";
  const sockaddr_un address = AddressOf(made);
  net::Descriptor listening(socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (listening.get() < 0) Fail("cannot make a socket");
  if (bind(listening.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    Fail("cannot bind a socket in " + hidden.path());
  }
  SetAccess(made, group, kSocketMode);
  if (type == SOCK_STREAM && listen(listening.get(), kBacklog) != 0) Fail("cannot listen");
  struct stat status;
  if (stat(made.c_str(), &status) != 0) Fail("cannot look at " + made);
  // From here on clients see the socket, ready and with its final permissions.
  if (rename(made.c_str(), path.c_str()) != 0) Fail("cannot put a socket at " + path);
  device_ = status.st_dev;
  inode_ = status.st_ino;
  socket_ = listening.release();
}

SocketFile::~SocketFile() {
  if (socket_ >= 0) close(socket_);
  // Another daemon may have taken the name in the meantime.
  struct stat found;
  if (lstat(path_.c_str(), &found) == 0 && found.st_dev == device_ && found.st_ino == inode_) {
    unlink(path_.c_str());
  }
}

int SocketFile::Release() {
  return std::exchange(socket_, -1);
}

}  // namespace byod::lauthd
