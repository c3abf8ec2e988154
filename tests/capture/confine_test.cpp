// SPDX-License-Identifier: Apache-2.0
#include "capture/confine.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "net/descriptor.h"
#include "support/emulation.h"

namespace byod::capture {
namespace {

constexpr const char* kAccount = "nobody";

/// Runs it in a process of its own. @return its status: 0 when it returned true, 1 when false
int InChild(const std::function<bool()>& run) {
  const pid_t child = fork();
  if (child == 0) {
    try {
      _exit(run() ? 0 : 1);
    } catch (const ConfineError& error) {
      std::fprintf(stderr, "%s\n", error.what());
      _exit(2);
    }
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool IsRoot() {
  return geteuid() == 0;
}

/// Calls it in a confined process. @return whether it failed with EPERM
bool IsRefused(const std::function<long()>& call) {
  return InChild([&] {
           Confine(nullptr);
           return call() < 0 && errno == EPERM;
         }) == 0;
}

class Confined : public testing::Test {
 protected:
  void SetUp() override {
    if (support::kEmulated) GTEST_SKIP() << "the emulator has no filters of system calls";
  }
};

class Filtered : public Confined {
 protected:
  void SetUp() override {
    Confined::SetUp();
    if (!HasSystemCallFilter()) GTEST_SKIP() << "this build has no filter of system calls";
  }
};

/// What /proc says of a process that is confined and waits.
std::map<std::string, std::string> StatusOf(const std::function<void()>& confine) {
  int ready[2], done[2];
  EXPECT_EQ(pipe(ready) + pipe(done), 0);
  const pid_t child = fork();
  if (child == 0) {
    close(done[1]);
    char byte = 0;
    try {
      confine();
      byte = 1;
    } catch (const ConfineError& error) {
      std::fprintf(stderr, "%s\n", error.what());
    }
    if (write(ready[1], &byte, 1) == 1) (void)!read(done[0], &byte, 1);
    _exit(0);
  }
  char byte = 0;
  EXPECT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_EQ(byte, 1);
  std::map<std::string, std::string> found;
  std::ifstream file("/proc/" + std::to_string(child) + "/status");
  for (std::string line; std::getline(file, line);) {
    const size_t colon = line.find(":\t");
    if (colon != std::string::npos) found[line.substr(0, colon)] = line.substr(colon + 2);
  }
  for (const int end : {ready[0], ready[1], done[0], done[1]})
    close(end);
  waitpid(child, nullptr, 0);
  return found;
}

TEST(Account, IsFoundWithAllItsGroups) {
  const Account account = FindAccount(kAccount);
  EXPECT_NE(account.user, 0U);
  EXPECT_THAT(account.groups, testing::Contains(account.group));
}

TEST(Account, OfRootOrOfNobodyKnownIsRefused) {
  EXPECT_THROW(FindAccount("root"), ConfineError);
  EXPECT_THROW(FindAccount("no-such-user-here"), ConfineError);
}

TEST_F(Confined, NoCapabilityIsLeftInAnySetAndNoneCanBeGained) {
  auto status = StatusOf([] { Confine(nullptr); });
  for (const char* set : {"CapInh", "CapPrm", "CapEff", "CapAmb"})
    EXPECT_EQ(status[set], "0000000000000000") << set;
  if (IsRoot()) {
    EXPECT_EQ(status["CapBnd"], "0000000000000000");
  }
  EXPECT_EQ(status["NoNewPrivs"], "1");
  if (HasSystemCallFilter()) {
    EXPECT_EQ(status["Seccomp"], "2");
  }
}

TEST_F(Confined, RootBecomesTheAccountForGood) {
  if (!IsRoot()) GTEST_SKIP() << "needs root";
  const Account account = FindAccount(kAccount);
  auto status = StatusOf([&] { Confine(&account); });
  const std::string user = std::to_string(account.user), group = std::to_string(account.group);
  EXPECT_EQ(status["Uid"], user + "\t" + user + "\t" + user + "\t" + user);
  EXPECT_EQ(status["Gid"], group + "\t" + group + "\t" + group + "\t" + group);
  EXPECT_EQ(status["Groups"], group + " ");
  EXPECT_EQ(InChild([&] {
              Confine(&account);
              return setuid(0) != 0;
            }),
            0);
}

TEST_F(Confined, AUserThatIsNotRootStaysTheSame) {
  if (!IsRoot()) GTEST_SKIP() << "needs root";
  const Account account = FindAccount(kAccount);
  EXPECT_EQ(InChild([&] {
              if (setuid(12345) != 0) return false;
              Confine(&account);
              return getuid() == 12345;
            }),
            0);
}

TEST_F(Filtered, FilesAreNotOpened) {
  EXPECT_TRUE(IsRefused([] { return open("/dev/null", O_RDONLY); }));
  EXPECT_TRUE(IsRefused([] { return open("/tmp/confined", O_WRONLY | O_CREAT, 0600); }));
  EXPECT_TRUE(IsRefused([] { return unlink("/tmp/confined"); }));
}

TEST_F(Filtered, ProgramsAreNotExecutedAndProcessesNotMade) {
  EXPECT_TRUE(IsRefused([] { return execl("/bin/true", "true", nullptr); }));
  EXPECT_TRUE(IsRefused([] { return long{fork()}; }));
  EXPECT_TRUE(IsRefused([] { return kill(getppid(), 0); }));
}

TEST_F(Filtered, NetworksAreNotReached) {
  EXPECT_TRUE(IsRefused([] { return socket(AF_INET, SOCK_STREAM, 0); }));
  EXPECT_TRUE(IsRefused([] { return socket(AF_PACKET, SOCK_RAW, 0); }));
  EXPECT_TRUE(IsRefused([] { return socket(AF_NETLINK, SOCK_RAW, 0); }));
}

TEST_F(Filtered, MemoryIsNotMadeExecutable) {
  EXPECT_TRUE(IsRefused([]() -> long {
    void* const at = mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return at == MAP_FAILED ? -1 : 0;
  }));
}

TEST_F(Confined, MemoryTimeOutputAndUnixSocketsStay) {
  int pair[2], output[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, pair) + pipe(output), 0);
  EXPECT_EQ(InChild([&] {
              Confine(nullptr);
              std::string text(1 << 22, 'a');  // more than what is at hand
              const net::Descriptor fresh(socket(AF_UNIX, SOCK_DGRAM, 0));
              sockaddr_un nowhere = {AF_UNIX, "/nowhere/at/all"};
              const bool is_tried = connect(fresh.get(), reinterpret_cast<sockaddr*>(&nowhere),
                                            sizeof nowhere) != 0 &&
                                    errno == ENOENT;
              std::FILE* const stream = fdopen(output[1], "w");
              return fresh && is_tried && time(nullptr) > 0 && write(pair[0], "x", 1) == 1 &&
                     stream != nullptr && std::fputs("y", stream) > 0 && std::fflush(stream) == 0 &&
                     text[1 << 21] == 'a';
            }),
            0);
  char byte = 0;
  EXPECT_EQ(read(pair[1], &byte, 1), 1);
  EXPECT_EQ(read(output[0], &byte, 1), 1);
  EXPECT_EQ(byte, 'y');
}

}  // namespace
}  // namespace byod::capture
