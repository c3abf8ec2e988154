// SPDX-License-Identifier: Apache-2.0
// A daemon of the tests: accepts on a Unix socket that LAUTHD_SOCKET names, and does on each
// connection what the test's script says.
#ifndef TESTS_SUPPORT_SCRIPTED_PEER_H
#define TESTS_SUPPORT_SCRIPTED_PEER_H

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/message.h"
#include "support/scratch_directory.h"

namespace support {

class ScriptedPeer {
 public:
  class Connection {
   public:
    explicit Connection(int socket) : socket_(socket) {}
    ~Connection() { Close(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// The next whole message as bytes; empty when the client closed, or is silent for long.
    std::string ReceiveBytes();
    std::vector<Element> Receive();
    void SendBytes(const std::string& bytes);
    void Send(const std::vector<Element>& elements) { SendBytes(Serialize(elements)); }
    /// Waits for it; false when the client stays, or sends more.
    bool ClientCloses();
    void Close();

   private:
    int socket_;
  };

  using Script = std::function<void(Connection&)>;

  /// Serves this many connections with the script, as many at a time as there are workers.
  explicit ScriptedPeer(Script script, int connections = 1, int workers = 1);
  ~ScriptedPeer();
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;

  /// Waits until all connections are served, or gives up after a while.
  void Join();
  /// Ends without waiting for connections that have not come.
  void Stop();
  /// Connections that came; asked for after Join or Stop.
  int accepted() const { return accepted_; }
  const std::string& path() const { return path_; }

 private:
  void Serve(const Script& script, int connections);

  ScratchDirectory directory_{"/tmp"};
  std::string path_ = directory_ / "socket";
  int listener_;
  int wake_[2];
  std::atomic<int> accepted_ = 0;
  std::vector<std::thread> workers_;
};

/// Points LAUTHD_SOCKET at a place where nothing listens.
void SetUnreachable();

/// The descriptors that this process has open.
int OpenDescriptors();

}  // namespace support

#endif  // TESTS_SUPPORT_SCRIPTED_PEER_H
