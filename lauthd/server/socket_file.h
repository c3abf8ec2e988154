// SPDX-License-Identifier: Apache-2.0
// The daemon's listening socket in the file system.
#ifndef LAUTHD_SERVER_SOCKET_FILE_H
#define LAUTHD_SERVER_SOCKET_FILE_H

#include <sys/socket.h>
#include <sys/types.h>

#include <optional>
#include <string>

#include "lauthd/state/lock_file.h"

namespace byod::lauthd {

/// A Unix socket that clients reach by its file, which goes with it.
class SocketFile {
 public:
  /**
   * Makes the socket, and its directory if only that is missing. Both appear under their names with
   * owner, group and mode (0660; the directory 0750) as they remain. What a dead daemon left is
   * cleared away. A lock file beside the socket, with ".lock" behind its name, keeps two daemons
   * from taking the same name.
   *
   * @param group  none: that of the process
   * @param type   SOCK_STREAM, which listens, or SOCK_DGRAM
   * @throws std::runtime_error  also when a daemon listens there already
   */
  SocketFile(const std::string& path, std::optional<gid_t> group, int type = SOCK_STREAM);
  ~SocketFile();
  SocketFile(const SocketFile&) = delete;
  SocketFile& operator=(const SocketFile&) = delete;

  /// @return the descriptor, which is the caller's from here on
  int Release();

 private:
  void Bind(const std::string& path, std::optional<gid_t> group, int type);

  std::string path_;
  LockFile lock_;
  int socket_ = -1;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_SOCKET_FILE_H
