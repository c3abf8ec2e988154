// SPDX-License-Identifier: Apache-2.0
// The rule files read anew under what an administrator has made.
#include "tests/lauthd/client.h"

namespace byod::test {
namespace {

constexpr char kHead[] = "expression,name,vendor,category,os\n";
constexpr char kMacHead[] = "mac,mask,name,vendor,category,os\n";

class Reload : public testing::Test {
 protected:
  void SetUp() override {
    daemon_.WriteRules("user-agent.csv", std::string(kHead) + "iPhone,old,Apple,,\ngone,,Gone,,\n");
    daemon_.WriteRules("mac.csv", std::string(kMacHead) + "00:11:22/24,,,Cimsys,,\n");
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
    client_ = std::make_unique<Client>(daemon_);
    SetOs("iPhone");
    SetOs("gone");
    SetOs("custom");
    client_->Ask(BYOD_OP_SET, BYOD_MSG_MAC_VALUE, [](Appender& append) {
      const uint8_t mac[6] = {2, 2, 2, 2, 2, 2};
      append.Address(BYOD_TLV_MAC, mac);
    });
  }

  void SetOs(const char* keyword) {
    const Message reply = client_->Ask(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, [&](Appender& append) {
      append.Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_OS).Text(BYOD_TLV_USERAGENT, keyword);
      append.Text(BYOD_TLV_OS, "mine");
    });
    ASSERT_EQ(VerdictOf(reply), (Verdict{0, 0}));
  }

  Message Get(const char* keyword) {
    return client_->Ask(BYOD_OP_GET, BYOD_MSG_UARULE,
                        [&](Appender& append) { append.Text(BYOD_TLV_USERAGENT, keyword); });
  }

  /// The whole table of User-Agent rules as one text.
  std::string Table() {
    std::string table;
    client_->AskSeries(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_LIST), [&](const Message& reply) {
      for (const Message& rule : NestedIn(reply, BYOD_EXT_RULE)) {
        table += TextOf(rule, BYOD_TLV_USERAGENT) + "|" +
                 std::to_string(NumberOf(rule, BYOD_TLV_RULESRC)) +
                 std::to_string(NumberOf(rule, BYOD_TLV_RULEWORD)) + "|" +
                 TextOf(rule, BYOD_TLV_DEVNAME) + "|" + TextOf(rule, BYOD_TLV_VENDOR) + "|" +
                 TextOf(rule, BYOD_TLV_OS) + "\n";
      }
    });
    return table;
  }

  void Restart() {
    client_.reset();
    ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL));
    client_ = std::make_unique<Client>(daemon_);
  }

  // Spelt otherwise than it was stored at first.
  void ExpectThatIphoneCanBeUndoneForGood() {
    EXPECT_EQ(VerdictOf(client_->Ask(
                  BYOD_OP_UNDO, BYOD_MSG_UA_VALUE,
                  [](Appender& append) { append.Text(BYOD_TLV_USERAGENT, "iPhone"); })),
              (Verdict{0, 0}));
    Restart();
    EXPECT_EQ(TextOf(Get("iPhone"), BYOD_TLV_OS), "");
  }

  DaemonProcess daemon_;
  std::unique_ptr<Client> client_;
};

TEST_F(Reload, OnSighupNewRulesComeAndTheAdministratorsStay) {
  daemon_.WriteRules("user-agent.csv", std::string(kHead) + "Iphone,new,Apple,,\nCustom,c,,,\n");
  daemon_.Signal(SIGHUP);
  ASSERT_TRUE(Eventually([this] { return TextOf(Get("iPhone"), BYOD_TLV_DEVNAME) == "new"; }));
  const std::string running = Table();
  EXPECT_EQ(running,
            "Custom|01|c||mine\n"
            "Iphone|01|new|Apple|mine\n");
  // A restart finds the very same.
  Restart();
  EXPECT_EQ(Table(), running);
  ExpectThatIphoneCanBeUndoneForGood();
}

TEST_F(Reload, AStartAfterNewRulesKeepsTheAdministratorsUnderTheirNewSpelling) {
  daemon_.WriteRules("user-agent.csv", std::string(kHead) + "Iphone,new,Apple,,\nCustom,c,,,\n");
  Restart();
  EXPECT_EQ(Table(),
            "Custom|01|c||mine\n"
            "Iphone|01|new|Apple|mine\n");
  ExpectThatIphoneCanBeUndoneForGood();
}

TEST_F(Reload, ABadFileChangesNothingAndSaysWhy) {
  const std::string before = Table();
  daemon_.WriteRules("user-agent.csv", std::string(kHead) + "Android,new,,,\n,no expression,,,\n");
  const Message reply = client_->Ask(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD);
  EXPECT_EQ(VerdictOf(reply), (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_BAD_DATA}));
  EXPECT_NE(TextOf(reply, BYOD_EXT_REASON).find("user-agent.csv:3"), std::string::npos)
      << TextOf(reply, BYOD_EXT_REASON);
  EXPECT_EQ(Table(), before);
  EXPECT_NE(TextOf(client_->Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS), BYOD_EXT_RELOAD_FAILURE), "");
  EXPECT_TRUE(daemon_.Logged("user-agent.csv:3"));
}

}  // namespace
}  // namespace byod::test
