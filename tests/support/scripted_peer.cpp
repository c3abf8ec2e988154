// SPDX-License-Identifier: Apache-2.0
#include "support/scripted_peer.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "support/platform_faults.h"

namespace support {
namespace {

constexpr int kPatienceMs = 10'000;
constexpr size_t kHeader = 8;

// Reads exactly this many bytes, or fewer at the end.
std::string Read(int socket, size_t count) {
  std::string bytes(count, '\0');
  size_t have = 0;
  while (have < count) {
    const ssize_t got = recv(socket, bytes.data() + have, count - have, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    have += static_cast<size_t>(got);
  }
  bytes.resize(have);
  return bytes;
}

}  // namespace

std::string ScriptedPeer::Connection::ReceiveBytes() {
  std::string bytes = Read(socket_, kHeader);
  if (bytes.size() < kHeader) return {};
  size_t length = 0;
  for (size_t i = 4; i < kHeader; ++i)
    length = length << 8 | static_cast<uint8_t>(bytes[i]);
  EXPECT_GE(length, kHeader);
  EXPECT_LT(length, 1u << 24);
  return bytes + Read(socket_, length - kHeader);
}

std::vector<Element> ScriptedPeer::Connection::Receive() {
  const std::string bytes = ReceiveBytes();
  return bytes.empty() ? std::vector<Element>{} : Parse(bytes);
}

void ScriptedPeer::Connection::SendBytes(const std::string& bytes) {
  for (size_t sent = 0; sent < bytes.size();) {
    const ssize_t now = send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) return;  // the client has gone
    sent += static_cast<size_t>(now);
  }
}

bool ScriptedPeer::Connection::ClientCloses() {
  char byte;
  ssize_t got;
  do {
    got = recv(socket_, &byte, 1, 0);
  } while (got < 0 && errno == EINTR);
  return got == 0 || (got < 0 && errno == ECONNRESET);
}

void ScriptedPeer::Connection::Close() {
  if (socket_ >= 0) close(std::exchange(socket_, -1));
}

ScriptedPeer::ScriptedPeer(Script script, int connections, int workers) {
  setenv("LAUTHD_SOCKET", path_.c_str(), 1);

  listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, path_.c_str());
  EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(listen(listener_, 64), 0);
  EXPECT_EQ(pipe(wake_), 0);
  for (int i = 0; i < workers; ++i) {
    workers_.emplace_back([this, script, connections] { Serve(script, connections); });
  }
}

ScriptedPeer::~ScriptedPeer() {
  Stop();
}

void ScriptedPeer::Join() {
  if (workers_.empty()) return;
  for (std::thread& worker : workers_)
    worker.join();
  workers_.clear();
  close(listener_);
  close(wake_[0]);
  close(wake_[1]);
  unlink(path_.c_str());
}

void ScriptedPeer::Stop() {
  if (workers_.empty()) return;
  EXPECT_EQ(write(wake_[1], "", 1), 1);
  Join();
}

void ScriptedPeer::Serve(const Script& script, int connections) {
  const PlatformFaults::Pause own_calls;
  while (accepted_ < connections) {
    pollfd ready[2] = {{listener_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    const int count = poll(ready, 2, kPatienceMs);
    if (count < 0 && errno == EINTR) continue;
    if ((ready[0].revents & POLLIN) == 0) return;  // asked to stop, or no client connected
    const int client = accept(listener_, nullptr, nullptr);
    if (client < 0) continue;
    if (++accepted_ == connections) {
      EXPECT_EQ(write(wake_[1], "", 1), 1);  // the other workers need not wait
    }
    const timeval patience = {kPatienceMs / 1000, 0};
    setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    Connection connection(client);
    script(connection);
  }
}

void SetUnreachable() {
  setenv("LAUTHD_SOCKET", "/tmp/byod-nobody-listens-here", 1);
}

int OpenDescriptors() {
  int count = 0;
  DIR* const directory = opendir("/proc/self/fd");
  while (readdir(directory) != nullptr)
    ++count;
  closedir(directory);
  return count;
}

}  // namespace support
