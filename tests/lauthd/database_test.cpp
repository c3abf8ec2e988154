// A database that fails: the daemon goes on, refuses changes, and recovers.
#include <sys/statvfs.h>

#include "tests/lauthd/client.h"

namespace byod::test {
namespace {

constexpr Verdict kDone = {0, 0};
constexpr Verdict kNotSaved = {BYOD_ERR_FAILED, BYOD_REFUSAL_NOT_SAVED};

class Database : public testing::Test {
 protected:
  void SetUp() override {
    daemon_.WriteRules("user-agent.csv",
                       "expression,name,vendor,category,os\niPhone,Apple iPhone,Apple,phone,iOS\n");
  }

  Message SetName(const char* keyword, const char* name) {
    Client client(daemon_);
    return client.Ask(BYOD_OP_SET, BYOD_MSG_UARULE, [&](Appender& append) {
      append.Text(BYOD_TLV_USERAGENT, keyword).Text(BYOD_TLV_DEVNAME, name);
    });
  }

  Message Get(const char* keyword) {
    Client client(daemon_);
    return client.Ask(BYOD_OP_GET, BYOD_MSG_UARULE,
                      [&](Appender& append) { append.Text(BYOD_TLV_USERAGENT, keyword); });
  }

  uint32_t State() {
    Client client(daemon_);
    return NumberOf(client.Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS), BYOD_EXT_DATABASE, 9);
  }

  std::string file() const { return daemon_.state() + "/eBYOD.db"; }

  DaemonProcess daemon_;
};

TEST_F(Database, ThatIsNoneIsLeftAloneAndRecoveredWhenItIsBack) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  ASSERT_EQ(VerdictOf(SetName("iPhone", "mine")), kDone);
  daemon_.Kill(SIGTERM);
  const std::string aside = daemon_.state() + "/aside";
  std::filesystem::rename(file(), aside);
  const std::string foreign(10000, 'x');
  std::ofstream(file()) << foreign;
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  EXPECT_TRUE(daemon_.Logged("cannot be opened"));
  EXPECT_EQ(State(), uint32_t{BYOD_DATABASE_FAILING});
  EXPECT_EQ(TextOf(Get("iPhone"), BYOD_TLV_DEVNAME), "Apple iPhone");
  EXPECT_EQ(VerdictOf(SetName("iPhone", "other")), kNotSaved);
  EXPECT_EQ(VerdictOf(SetName("new", "other")), kNotSaved);
  EXPECT_EQ(VerdictOf(Get("new")).code, uint32_t{BYOD_ERR_FAILED}) << "nothing was made";
  std::stringstream content;
  content << std::ifstream(file()).rdbuf();
  EXPECT_EQ(content.str(), foreign);
  std::filesystem::rename(aside, file());
  EXPECT_TRUE(Eventually([this] { return VerdictOf(SetName("new", "other")) == kDone; }));
  EXPECT_EQ(TextOf(Get("iPhone"), BYOD_TLV_DEVNAME), "mine");
  EXPECT_EQ(State(), uint32_t{BYOD_DATABASE_OPEN});
}

TEST_F(Database, WhoseDirectoryCannotBeMadeIsRecoveredWhenItCan) {
  // A file stands in the directory's place.
  std::ofstream(daemon_.state()) << "in the way";
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  EXPECT_EQ(VerdictOf(SetName("iPhone", "mine")), kNotSaved);
  EXPECT_EQ(TextOf(Get("iPhone"), BYOD_TLV_DEVNAME), "Apple iPhone");
  std::filesystem::remove(daemon_.state());
  EXPECT_TRUE(Eventually([this] { return VerdictOf(SetName("iPhone", "mine")) == kDone; }));
}

TEST_F(Database, OnAFullDiskRefusesChangesUntilThereIsRoom) {
  const TemporaryDirectory small;
  const std::string mount = "mount -t tmpfs -o size=256k none " + small.path() + " 2>/dev/null";
  if (std::system(mount.c_str()) != 0) GTEST_SKIP() << "no file system can be mounted here";
  {
    DaemonProcess daemon({"--state-dir", small.path() + "/state"});
    daemon.WriteRules("user-agent.csv",
                      "expression,name,vendor,category,os\niPhone,Apple iPhone,Apple,phone,iOS\n");
    setenv("LAUTHD_SOCKET", daemon.socket().c_str(), 1);
    ASSERT_NO_FATAL_FAILURE(daemon.Start());
    uint32_t made = 0;
    uint32_t result = 0;
    while (made < 5000 &&
           (result = BYOD_cfgmsg_SetUAValue(1, ("rule " + std::to_string(made)).c_str())) == 0) {
      ++made;
    }
    EXPECT_EQ(result, uint32_t{BYOD_ERR_FAILED});
    uint32_t count = 0;
    BYOD_cfgmsg_GetRulesCountByType(1, &count);
    EXPECT_EQ(count, made + 1);
    const std::string larger = "mount -o remount,size=64m " + small.path();
    ASSERT_EQ(std::system(larger.c_str()), 0);
    EXPECT_EQ(BYOD_cfgmsg_SetUAValue(1, "there is room"), 0u);
    ASSERT_NO_FATAL_FAILURE(daemon.Restart(SIGKILL));
    BYOD_cfgmsg_GetRulesCountByType(1, &count);
    EXPECT_EQ(count, made + 2);
    daemon.Kill(SIGTERM);
  }
  EXPECT_EQ(std::system(("umount " + small.path()).c_str()), 0);
}

TEST_F(Database, ThatIsNotWantedKeepsChangesUntilTheEnd) {
  daemon_.AddOption("--no-database");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  EXPECT_EQ(VerdictOf(SetName("iPhone", "mine")), kDone);
  EXPECT_EQ(State(), uint32_t{BYOD_DATABASE_NONE});
  ASSERT_NO_FATAL_FAILURE(daemon_.Restart());
  EXPECT_EQ(TextOf(Get("iPhone"), BYOD_TLV_DEVNAME), "Apple iPhone");
}

}  // namespace
}  // namespace byod::test
