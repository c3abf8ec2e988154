// SPDX-License-Identifier: Apache-2.0
// Who may do what, and how the daemon starts and stops.
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "tests/lauthd/client.h"

namespace byod::test {
namespace {

constexpr uid_t kNobody = 65534;
constexpr gid_t kNobodysGroup = 65534;

Message SetValue(const char* keyword) {
  return MakeRequest(BYOD_OP_SET, BYOD_MSG_UA_VALUE,
                     [&](Appender& append) { append.Text(BYOD_TLV_USERAGENT, keyword); });
}

/// Runs something as nobody. @return what it returns, which is below 100
template <typename Function>
int AsNobody(std::vector<gid_t> groups, Function function) {
  const pid_t child = fork();
  if (child == 0) {
    if (setgroups(groups.size(), groups.data()) != 0 || setgid(kNobodysGroup) != 0 ||
        setuid(kNobody) != 0) {
      _exit(101);
    }
    _exit(function());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 102;
}

class Access : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  }
  DaemonProcess daemon_{{"--no-database", "--socket-group", "nogroup"}};
};

enum Outcome { kDone = 0, kNoConnection = 1, kPermission = 2, kOtherwise = 3 };

int TryToChange(const DaemonProcess& daemon) {
  Client client(daemon);
  if (client.socket() < 0) return kNoConnection;
  const Verdict verdict = VerdictOf(client.Ask(SetValue("by nobody")));
  if (verdict == Verdict{0, 0}) return kDone;
  if (verdict == Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_PERMISSION}) return kPermission;
  return kOtherwise;
}

TEST_F(Access, AMemberOfTheSocketsGroupMayReadAndNotChange) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  EXPECT_EQ(AsNobody({}, [&] { return TryToChange(daemon_); }), kPermission);
  EXPECT_EQ(AsNobody({},
                     [&] {
                       Client client(daemon_);
                       const Message reply = client.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT);
                       return reply && NumberOf(reply, BYOD_TLV_COUNT, 9) == 0 ? kDone : kOtherwise;
                     }),
            kDone);
  for (const uint32_t kind : {BYOD_EXT_MSG_BACKUP, BYOD_EXT_MSG_BULK, BYOD_EXT_MSG_RELOAD,
                              BYOD_EXT_MSG_RESTORE, BYOD_EXT_MSG_AUTHORIZATION}) {
    EXPECT_EQ(AsNobody({},
                       [&] {
                         Client client(daemon_);
                         const bool reads = kind == BYOD_EXT_MSG_BACKUP;
                         const Message reply = client.Ask(reads ? BYOD_OP_GET : BYOD_OP_SET, kind);
                         return NumberOf(reply, BYOD_EXT_REFUSAL) == BYOD_REFUSAL_PERMISSION
                                    ? kDone
                                    : kOtherwise;
                       }),
              kDone)
        << kind;
  }
}

TEST_F(Access, AMemberOfTheAdministrationGroupMayChange) {
  daemon_.AddOption("--admin-group");
  daemon_.AddOption("games");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  const group* const games = getgrnam("games");
  ASSERT_NE(games, nullptr);
  EXPECT_EQ(AsNobody({games->gr_gid}, [&] { return TryToChange(daemon_); }), kDone);
  EXPECT_EQ(AsNobody({}, [&] { return TryToChange(daemon_); }), kPermission);
}

TEST_F(Access, OthersCannotConnect) {
  DaemonProcess daemon({"--no-database"});
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  EXPECT_EQ(AsNobody({}, [&] { return TryToChange(daemon); }), kNoConnection);
}

TEST_F(Access, DirectoryAndSocketHaveTheirOwnerGroupAndMode) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  struct stat status;
  ASSERT_EQ(stat(daemon_.socket().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0660u);
  EXPECT_EQ(status.st_gid, kNobodysGroup);
  ASSERT_EQ(stat(std::filesystem::path(daemon_.socket()).parent_path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0750u);
  EXPECT_EQ(status.st_gid, kNobodysGroup);
}

/// Sends questions on connections that stay busy: each has half of another one behind its question.
/// @return how many connections get an answer within a second
int CountAnswered(const DaemonProcess& daemon, std::vector<std::unique_ptr<Client>>& clients,
                  int count) {
  const auto question = BytesOf(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT));
  int answered = 0;
  for (int i = 0; i < count; ++i) {
    clients.push_back(std::make_unique<Client>(daemon));
    clients.back()->SendBytes(question.data(), question.size());
    clients.back()->SendBytes(question.data(), question.size() / 2);
  }
  std::this_thread::sleep_for(std::chrono::seconds(1));
  char bytes[512];
  for (const auto& client : clients)
    answered += recv(client->socket(), bytes, sizeof bytes, MSG_DONTWAIT) > 0;
  return answered;
}

// One user could take all places, and root was kept out with everybody else.
TEST_F(Access, OneUserHasAShareOfThePlacesAndOthersGetIn) {
  daemon_.SetOption("--max-connections", "32");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  EXPECT_EQ(AsNobody({},
                     [&] {
                       std::vector<std::unique_ptr<Client>> clients;
                       if (CountAnswered(daemon_, clients, 20) != 8) return kOtherwise;
                       // Those beyond the share wait for a place of their own user's.
                       clients.erase(clients.begin(), clients.begin() + 8);
                       return Eventually([&] { return bool(clients[0]->Receive()); }) ? kDone
                                                                                      : kOtherwise;
                     }),
            kDone);
  EXPECT_TRUE(daemon_.Logged("too many connections of user 65534, whose share is 8"))
      << daemon_.Log();
}

TEST_F(Access, WhileOthersHaveAllTheirPlacesRootAndAdministratorsGetIn) {
  daemon_.SetOption("--max-connections", "32");
  daemon_.SetOption("--user-share", "100");
  daemon_.SetOption("--admin-group", "games");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  const pid_t hog = fork();
  if (hog == 0) {
    if (setgroups(0, nullptr) != 0 || setgid(kNobodysGroup) != 0 || setuid(kNobody) != 0) {
      _exit(101);
    }
    std::vector<std::unique_ptr<Client>> clients;
    // More than have a place, more than may wait, and more than the socket's queue holds.
    CountAnswered(daemon_, clients, 700);
    pause();
    _exit(0);
  }
  ASSERT_TRUE(Eventually([&] { return daemon_.Logged("is refused"); })) << daemon_.Log();
  const auto answer = [&] {
    Client client(daemon_);
    return client.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT) ? kDone : kOtherwise;
  };
  EXPECT_EQ(answer(), kDone) << "root";
  const group* const games = getgrnam("games");
  ASSERT_NE(games, nullptr);
  EXPECT_EQ(AsNobody({games->gr_gid}, answer), kDone) << "a member of the administration group";
  kill(hog, SIGKILL);
  waitpid(hog, nullptr, 0);
  EXPECT_EQ(AsNobody({}, answer), kDone) << "and everybody afterwards";
  EXPECT_LT(std::ranges::count(daemon_.Log(), '\n'), 20) << daemon_.Log();
}

class OpenToOthers : public testing::Test {
 protected:
  void SetUp() override { daemon_.WriteRules("user-agent.csv", "expression,name\nA,B\n"); }
  void Open(const std::string& path, std::filesystem::perms how) {
    std::filesystem::permissions(path, how, std::filesystem::perm_options::add);
  }
  void ExpectRefused(const std::string& words) {
    daemon_.Launch();
    EXPECT_EQ(daemon_.WaitForEnd(), 1);
    EXPECT_TRUE(daemon_.Logged(words)) << daemon_.Log();
  }

  DaemonProcess daemon_;
};

TEST_F(OpenToOthers, AreRuleFilesThatAreRefusedWithTheRemedy) {
  const std::string file = daemon_.rules() + "/user-agent.csv";
  Open(file, std::filesystem::perms::others_write);
  ExpectRefused(file + ": everybody may write to it; mend that with \"chmod go-w " + file + "\"");
}

TEST_F(OpenToOthers, IsARuleDirectoryThatIsRefused) {
  Open(daemon_.rules(), std::filesystem::perms::others_write);
  ExpectRefused(daemon_.rules() + ": everybody may write to it");
}

TEST_F(OpenToOthers, IsAStateDirectoryThatIsRefused) {
  std::filesystem::create_directory(daemon_.state());
  Open(daemon_.state(), std::filesystem::perms::others_write);
  ExpectRefused(daemon_.state() + ": everybody may write to it");
}

TEST_F(OpenToOthers, AreFilesOfAnotherGroup) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  const std::string file = daemon_.rules() + "/user-agent.csv";
  ASSERT_EQ(chown(file.c_str(), 0, kNobodysGroup), 0);
  Open(file, std::filesystem::perms::group_write);
  ExpectRefused(file + ": the group 65534 may write to it");
}

TEST_F(OpenToOthers, AreUsedWhenThatIsAskedFor) {
  Open(daemon_.rules() + "/user-agent.csv", std::filesystem::perms::others_write);
  daemon_.AddOption("--insecure");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
}

TEST_F(OpenToOthers, IsAFileThatAReloadRefuses) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Open(daemon_.rules() + "/user-agent.csv", std::filesystem::perms::others_write);
  Client client(daemon_);
  const Message reply = client.Ask(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD);
  EXPECT_EQ(NumberOf(reply, BYOD_EXT_REFUSAL), uint32_t{BYOD_REFUSAL_BAD_DATA});
  EXPECT_NE(TextOf(reply, BYOD_EXT_REASON).find("everybody may write to it"), std::string::npos);
}

TEST(Start, ASecondDaemonRefusesAndTheFirstGoesOn) {
  DaemonProcess daemon({"--no-database"});
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  const std::string command = std::string("'" LAUTHD_PROGRAM "'") +
                              " --config /dev/null --no-database --socket " + daemon.socket() +
                              " 2>/dev/null";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
  Client client(daemon);
  EXPECT_TRUE(client.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT));
}

TEST(Start, ASecondDaemonOnTheSocketNamesTheProcessOfTheFirst) {
  DaemonProcess daemon({"--no-database"});
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  DaemonProcess second({"--no-database", "--socket", daemon.socket()});
  ASSERT_NO_FATAL_FAILURE(second.Launch());
  EXPECT_EQ(second.WaitForEnd(), 1);
  EXPECT_TRUE(second.Logged("process " + std::to_string(daemon.pid()) + ", is listening on " +
                            daemon.socket()))
      << second.Log();
}

// Each of two daemons on one database kept its own rules in memory, and what one stored the other
// overwrote.
TEST(Start, ASecondDaemonOnTheStateDirectoryRefusesAndNamesTheProcessOfTheFirst) {
  DaemonProcess daemon;
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  DaemonProcess second({"--state-dir", daemon.state()});
  ASSERT_NO_FATAL_FAILURE(second.Launch());
  EXPECT_EQ(second.WaitForEnd(), 1);
  EXPECT_TRUE(second.Logged("process " + std::to_string(daemon.pid()) +
                            ", uses the state directory " + daemon.state()))
      << second.Log();
  EXPECT_FALSE(std::filesystem::exists(second.socket()));
  Client client(daemon);
  EXPECT_EQ(VerdictOf(client.Ask(SetValue("kept"))), (Verdict{0, 0}));

  EXPECT_EQ(daemon.Kill(SIGKILL), -SIGKILL);
  ASSERT_NO_FATAL_FAILURE(second.Start());
  Client other(second);
  EXPECT_EQ(NumberOf(other.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT), BYOD_TLV_COUNT), 1u);
}

TEST(Start, OfDaemonsThatStartAtOnceOnANewStateDirectoryOneRemains) {
  const TemporaryDirectory shared;
  std::vector<std::unique_ptr<DaemonProcess>> daemons;
  for (int i = 0; i < 6; ++i) {
    daemons.push_back(std::make_unique<DaemonProcess>(
        std::vector<std::string>{"--state-dir", shared.path() + "/state"}));
    ASSERT_NO_FATAL_FAILURE(daemons.back()->Launch());
  }
  const auto running = [&] {
    return std::count_if(daemons.begin(), daemons.end(),
                         [](const auto& daemon) { return daemon->Running(); });
  };
  EXPECT_TRUE(Eventually([&] { return running() == 1; }));
  for (const auto& daemon : daemons) {
    if (daemon->Running()) {
      EXPECT_TRUE(Eventually([&] { return daemon->Logged("listening on"); })) << daemon->Log();
    } else {
      EXPECT_TRUE(daemon->Logged("uses the state directory")) << daemon->Log();
    }
  }
  EXPECT_EQ(running(), 1);
}

/// Holds a lock on a file or directory for as long as it lives.
class StrangersLock {
 public:
  explicit StrangersLock(const std::string& path) : file_(open(path.c_str(), O_RDONLY)) {
    EXPECT_EQ(flock(file_, LOCK_EX | LOCK_NB), 0) << path;
  }
  ~StrangersLock() { close(file_); }
  StrangersLock(const StrangersLock&) = delete;
  StrangersLock& operator=(const StrangersLock&) = delete;

 private:
  int file_;
};

// A start waited without a word, and without end, for whoever could read the socket's directory.
TEST(Start, IsNotKeptWaitingByWhoLocksItsDirectories) {
  DaemonProcess daemon;
  const std::filesystem::path run = std::filesystem::path(daemon.socket()).parent_path();
  std::filesystem::create_directories(run);
  std::filesystem::create_directories(daemon.state());
  const StrangersLock socket_directory(run);
  const StrangersLock state_directory(daemon.state());
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  for (const std::string& lock : {daemon.socket() + ".lock", daemon.state() + "/lauthd.lock"}) {
    struct stat status;
    ASSERT_EQ(stat(lock.c_str(), &status), 0) << lock;
    EXPECT_EQ(status.st_mode & 07777, 0600u) << lock;
  }
}

TEST(Start, ALockFileOfAnotherUserOrKindIsRefused) {
  DaemonProcess daemon;
  const std::filesystem::path run = std::filesystem::path(daemon.socket()).parent_path();
  const std::string lock = daemon.socket() + ".lock";
  std::filesystem::create_directories(run);
  ASSERT_EQ(mkfifo(lock.c_str(), 0600), 0);
  ASSERT_NO_FATAL_FAILURE(daemon.Launch());
  EXPECT_EQ(daemon.WaitForEnd(), 1);
  EXPECT_TRUE(daemon.Logged("cannot use " + lock)) << daemon.Log();
  std::filesystem::remove(lock);
  std::filesystem::create_symlink("/dev/null", lock);
  ASSERT_NO_FATAL_FAILURE(daemon.Launch());
  EXPECT_EQ(daemon.WaitForEnd(), 1);
  EXPECT_TRUE(daemon.Logged("cannot open " + lock)) << daemon.Log();
  if (geteuid() != 0) return;
  std::filesystem::remove(lock);
  std::ofstream(lock) << "";
  ASSERT_EQ(chown(lock.c_str(), kNobody, kNobodysGroup), 0);
  ASSERT_NO_FATAL_FAILURE(daemon.Launch());
  EXPECT_EQ(daemon.WaitForEnd(), 1);
}

TEST(Start, ASocketThatWasLeftBehindIsReplaced) {
  DaemonProcess daemon({"--no-database"});
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  EXPECT_EQ(daemon.Kill(SIGKILL), -SIGKILL);
  EXPECT_TRUE(std::filesystem::exists(daemon.socket()));
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
}

TEST(Start, AFileThatIsNoSocketIsLeftAlone) {
  DaemonProcess daemon({"--no-database"});
  std::filesystem::create_directories(std::filesystem::path(daemon.socket()).parent_path());
  std::ofstream(daemon.socket()) << "precious";
  daemon.Launch();
  EXPECT_EQ(daemon.WaitForEnd(), 1);
  EXPECT_TRUE(daemon.Logged("is not a socket"));
  EXPECT_EQ(std::filesystem::file_size(daemon.socket()), 8u);
}

TEST(Start, SigtermEndsCleanlyWithClientsInEveryState) {
  DaemonProcess daemon;
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  Client idle(daemon);
  Client watching(daemon);
  Client bulk(daemon);
  Client blocked(daemon);
  ASSERT_TRUE(idle.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT));
  ASSERT_TRUE(watching.Ask(BYOD_OP_GET, BYOD_EXT_MSG_WATCH));
  ASSERT_TRUE(bulk.Ask(BYOD_OP_SET, BYOD_EXT_MSG_BULK,
                       [](Appender& append) { append.Number(BYOD_EXT_PHASE, BYOD_PHASE_BEGIN); }));
  ASSERT_EQ(VerdictOf(bulk.Ask(SetValue("open"))), (Verdict{0, 0}));
  ASSERT_TRUE(blocked.Send(SetValue("waits for the bulk")));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(daemon.Kill(SIGTERM), 0) << daemon.Log();
  EXPECT_FALSE(std::filesystem::exists(daemon.socket()));
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  Client after(daemon);
  EXPECT_EQ(NumberOf(after.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT), BYOD_TLV_COUNT, 9), 0u);
}

// A daemon that was still loading ended when it was told to reload, and left its socket behind when
// it was told to stop.
TEST(Start, SignalsWhileItLoadsWaitUntilItServes) {
  std::string rules = "expression,name,vendor,category,os\n";
  for (int i = 0; i < 30000; ++i)
    rules += "Agent-" + std::to_string(i) + ",name,vendor,category,os\n";
  DaemonProcess daemon({"--no-database"});
  daemon.WriteRules("user-agent.csv", rules);
  for (const int signal : {SIGHUP, SIGTERM}) {
    ASSERT_NO_FATAL_FAILURE(daemon.Launch());
    int probe = -1;
    ASSERT_TRUE(Eventually([&] { return (probe = daemon.NewSocket()) >= 0; })) << daemon.Log();
    daemon.Signal(signal);
    if (signal == SIGHUP) {
      ASSERT_TRUE(Eventually([&] { return daemon.Logged("were read again"); })) << daemon.Log();
      EXPECT_EQ(daemon.Kill(SIGTERM), 0) << daemon.Log();
    } else {
      EXPECT_EQ(daemon.WaitForEnd(), 0) << daemon.Log();
    }
    close(probe);
    EXPECT_FALSE(std::filesystem::exists(daemon.socket()));
  }
}

/// A service manager, as far as the daemon sees of it.
class Manager {
 public:
  Manager() : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path().c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  ~Manager() { close(socket_); }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  std::string path() const { return directory_.path() + "/notify"; }

  std::string Next(std::chrono::milliseconds patience = std::chrono::seconds(30)) {
    pollfd readable = {socket_, POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(patience.count())) <= 0) return "nothing";
    char text[256] = "";
    const ssize_t got = recv(socket_, text, sizeof text - 1, 0);
    return got > 0 ? std::string(text, static_cast<size_t>(got)) : std::string("nothing");
  }
  void Drain() {
    while (Next(std::chrono::milliseconds(0)) != "nothing") {
    }
  }

 private:
  TemporaryDirectory directory_;
  int socket_;
};

TEST(Start, TheManagerIsToldThatItServesReloadsAndStops) {
  Manager manager;
  DaemonProcess daemon({"--no-database"});
  daemon.BeforeItRuns([&] { setenv("NOTIFY_SOCKET", manager.path().c_str(), 1); });
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  EXPECT_EQ(manager.Next(), "READY=1");
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(manager.Next().starts_with("RELOADING=1\nMONOTONIC_USEC="));
  EXPECT_EQ(manager.Next(), "READY=1");
  EXPECT_EQ(daemon.Kill(SIGTERM), 0);
  EXPECT_EQ(manager.Next(), "STOPPING=1");
}

/// A daemon that a question for the number of MAC rules keeps busy for ever.
class EndlessRequest : public testing::Test {
 protected:
  void SetUp() override {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer holds signals back while nothing is called";
#endif
    daemon_.BeforeItRuns([this] {
      // The address sanitizer wants to be the first library.
      const char* const before = std::getenv("ASAN_OPTIONS");
      const std::string options = before != nullptr ? std::string(before) + ":" : "";
      setenv("ASAN_OPTIONS", (options + "verify_asan_link_order=0").c_str(), 1);
      setenv("LD_PRELOAD", ENDLESS_COUNT, 1);
      setenv("NOTIFY_SOCKET", manager_.path().c_str(), 1);
      setenv("WATCHDOG_USEC", "1000000", 1);
    });
  }

  Manager manager_;
  DaemonProcess daemon_{{"--no-database", "--stop-timeout", "1"}};
};

// A lookup that did not come back made the daemon ignore SIGTERM.
TEST_F(EndlessRequest, DoesNotKeepTheDaemonFromEndingOnSigterm) {
  for (const int signal : {SIGTERM, SIGINT}) {
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
    Client client(daemon_);
    ASSERT_TRUE(client.Send(MakeRequest(BYOD_OP_GET, BYOD_MSG_MAC_COUNT)));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    daemon_.Signal(signal);
    // More signals don't give it more time.
    for (int i = 0; i < 50 && daemon_.Running(); ++i) {
      daemon_.Signal(signal);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_FALSE(daemon_.Running());
    EXPECT_EQ(daemon_.WaitForEnd(), 1);
    EXPECT_TRUE(daemon_.Logged("not stopped within 1 s of the signal")) << daemon_.Log();
  }
}

TEST_F(EndlessRequest, LeavesTheManagerWithoutASignOfLife) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  EXPECT_EQ(manager_.Next(), "READY=1");
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(manager_.Next(), "WATCHDOG=1") << i;
  Client client(daemon_);
  ASSERT_TRUE(client.Send(MakeRequest(BYOD_OP_GET, BYOD_MSG_MAC_COUNT)));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  manager_.Drain();
  EXPECT_EQ(manager_.Next(std::chrono::milliseconds(1500)), "nothing");
  daemon_.Kill(SIGKILL);
}

TEST(Start, TheManagerHearsNothingOfADaemonThatStandsStillAndAgainWhenItGoesOn) {
  Manager manager;
  DaemonProcess daemon({"--no-database"});
  daemon.BeforeItRuns([&] {
    setenv("NOTIFY_SOCKET", manager.path().c_str(), 1);
    setenv("WATCHDOG_USEC", "400000", 1);
  });
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  EXPECT_EQ(manager.Next(), "READY=1");
  EXPECT_EQ(manager.Next(), "WATCHDOG=1");
  daemon.Signal(SIGSTOP);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  manager.Drain();
  EXPECT_EQ(manager.Next(std::chrono::milliseconds(600)), "nothing");
  daemon.Signal(SIGCONT);
  EXPECT_EQ(manager.Next(), "WATCHDOG=1");
  EXPECT_EQ(daemon.Kill(SIGTERM), 0);
}

TEST(Start, TheUnitHasTheManagerWatchAndRestartTheDaemon) {
  std::stringstream unit;
  unit << std::ifstream(LAUTHD_UNIT).rdbuf();
  EXPECT_NE(unit.str().find("\nWatchdogSec="), std::string::npos);
  EXPECT_NE(unit.str().find("\nRestart=on-failure\n"), std::string::npos);
}

TEST(Start, TheConfigurationFileIsReadAndItsFaultsAreTold) {
  const TemporaryDirectory directory;
  const std::string file = directory.path() + "/lauthd.conf";
  const auto check = [&](const std::string& text) {
    std::ofstream(file) << text;
    const std::string command =
        std::string("'" LAUTHD_PROGRAM "'") + " --check --config " + file + " >/dev/null 2>&1";
    return WEXITSTATUS(std::system(command.c_str()));
  };
  EXPECT_EQ(check("rule-limit = 10\nidle-timeout = 5\nlog-level = \"info\"\n"), 0);
  EXPECT_EQ(check("idle-timeout = 0\n"), 2);
  EXPECT_EQ(check("no-such-option = 1\n"), 2);
  EXPECT_EQ(check("rule-limit = -1\n"), 2);
  EXPECT_EQ(check("admin-group = \"no-such-group\"\n"), 1);
}

TEST(Start, CheckTellsHowLongLoadingAndRecoveringTake) {
  DaemonProcess daemon;
  const std::string command = std::string("'" LAUTHD_PROGRAM "'") +
                              " --check --timing --config /dev/null --state-dir " + daemon.state() +
                              " >" + daemon.log_file();
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_TRUE(daemon.Logged("loaded in ")) << daemon.Log();
  EXPECT_FALSE(daemon.Logged("recovered"));
  EXPECT_FALSE(std::filesystem::exists(daemon.state()));

  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  Client client(daemon);
  for (const char* const agent : {"one", "two"}) {
    const auto fill = [agent](Appender& append) { append.Text(BYOD_TLV_USERAGENT, agent); };
    EXPECT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_MSG_UA_VALUE, fill)).code, 0u);
  }
  daemon.Kill(SIGKILL);
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_TRUE(daemon.Logged("recovered 2 custom rules from the database in ")) << daemon.Log();
}

TEST(Start, CheckTellsFaultsOfRuleFilesByTheirLine) {
  DaemonProcess daemon;
  daemon.WriteRules("mac.csv", "mac,mask,name,vendor,category,os\n00:11:22/99,,,,x,\n");
  const std::string command = std::string("'" LAUTHD_PROGRAM "'") +
                              " --check --config /dev/null --rules " + daemon.rules() + " 2>" +
                              daemon.log_file();
  EXPECT_EQ(WEXITSTATUS(std::system((command + " >/dev/null").c_str())), 1);
  EXPECT_TRUE(daemon.Logged("mac.csv:2")) << daemon.Log();
}

}  // namespace
}  // namespace byod::test
