// SPDX-License-Identifier: Apache-2.0
#include "peers.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "lauth_tlv_stream.h"
#include "ratio_report.h"

namespace byod::bench {
namespace {

sockaddr_un AddressOf(const std::string& socket) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  Require(socket.size() < sizeof address.sun_path, "the socket's path is too long");
  std::memcpy(address.sun_path, socket.c_str(), socket.size());
  return address;
}

int TryToConnect(const std::string& socket) {
  const sockaddr_un address = AddressOf(socket);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return fd;
  close(fd);
  return -1;
}

[[noreturn]] void Echo(int listener) {
  const int poll = epoll_create1(0);
  epoll_event event = {};
  event.events = EPOLLIN;
  event.data.fd = listener;
  epoll_ctl(poll, EPOLL_CTL_ADD, listener, &event);
  static char bytes[65536];
  for (;;) {
    epoll_event ready[64];
    const int count = epoll_wait(poll, ready, 64, -1);
    for (int i = 0; i < count; ++i) {
      const int fd = ready[i].data.fd;
      if (fd == listener) {
        event.data.fd = accept(listener, nullptr, nullptr);
        if (event.data.fd >= 0) epoll_ctl(poll, EPOLL_CTL_ADD, event.data.fd, &event);
        continue;
      }
      const ssize_t got = read(fd, bytes, sizeof bytes);
      if (got <= 0 || write(fd, bytes, static_cast<size_t>(got)) != got) close(fd);
    }
  }
}

[[noreturn]] void BecomeDaemon(std::vector<std::string> words) {
  words.insert(words.begin(), BYOD_BENCH_LAUTHD);
  std::vector<char*> arguments;
  for (std::string& word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execv(BYOD_BENCH_LAUTHD, arguments.data());
  _exit(127);
}

std::string ScratchPrefix() {
  const char* const requested = std::getenv("BYOD_BENCH_DIRECTORY");
  return std::string(requested != nullptr ? requested : "/tmp") + "/byod-bench-";
}

}  // namespace

ScratchDirectory::ScratchDirectory() : net::ScratchDirectory(ScratchPrefix()) {
  Require(bool{*this}, "no directory can be made in " + ScratchPrefix());
}

Peer::~Peer() {
  Stop();
}

bool Peer::Fork() {
  pid_ = fork();
  Require(pid_ >= 0, "no process can be made");
  if (pid_ > 0) return false;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  return true;
}

void Peer::Stop(bool abruptly) {
  if (pid_ <= 0) return;
  kill(pid_, abruptly ? SIGKILL : SIGTERM);
  waitpid(pid_, nullptr, 0);
  pid_ = 0;
}

EchoPeer::EchoPeer(std::string socket) : Peer(std::move(socket)) {
  const sockaddr_un address = AddressOf(socket_);
  const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  Require(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
              listen(listener, SOMAXCONN) == 0,
          "the echo cannot listen");
  if (Fork()) Echo(listener);
  close(listener);
}

DaemonPeer::DaemonPeer(std::string socket, const std::string& state,
                       std::vector<std::string> options)
    : Peer(std::move(socket)) {
  options.insert(options.begin(),
                 {"--config", "/dev/null", "--socket", socket_, "--state-dir", state});
  // Not what is installed on this machine.
  for (const char* source : {"--rules", "--ieee"}) {
    if (std::ranges::find(options, source) == options.end()) {
      options.insert(options.end(), {source, ""});
    }
  }
  if (Fork()) BecomeDaemon(options);
  // It listens before it loads; the first answer says that it is done.
  std::vector<uint8_t> count = {0xF9, 'L', 'M', 1, 0, 0, 0, 24, 0, 1, 0, 4,
                                0,    0,   0,   2, 0, 2, 0, 4,  0, 0, 0, 5};
  std::vector<uint8_t> answer(65536);
  for (int i = 0; i < 3000; ++i) {
    Require(waitpid(pid_, nullptr, WNOHANG) == 0, "the daemon has ended");
    const int fd = TryToConnect(socket_);
    const bool answered = fd >= 0 && Exchange(fd, count, false, answer.data()) != 0;
    if (fd >= 0) close(fd);
    if (answered) return;
    usleep(10000);
  }
  Require(false, "the daemon does not answer");
}

int Connect(const std::string& socket) {
  const int fd = TryToConnect(socket);
  Require(fd >= 0, "nobody listens on " + socket);
  return fd;
}

size_t Exchange(int socket, const std::vector<uint8_t>& request, bool as_sent, uint8_t* answer) {
  if (send(socket, request.data(), request.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(request.size())) {
    return 0;
  }
  size_t count = 0;
  for (;;) {
    const ssize_t got = recv(socket, answer + count, 65536 - count, 0);
    if (got <= 0) return 0;
    count += static_cast<size_t>(got);
    const int64_t whole =
        as_sent ? static_cast<int64_t>(request.size()) : TLV_Stream_MessageLength(answer, count);
    if (whole < 0) return 0;
    if (whole > 0 && count >= static_cast<size_t>(whole)) return count;
  }
}

std::string RunDaemon(const std::vector<std::string>& options) {
  int ends[2];
  Require(pipe2(ends, O_CLOEXEC) == 0, "no pipe can be made");
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    BecomeDaemon(options);
  }
  close(ends[1]);
  std::string text;
  char bytes[4096];
  for (ssize_t got; (got = read(ends[0], bytes, sizeof bytes)) > 0;)
    text.append(bytes, static_cast<size_t>(got));
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "lauthd failed: " + text);
  return text;
}

}  // namespace byod::bench
