// SPDX-License-Identifier: Apache-2.0
#include "byodctl/preview/private_daemon.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>
#include <vector>

#include "byod_data.h"
#include "byodctl/failure.h"

namespace byod::ctl {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kPatience{60};

constexpr const char* kModuleMakers[] = {"mark", "name", "open"};

/// A name with a slash is a path, another one is searched for.
std::string Program() {
  const char* const named = secure_getenv("LAUTHD_PROGRAM");
  if (named != nullptr && *named != '\0') return named;
  std::error_code error;
  const fs::path beside = fs::read_symlink("/proc/self/exe", error).parent_path() / "lauthd";
  return fs::exists(beside, error) ? beside.string() : "lauthd";
}

/// The path of a socket has to be short.
std::string PrefixOfDirectory() {
  std::error_code error;
  const std::string usual = (fs::temp_directory_path(error) / "byodctl.").string();
  return error || usual.size() > 64 ? "/tmp/byodctl." : usual;
}

/// In the new process: what the daemon says goes to a file.
[[noreturn]] void Run(const std::vector<std::string>& words, const std::string& log, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  const int nothing = open("/dev/null", O_RDONLY);
  dup2(nothing, STDIN_FILENO);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  // They are for a daemon of the system's.
  for (const char* const name : {"LISTEN_FDS", "LISTEN_PID", "LISTEN_FDNAMES", "NOTIFY_SOCKET"})
    unsetenv(name);
  std::vector<char*> arguments;
  for (const std::string& word : words)
    arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments.front(), arguments.data());
  const std::string fault = words.front() + ": " + std::strerror(errno) + '\n';
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, fault.data(), fault.size());
  _exit(1);
}

std::string FirstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

}  // namespace

PrivateDaemon::PrivateDaemon(const DaemonSources& sources) : directory_(PrefixOfDirectory()) {
  if (!directory_) {
    throw Failure(kExitBadInput, directory_.path() + ": " + std::strerror(errno));
  }
  settings_.socket = directory_ / "socket";
  settings_.timeout_s = static_cast<double>(kPatience.count());
  const std::string limit = sources.rule_limit == BYOD_NO_RULE_LIMIT
                                ? std::string{"none"}
                                : std::to_string(sources.rule_limit);
  // The rules are read as the running daemon read them: whether it may use them is its own
  // question.
  const std::vector<std::string> words = {
      Program(),
      "--config",
      "/dev/null",
      "--socket",
      settings_.socket,
      "--state-dir",
      directory_ / "state",
      "--rules",
      sources.rules,
      "--ieee",
      sources.registry,
      "--rule-limit",
      limit,
      "--carved-limit",
      std::to_string(sources.carved_limit),
      "--module-makers",
      kModuleMakers[std::min<uint32_t>(sources.module_makers, 2)],
      "--log-level",
      "error",
      "--insecure"};
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ == 0) Run(words, directory_ / "log", parent);
  if (process_ < 0) {
    throw Failure(kExitNoDaemon, std::string{"cannot start a daemon: "} + std::strerror(errno));
  }
}

PrivateDaemon::~PrivateDaemon() {
  if (process_ <= 0) return;
  // Nothing of it is kept, so it need not end in order.
  kill(process_, SIGKILL);
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

void PrivateDaemon::WaitUntilReady() {
  const auto until = std::chrono::steady_clock::now() + kPatience;
  // The socket is bound before it is given this name.
  while (access(settings_.socket.c_str(), F_OK) != 0) {
    const bool has_ended = waitpid(process_, nullptr, WNOHANG) == process_;
    if (has_ended) process_ = -1;
    if (has_ended || std::chrono::steady_clock::now() > until) Fail();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void PrivateDaemon::Fail() const {
  const std::string said = FirstLine(directory_ / "log");
  throw Failure(kExitNoDaemon,
                "cannot start a daemon to try it: " + (said.empty() ? "it does not answer" : said));
}

}  // namespace byod::ctl
