// SPDX-License-Identifier: Apache-2.0
// Two rules of one length answered differently after a restart, a reload or an aborted bulk. Now
// the answers depend on the rules alone.
#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "tests/lauthd/backups.h"

namespace byod::test {
namespace {

constexpr char kHead[] = "expression,name,vendor,category,os\n";

class Ties : public testing::Test {
 protected:
  void Start(const std::string& predefined) {
    daemon_.WriteRules("user-agent.csv", kHead + predefined);
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  }

  /// Sets a rule whose name is its expression.
  uint32_t Set(const std::string& keyword) {
    ByodUserAgentRule rule = {};
    std::strncpy(rule.keyword, keyword.c_str(), sizeof rule.keyword - 1);
    return BYOD_cfgmsg_SetUserAgentRule(1, keyword.substr(0, 127).c_str(), &rule);
  }

  uint32_t Unset(const std::string& keyword) { return BYOD_cfgmsg_SetUAValue(0, keyword.c_str()); }

  std::string Answer(const std::string& user_agent) {
    const ByodFingerPrint fp = UserAgent(user_agent.c_str());
    const int connection = BYOD_cfgmsg_ConnectToLauthd();
    char name[BYOD_DEVNAME_SIZE] = "";
    BYOD_cfgmsg_GetDeviceType(connection, &fp, sizeof name, name);
    close(connection);
    return name;
  }

  void Restart() { ASSERT_NO_FATAL_FAILURE(daemon_.Restart(SIGKILL)); }

  void Reload() {
    Client client(daemon_);
    ASSERT_EQ(VerdictOf(client.Ask(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD)),
              (Verdict{BYOD_ERR_NOCHANGE, BYOD_REFUSAL_NO_CHANGE}))
        << "the files are as they were";
  }

  /// Makes changes in a bulk: a rule that is there is unset, another one set.
  void Bulk(const std::vector<std::string>& keywords, const std::set<std::string>& present,
            uint32_t end) {
    Client client(daemon_);
    const auto phase = [&](uint32_t number, const std::function<void(Appender&)>& fill) {
      return VerdictOf(client.Ask(BYOD_OP_SET, BYOD_EXT_MSG_BULK, [&](Appender& append) {
        append.Number(BYOD_EXT_PHASE, number);
        if (fill) fill(append);
      }));
    };
    ASSERT_EQ(phase(BYOD_PHASE_BEGIN, {}), (Verdict{0, 0}));
    ASSERT_EQ(phase(BYOD_PHASE_MORE,
                    [&](Appender& append) {
                      for (const std::string& keyword : keywords) {
                        const bool set = !present.contains(keyword);
                        const Message change = MakeRequest(
                            set ? BYOD_OP_SET : BYOD_OP_UNDO,
                            set ? BYOD_MSG_UARULE : BYOD_MSG_UA_VALUE, [&](Appender& one) {
                              one.Text(BYOD_TLV_USERAGENT, keyword.c_str());
                              if (set) one.Text(BYOD_TLV_DEVNAME, keyword.c_str());
                            });
                        append.Combine(
                            BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_REQUEST, change.get()));
                      }
                    }),
              (Verdict{0, 0}));
    ASSERT_EQ(phase(end, {}), (Verdict{0, 0}));
  }

  DaemonProcess daemon_;
};

TEST_F(Ties, TwoRulesOf200BytesAnswerTheSameAfterARestart) {
  Start("");
  // Both match by what they have in common.
  const std::string first = std::string(100, 'm') + "||" + std::string(98, 'y');
  const std::string second = std::string(100, 'l') + "||" + std::string(98, 'y');
  ASSERT_EQ(Set(first), 0u);
  ASSERT_EQ(Set(second), 0u);
  const std::string common(98, 'y');
  const std::string before = Answer(common);
  EXPECT_EQ(before, second.substr(0, 127)) << "the first in byte order";
  Restart();
  EXPECT_EQ(Answer(common), before);
}

TEST_F(Ties, AReloadWithUnchangedFilesDoesNotChangeAnAnswer) {
  Start("");
  for (const char* const keyword : {"QabcdQ", "cdef", "bcde", "abcd"})
    ASSERT_EQ(Set(keyword), 0u);
  EXPECT_EQ(Answer("QQabcdefQQ"), "abcd");
  Reload();
  EXPECT_EQ(Answer("QQabcdefQQ"), "abcd");
  Restart();
  EXPECT_EQ(Answer("QQabcdefQQ"), "abcd");
}

TEST_F(Ties, AnAbortedBulkDoesNotChangeAnAnswer) {
  Start("");
  for (const char* const keyword : {"QabcdQ", "cdef", "bcde", "abcd"})
    ASSERT_EQ(Set(keyword), 0u);
  Bulk({"abcd", "bcde", "zzzz", "zz"}, {"abcd", "bcde"}, BYOD_PHASE_ABORT);
  EXPECT_EQ(Answer("QQabcdefQQ"), "abcd");
  EXPECT_EQ(Answer("QQbcdefQQ"), "bcde");
}

TEST_F(Ties, ARestoreGivesTheAnswersOfItsBackup) {
  Start("");
  for (const char* const keyword : {"QabcdQ", "cdef", "bcde"})
    ASSERT_EQ(Set(keyword), 0u);
  Client client(daemon_);
  const Bytes backup = TakeBackup(client);
  ASSERT_EQ(Unset("bcde"), 0u);
  ASSERT_EQ(Set("abcd"), 0u);
  ASSERT_EQ(Answer("QQabcdefQQ"), "abcd");
  ASSERT_EQ(RestoreBackup(client, backup), (Verdict{0, 0}));
  EXPECT_EQ(Answer("QQabcdefQQ"), "bcde");
}

TEST_F(Ties, AnAdministratorsRuleWinsOverAPredefinedOneOfItsLength) {
  Start("aabb,predefined,,,\nbbcc,predefined,,,\nccdd,predefined,,,\n");
  ASSERT_EQ(Set("ddee"), 0u);
  EXPECT_EQ(Answer("aabbccddee"), "ddee");
  ASSERT_EQ(Unset("ddee"), 0u);
  const std::string without = Answer("aabbccddee");
  EXPECT_EQ(without, "predefined");
}

/// Rules of few lengths, and strings in which many of them are found.
class RandomTies : public Ties {
 protected:
  static constexpr size_t kStrings = 60;

  std::string RandomText(size_t length) {
    std::string text;
    for (; length > 0; --length)
      text += static_cast<char>('a' + random_() % 4);
    return text;
  }

  void SetUp() override {
    std::string rows;
    std::set<std::string> taken;
    for (int i = 0; i < 60; ++i) {
      const std::string keyword = RandomText(2 + random_() % 3);
      if (!taken.insert(keyword).second) continue;
      rows.append(keyword).append(",P").append(keyword).append(",,,\n");
    }
    ASSERT_NO_FATAL_FAILURE(Start(rows));
    predefined_ = taken;
    for (size_t i = 0; i < kStrings; ++i)
      strings_.push_back(RandomText(6 + i % 20));
    for (const std::string& text : strings_)
      of_predefined_[text] = Answer(text);
  }

  /// @return an expression that is not predefined: those are modified, not made
  std::string RandomKeyword() {
    for (;;) {
      const std::string keyword = RandomText(3 + random_() % 3);
      if (!predefined_.contains(keyword)) return keyword;
    }
  }

  /// What the rules alone say.
  std::string Expected(const std::string& text) const {
    const auto found = [&](const std::string& keyword) {
      return text.find(keyword) != std::string::npos;
    };
    for (size_t length = 5; length >= 2; --length) {
      for (const std::string& keyword : custom_)
        if (keyword.size() == length && found(keyword)) return keyword;
      const std::string& other = of_predefined_.at(text);  // "P" and its expression
      if (other.size() == length + 1) return other;
    }
    return "";
  }

  void ExpectTheRulesAnswers() {
    for (const std::string& text : strings_)
      ASSERT_EQ(Answer(text), Expected(text)) << text;
  }

  void Toggle(const std::string& keyword) {
    if (custom_.erase(keyword) == 0) custom_.insert(keyword);
  }

  std::mt19937_64 random_{20};
  std::set<std::string> predefined_;
  std::set<std::string> custom_;
  std::vector<std::string> strings_;
  std::map<std::string, std::string> of_predefined_;
};

TEST_F(RandomTies, NoAnswerOf2000ChangesDependsOnTheirHistory) {
  Bytes backup;
  std::set<std::string> in_backup;
  int restarts = 0;
  for (int change = 0; change < 2000;) {
    SCOPED_TRACE(change);
    const uint64_t what = random_() % 40;
    if (what < 30) {
      const bool unset = !custom_.empty() && random_() % 3 == 0;
      const std::string keyword =
          unset ? *std::next(custom_.begin(), static_cast<ptrdiff_t>(random_() % custom_.size()))
                : RandomKeyword();
      ASSERT_EQ(custom_.contains(keyword) ? Unset(keyword) : Set(keyword), 0u);
      Toggle(keyword);
      ++change;
    } else if (what < 34) {
      std::set<std::string> chosen;
      for (size_t count = 1 + random_() % 20; count > 0; --count)
        chosen.insert(RandomKeyword());
      std::vector<std::string> keywords(chosen.begin(), chosen.end());
      std::ranges::shuffle(keywords, random_);
      const bool commit = random_() % 2 == 0;
      ASSERT_NO_FATAL_FAILURE(
          Bulk(keywords, custom_, commit ? BYOD_PHASE_COMMIT : BYOD_PHASE_ABORT));
      if (commit) {
        for (const std::string& keyword : keywords)
          Toggle(keyword);
      }
      change += static_cast<int>(keywords.size());
    } else if (what < 36) {
      ASSERT_NO_FATAL_FAILURE(Reload());
    } else if (what < 38) {
      ASSERT_NO_FATAL_FAILURE(Restart());
      ++restarts;
    } else if (what < 39 || backup.empty()) {
      Client client(daemon_);
      backup = TakeBackup(client);
      in_backup = custom_;
    } else {
      Client client(daemon_);
      ASSERT_EQ(RestoreBackup(client, backup), (Verdict{0, 0}));
      custom_ = in_backup;
    }
    if (what >= 30 || change % 50 == 0) {
      ASSERT_NO_FATAL_FAILURE(ExpectTheRulesAnswers());
    }
  }
  EXPECT_GT(restarts, 10);
}

}  // namespace
}  // namespace byod::test
