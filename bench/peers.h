// SPDX-License-Identifier: Apache-2.0
// Processes that the benchmarks talk to: the daemon itself, and the least that could answer.
#ifndef BYOD_BENCH_PEERS_H
#define BYOD_BENCH_PEERS_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "net/scratch_directory.h"

namespace byod::bench {

/// A directory that is gone with the object, in BYOD_BENCH_DIRECTORY if that is set, else in /tmp.
class ScratchDirectory : public net::ScratchDirectory {
 public:
  ScratchDirectory();
};

/// A child that listens on a Unix stream socket, and is stopped with the object.
class Peer {
 public:
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  const std::string& socket() const { return socket_; }
  pid_t pid() const { return pid_; }

  /// Ends it, as a loss of power would when asked to. Does nothing when it has ended.
  void Stop(bool abruptly = false);

 protected:
  explicit Peer(std::string socket) : socket_(std::move(socket)) {}

  /// @return true in the child
  bool Fork();

  std::string socket_;
  pid_t pid_ = 0;
};

/// Sends back what it reads: one thread, one epoll, nothing else.
class EchoPeer : public Peer {
 public:
  explicit EchoPeer(std::string socket);
};

/// lauthd, with its database in a directory, as it is installed.
class DaemonPeer : public Peer {
 public:
  /// Ends the program when the daemon does not come up.
  DaemonPeer(std::string socket, const std::string& state, std::vector<std::string> options = {});
};

/// A connected socket; ends the program when there is none to be had.
int Connect(const std::string& socket);

/**
 * Sends some bytes and reads the answer to its end.
 *
 * @param as_sent  the answer is as long as what was sent; else its length is a message's
 * @return the bytes read into the buffer of at least 64 KiB; 0 when the peer has gone
 */
size_t Exchange(int socket, const std::vector<uint8_t>& request, bool as_sent, uint8_t* answer);

/// What a run of lauthd with these options prints, on both outputs.
std::string RunDaemon(const std::vector<std::string>& options);

}  // namespace byod::bench

#endif  // BYOD_BENCH_PEERS_H
