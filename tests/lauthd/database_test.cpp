// SPDX-License-Identifier: Apache-2.0
// A database that fails: the daemon goes on, refuses changes with the file and the reason, and
// recovers when the reason is gone.
#include <sys/mount.h>

#include "tests/lauthd/configuration_model.h"

namespace byod::test {
namespace {

constexpr Verdict kDone = {0, 0};
constexpr Verdict kNotSaved = {BYOD_ERR_FAILED, BYOD_REFUSAL_NOT_SAVED};
constexpr uid_t kNobody = 65534;

std::string BytesOfFile(const std::string& path) {
  std::stringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  return bytes.str();
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// A change of each kind, none of which is a change of nothing.
std::vector<Change> ChangesOfEachKind() {
  std::vector<Change> changes;
  for (uint32_t table = 0; table < 3; ++table) {
    changes.push_back({.action = Action::kValue, .set = true, .table = table, .key = 1});
    changes.push_back(
        {.action = Action::kName, .set = true, .table = table, .key = 3, .text = "mine"});
    changes.push_back({.action = Action::kAttribute,
                       .set = true,
                       .table = table,
                       .key = 4,
                       .attribute = 3,
                       .text = "system"});
  }
  changes.push_back({.action = Action::kOrder, .set = true, .order = {2, 0}});
  changes.push_back({.action = Action::kAuthorization,
                     .set = true,
                     .group = "staff",
                     .category = "phone",
                     .attributes = {{"vlan", "20"}}});
  return changes;
}

/// The same rules, sets and order with other content, and some that go.
std::vector<Change> FurtherChangesOfEachKind() {
  std::vector<Change> changes = ChangesOfEachKind();
  for (Change& change : changes) {
    change.text = "other";
    change.set = change.action != Action::kValue;
    change.order = {1};
    change.attributes = {{"vlan", "30"}, {"acl", "3000"}};
  }
  return changes;
}

class Database : public testing::Test {
 protected:
  void SetUp() override {
    initial_ = WritePredefined(daemon_);
    model_ = initial_;
  }

  /// Makes something of everything and stops the daemon.
  void Populate() {
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
    MakeAll(ChangesOfEachKind());
    daemon_.Kill(SIGTERM);
  }

  void MakeAll(const std::vector<Change>& changes) {
    for (const Change& change : changes) {
      ASSERT_EQ(Request(change), Apply(model_, change));
    }
  }

  uint32_t State() {
    Client client(daemon_);
    return NumberOf(client.Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS), BYOD_EXT_DATABASE, 9);
  }

  /// Checks that every kind of change is refused with these words, and changes nothing.
  void ExpectRefusal(const Configuration& running, const std::vector<std::string>& words) {
    for (const Change& change : FurtherChangesOfEachKind()) {
      Configuration unchanged = running;
      if (Apply(unchanged, change) == BYOD_ERR_FAILED) continue;  // refused for another reason
      EXPECT_EQ(Request(change), uint32_t{BYOD_ERR_FAILED});
    }
    Client client(daemon_);
    const Change order = {.action = Action::kOrder, .set = true, .order = {1, 2, 0}};
    const Message reply = client.Ask(Encode(order));
    EXPECT_EQ(VerdictOf(reply), kNotSaved);
    const std::string reason = TextOf(reply, BYOD_EXT_REASON);
    for (const std::string& word : words) {
      EXPECT_NE(reason.find(word), std::string::npos) << reason;
      EXPECT_TRUE(daemon_.Logged(word)) << daemon_.Log();
    }
    EXPECT_EQ(VerdictOf(AskBulk(client, FurtherChangesOfEachKind())), kNotSaved);
    EXPECT_EQ(ReadAll(daemon_), running);
    EXPECT_EQ(State(), uint32_t{BYOD_DATABASE_FAILING});
  }

  static Message AskBulk(Client& client, const std::vector<Change>& changes) {
    const auto phase = [](uint32_t number) {
      return MakeRequest(BYOD_OP_SET, BYOD_EXT_MSG_BULK,
                         [&](Appender& append) { append.Number(BYOD_EXT_PHASE, number); });
    };
    Message begun = client.Ask(phase(BYOD_PHASE_BEGIN));
    if (VerdictOf(begun) != kDone) return begun;
    for (const Change& change : changes)
      client.Ask(Encode(change));
    return client.Ask(phase(BYOD_PHASE_COMMIT));
  }

  /// Checks that what is stored comes back, that changes are kept again, and survive.
  void ExpectRecovery() {
    const Change first = {.action = Action::kOrder, .set = true, .order = {1, 0}};
    ASSERT_TRUE(Eventually([&] { return Request(first) == 0; })) << daemon_.Log();
    Apply(model_, first);
    EXPECT_EQ(ReadAll(daemon_), model_);
    EXPECT_EQ(State(), uint32_t{BYOD_DATABASE_OPEN});
    MakeAll(FurtherChangesOfEachKind());
    ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
    EXPECT_EQ(ReadAll(daemon_), model_);
  }

  std::string file() const { return daemon_.state() + "/eBYOD.db"; }

  DaemonProcess daemon_;
  Configuration initial_;  // of the rule files alone
  Configuration model_;
};

TEST_F(Database, ThatIsNoneIsLeftAloneAndRecoveredWhenItIsBack) {
  ASSERT_NO_FATAL_FAILURE(Populate());
  const std::string good = BytesOfFile(file());
  const std::string foreign(10000, 'x');
  WriteFile(file(), foreign);
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  ExpectRefusal(initial_, {file(), "is not a database"});
  EXPECT_EQ(BytesOfFile(file()), foreign);
  WriteFile(file(), good);
  ExpectRecovery();
}

TEST_F(Database, TruncatedAnywhereIsLeftAloneAndRecoveredWhenItIsWhole) {
  constexpr size_t kPlaces = 50;
  ASSERT_NO_FATAL_FAILURE(Populate());
  const std::string good = BytesOfFile(file());
  ASSERT_GT(good.size(), kPlaces);
  for (size_t place = 0; place < kPlaces; ++place) {
    SCOPED_TRACE(place);
    // Every other one at the end of a page.
    size_t size = good.size() * place / kPlaces;
    if (place % 2 == 1) size -= size % 4096;
    WriteFile(file(), good.substr(0, size));
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
    Client client(daemon_);
    const Change change = {.action = Action::kOrder, .set = true, .order = {1, 2, 0}};
    const Message reply = client.Ask(Encode(change));
    EXPECT_EQ(VerdictOf(reply), kNotSaved);
    EXPECT_NE(TextOf(reply, BYOD_EXT_REASON).find(file()), std::string::npos);
    EXPECT_EQ(ReadAll(daemon_), initial_);
    daemon_.Kill(place % 3 == 0 ? SIGKILL : SIGTERM);
    EXPECT_EQ(BytesOfFile(file()), good.substr(0, size));
    EXPECT_EQ(BytesOfFile(file() + "-wal"), "");
  }
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  ExpectRefusal(initial_, {file()});
  WriteFile(file(), good);
  ExpectRecovery();
}

TEST_F(Database, WhoseDirectoryIsMissingIsRecoveredWhenItIsBack) {
  ASSERT_NO_FATAL_FAILURE(Populate());
  // The last part of the path the daemon makes itself, but not what is before it.
  const std::string above = std::filesystem::path(daemon_.state()).parent_path() / "above";
  std::filesystem::create_directory(above);
  std::filesystem::rename(daemon_.state(), above + "/state");
  daemon_.AddOption("--state-dir");
  daemon_.AddOption(above + "/state");
  const std::string aside = above + "-aside";
  std::filesystem::rename(above, aside);
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  ExpectRefusal(initial_, {above + "/state", "No such file or directory"});
  std::filesystem::rename(aside, above);
  ExpectRecovery();
}

TEST_F(Database, WhoseDirectoryIsTakenAwayRefusesChangesUntilItIsBack) {
  ASSERT_NO_FATAL_FAILURE(Populate());
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  ASSERT_EQ(ReadAll(daemon_), model_);
  const std::string aside = daemon_.state() + "-aside";
  std::filesystem::rename(daemon_.state(), aside);
  ExpectRefusal(model_, {file(), "no longer found under this name"});
  std::filesystem::rename(aside, daemon_.state());
  ExpectRecovery();
}

TEST_F(Database, WhoseDirectoryCannotBeMadeIsRecoveredWhenItCan) {
  WriteFile(daemon_.state(), "in the way");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  ExpectRefusal(initial_, {daemon_.state(), "Not a directory"});
  EXPECT_EQ(BytesOfFile(daemon_.state()), "in the way");
  std::filesystem::remove(daemon_.state());
  ExpectRecovery();
}

TEST_F(Database, OnAFullDiskRefusesChangesUntilThereIsRoom) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  MakeAll(ChangesOfEachKind());
  daemon_.LimitFileSize(16384);
  ExpectRefusal(model_, {file(), "File too large"});
  daemon_.LimitFileSize();
  ExpectRecovery();
}

TEST_F(Database, ThatFindsTheDiskFullAtTheStartIsLeftAloneAndRecoveredWhenThereIsRoom) {
  ASSERT_NO_FATAL_FAILURE(Populate());
  const std::string before = BytesOfFile(file());
  daemon_.LimitFileSize(4000);
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  ExpectRefusal(initial_, {file(), "File too large"});
  EXPECT_EQ(BytesOfFile(file()), before);
  daemon_.LimitFileSize();
  ExpectRecovery();
}

TEST_F(Database, ThatFindsNoRoomToBeMadeIsMadeWhenThereIs) {
  daemon_.LimitFileSize(4000);
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  ExpectRefusal(initial_, {file(), "File too large"});
  EXPECT_FALSE(std::filesystem::exists(file()));
  daemon_.LimitFileSize();
  ExpectRecovery();
}

/// On a file system of the test's own.
class DatabaseOnADisk : public Database {
 protected:
  void SetUp() override {
    Database::SetUp();
    disk_ = std::filesystem::path(daemon_.state()).parent_path() / "disk";
    std::filesystem::create_directory(disk_);
    if (mount("none", disk_.c_str(), "tmpfs", 0, "size=256k") != 0) {
      GTEST_SKIP() << "no file system can be mounted here";
    }
    mounted_ = true;
    daemon_.AddOption("--state-dir");
    daemon_.AddOption(disk_ + "/state");
  }
  ~DatabaseOnADisk() override {
    if (daemon_.Running()) daemon_.Kill(SIGKILL);
    if (mounted_) {
      EXPECT_EQ(umount(disk_.c_str()), 0);
    }
  }
  bool Remount(unsigned long flags, const char* options) {
    return mount("none", disk_.c_str(), "tmpfs", MS_REMOUNT | flags, options) == 0;
  }

  std::string disk_;
  bool mounted_ = false;
};

TEST_F(DatabaseOnADisk, ThatIsFullRefusesChangesUntilThereIsRoom) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  MakeAll(ChangesOfEachKind());
  const std::string filler = disk_ + "/filler";
  std::ofstream fill(filler, std::ios::binary);
  while (fill.put('x').flush()) {
  }
  fill.close();
  ExpectRefusal(model_, {disk_ + "/state/eBYOD.db", "full"});
  std::filesystem::remove(filler);
  ASSERT_TRUE(Remount(0, "size=64m"));
  ExpectRecovery();
}

TEST_F(DatabaseOnADisk, ThatIsReadOnlyIsRecoveredWhenItIsNot) {
  ASSERT_NO_FATAL_FAILURE(Populate());
  ASSERT_TRUE(Remount(MS_RDONLY, nullptr));
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  ExpectRefusal(initial_, {disk_ + "/state", "Read-only file system"});
  ASSERT_TRUE(Remount(0, "size=64m"));
  ExpectRecovery();
}

/// With a daemon for whom permissions count.
class DatabaseOfAnOrdinaryUser : public Database {
 protected:
  void SetUp() override {
    Database::SetUp();
    if (geteuid() == 0) {
      ASSERT_NO_FATAL_FAILURE(daemon_.RunAs(kNobody, kNobody));
      if (!NobodyCanRun(daemon_.program())) GTEST_SKIP() << "nobody else may run the daemon here";
    }
    ASSERT_NO_FATAL_FAILURE(Populate());
  }

  static bool NobodyCanRun(const std::string& program) {
    const pid_t child = fork();
    if (child == 0) _exit(setuid(kNobody) == 0 && access(program.c_str(), X_OK) == 0 ? 0 : 1);
    int status = 1;
    waitpid(child, &status, 0);
    return status == 0;
  }
};

TEST_F(DatabaseOfAnOrdinaryUser, InADirectoryThatMayNotBeWrittenIsRecoveredWhenItMay) {
  const std::string before = BytesOfFile(file());
  for (const mode_t mode : {0500, 0000}) {
    SCOPED_TRACE(mode);
    ASSERT_EQ(chmod(daemon_.state().c_str(), mode), 0);
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
    ExpectRefusal(initial_, {daemon_.state(), "Permission denied"});
    ASSERT_EQ(chmod(daemon_.state().c_str(), 0700), 0);
    if (mode == 0500) {
      daemon_.Kill(SIGTERM);
      EXPECT_EQ(BytesOfFile(file()), before);
    }
  }
  ExpectRecovery();
}

TEST_F(DatabaseOfAnOrdinaryUser, ThatMayNotBeReadOrWrittenIsRecoveredWhenItMay) {
  const std::string before = BytesOfFile(file());
  for (const mode_t mode : {0000, 0400}) {
    SCOPED_TRACE(mode);
    ASSERT_EQ(chmod(file().c_str(), mode), 0);
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
    ExpectRefusal(initial_, {file(), "Permission denied"});
    ASSERT_EQ(chmod(file().c_str(), 0600), 0);
    if (mode == 0000) {
      daemon_.Kill(SIGTERM);
      EXPECT_EQ(BytesOfFile(file()), before);
    }
  }
  ExpectRecovery();
}

TEST_F(DatabaseOfAnOrdinaryUser, IsMadePrivate) {
  for (const auto& entry : std::filesystem::directory_iterator(daemon_.state())) {
    EXPECT_EQ(entry.status().permissions(), std::filesystem::perms(0600)) << entry.path();
  }
  EXPECT_EQ(std::filesystem::status(daemon_.state()).permissions(), std::filesystem::perms(0700));
}

TEST_F(Database, ThatIsNotWantedKeepsChangesUntilTheEnd) {
  daemon_.AddOption("--no-database");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  MakeAll(ChangesOfEachKind());
  EXPECT_EQ(ReadAll(daemon_), model_);
  EXPECT_EQ(State(), uint32_t{BYOD_DATABASE_NONE});
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart());
  EXPECT_EQ(ReadAll(daemon_), initial_);
}

}  // namespace
}  // namespace byod::test
