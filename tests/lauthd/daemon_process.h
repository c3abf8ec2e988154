// SPDX-License-Identifier: Apache-2.0
// A daemon of the test's own, with a socket, a database and rule files in a directory of its own.
#ifndef TESTS_LAUTHD_DAEMON_PROCESS_H
#define TESTS_LAUTHD_DAEMON_PROCESS_H

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "byod_tlv.h"
#include "support/scratch_directory.h"
#include "tlv/message.h"

namespace byod::test {

/// @return whether the condition came true in time
template <typename Condition>
bool Eventually(Condition condition, std::chrono::milliseconds patience = std::chrono::minutes(1)) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

/// Others may look into it: the daemon can run as another user.
class TemporaryDirectory : public support::ScratchDirectory {
 public:
  TemporaryDirectory() : support::ScratchDirectory("/tmp") {
    std::filesystem::permissions(path(), std::filesystem::perms(0755));
  }
};

class DaemonProcess {
 public:
  explicit DaemonProcess(std::vector<std::string> options = {}) : options_(std::move(options)) {
    setenv("LAUTHD_SOCKET", socket().c_str(), 1);
  }
  ~DaemonProcess() {
    if (Running()) Kill(SIGKILL);
    Forget();
  }
  DaemonProcess(const DaemonProcess&) = delete;
  DaemonProcess& operator=(const DaemonProcess&) = delete;

  std::string socket() const { return directory_.path() + "/run/s"; }
  std::string rules() const { return directory_.path() + "/rules"; }
  std::string state() const { return directory_.path() + "/state"; }
  std::string log_file() const { return directory_.path() + "/log"; }
  pid_t pid() const { return pid_; }
  void AddOption(const std::string& option) { options_.push_back(option); }

  /// Gives an option another value from the next start on.
  void SetOption(const std::string& option, const std::string& value) {
    const auto at = std::find(options_.begin(), options_.end(), option);
    if (at != options_.end()) options_.erase(at, at + 2);
    options_.insert(options_.end(), {option, value});
  }

  /// Has it run as another user, who owns its directory. For root before it starts. The user gets a
  /// copy of the program: the build may lie in a home directory that only its owner may enter.
  void RunAs(uid_t user, gid_t group) {
    user_ = user;
    group_ = group;
    ASSERT_EQ(chown(directory_.path().c_str(), user, group), 0);
#ifndef BYOD_EMULATED  // where the program is a script that starts the emulator
    const std::filesystem::path programs = directory_.path() + "/programs";
    std::filesystem::create_directory(programs);
    for (const std::filesystem::path file : {LAUTHD_PROGRAM, LAUTHD_LIBRARIES}) {
      std::filesystem::copy_file(file, programs / file.filename());
      std::filesystem::permissions(programs / file.filename(), std::filesystem::perms(0755));
    }
    program_ = programs / std::filesystem::path(LAUTHD_PROGRAM).filename();
    library_path_ = programs;
#endif
  }
  const std::string& program() const { return program_; }

  /// Lets no file of it, its log included, grow beyond a size: a disk that is full.
  void LimitFileSize(rlim_t size = RLIM_INFINITY) {
    file_size_ = {size, RLIM_INFINITY};
    if (!Running()) return;
    ASSERT_EQ(prlimit(pid_, RLIMIT_FSIZE, &file_size_, nullptr), 0);
  }
  /// Calls a function in the process that becomes the daemon.
  void BeforeItRuns(std::function<void()> function) { before_it_runs_ = std::move(function); }

  void WriteRules(const std::string& name, const std::string& text) {
    std::filesystem::create_directories(rules());
    std::ofstream(rules() + "/" + name) << text;
  }

  /// Starts it, and waits until it serves.
  void Start() {
    Launch();
    ASSERT_TRUE(Eventually([this] { return IsAnswering() || !Running(); })) << Log();
    ASSERT_TRUE(Running()) << Log();
  }

  /// Starts it and goes on.
  void Launch() {
    std::vector<std::string> words = {program_, "--config", "/dev/null"};
    const auto given = [this](const char* option) {
      return std::find(options_.begin(), options_.end(), option) != options_.end();
    };
    if (!given("--socket")) words.insert(words.end(), {"--socket", socket()});
    if (!given("--no-database") && !given("--state-dir")) {
      words.insert(words.end(), {"--state-dir", state()});
    }
    // Not what is installed on this machine.
    const bool has_rules = std::filesystem::exists(rules());
    if (!given("--rules")) words.insert(words.end(), {"--rules", has_rules ? rules() : ""});
    if (!given("--ieee")) words.insert(words.end(), {"--ieee", ""});
    words.insert(words.end(), options_.begin(), options_.end());
    pid_ = fork();
    ASSERT_GE(pid_, 0);
    if (pid_ > 0) {
      child_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
      ASSERT_GE(child_, 0);
      return;
    }
    const int log = open(log_file().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(log, STDERR_FILENO);
    setrlimit(RLIMIT_FSIZE, &file_size_);
    if (user_ != geteuid() &&
        (setgroups(0, nullptr) != 0 || setgid(group_) != 0 || setuid(user_) != 0)) {
      _exit(126);
    }
    if (!library_path_.empty()) setenv("LD_LIBRARY_PATH", library_path_.c_str(), 1);
    if (before_it_runs_) before_it_runs_();
    std::vector<char*> arguments;
    for (std::string& word : words)
      arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(program_.c_str(), arguments.data());
    _exit(127);
  }

  bool Running() {
    if (pid_ <= 0) return false;
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == 0) return true;
    status_ = status;
    Forget();
    return false;
  }

  /// @return its exit status, or minus the signal that ended it
  int WaitForEnd() {
    EXPECT_TRUE(Eventually([this] { return !Running(); })) << Log();
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
  }

  /// Signals it. It goes through a descriptor of the child, never by a number: whatever has become
  /// of the child, nobody else is meant.
  void Signal(int signal) {
    if (child_ < 0 || syscall(SYS_pidfd_send_signal, child_, signal, nullptr, 0) != 0) {
      ADD_FAILURE() << "there is no daemon to signal";
    }
  }

  /// Signals it and waits for its end. Does nothing but fail when it is not running.
  int Kill(int signal) {
    if (!Running()) {
      ADD_FAILURE() << "the daemon is not running\n" << Log();
      return 0;
    }
    Signal(signal);
    return WaitForEnd();
  }

  void Restart(int signal = SIGTERM) {
    Kill(signal);
    Start();
  }

  std::string Log() const {
    std::stringstream text;
    text << std::ifstream(log_file()).rdbuf();
    return text.str();
  }
  bool Logged(const std::string& words) const { return Log().find(words) != std::string::npos; }

  /// @return its resident memory in KiB
  size_t Memory() const {
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("VmRSS:")) return std::stoul(line.substr(6));
    }
    return 0;
  }

  /// @return a connected socket, or -1
  int NewSocket() const {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socket().c_str(), sizeof address.sun_path - 1);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return fd;
    close(fd);
    return -1;
  }

 private:
  /// Asks for a count: a daemon that still loads lets us connect, and wait.
  bool IsAnswering() const {
    const int fd = NewSocket();
    if (fd < 0) return false;
    const tlv::Message request(TLV_Create());
    TLV_Append_UINT(request.get(), BYOD_TLV_OPTYPE, BYOD_OP_GET);
    TLV_Append_UINT(request.get(), BYOD_TLV_MSGTYPE, BYOD_MSG_UA_COUNT);
    const auto target = static_cast<uintptr_t>(fd);
    TLV_Flush(request.get(), tlv::kSocket, TLV_GetMsgLen(request.get(), tlv::kSocket), target);
    const tlv::Message reply(TLV_CreateReceiveMsg(tlv::kSocket, target, 65534));
    close(fd);
    return static_cast<bool>(reply);
  }

  void Forget() {
    if (child_ >= 0) close(child_);
    child_ = -1;
    pid_ = 0;
  }

  TemporaryDirectory directory_;
  std::vector<std::string> options_;
  std::function<void()> before_it_runs_;
  pid_t pid_ = 0;   // 0: there is none
  int child_ = -1;  // a descriptor of it
  int status_ = 0;
  uid_t user_ = geteuid();
  gid_t group_ = getegid();
  std::string program_ = LAUTHD_PROGRAM;
  std::string library_path_;  // empty: where the program looks by itself
  rlimit file_size_ = {RLIM_INFINITY, RLIM_INFINITY};
};

}  // namespace byod::test

#endif  // TESTS_LAUTHD_DAEMON_PROCESS_H
