// SPDX-License-Identifier: Apache-2.0
// The daemon against a model that is a map from blocks to answers: of an administrator's rules and
// the predefined ones the longest prefix answers, and of two for one block the administrator's,
// over editions of registry and catalogue, changes, restarts, kills and restored backups.
//
// BYOD_MAC_MODEL=whole runs 50 editions, 1,000 rules, 100 restarts and 200,000 questions, which
// takes minutes.
#include <bit>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "net/prefix.h"
#include "rulefiles/rule_set.h"
#include "tests/lauthd/backups.h"

namespace byod::test {
namespace {

using net::MakePrefix;
using net::Prefix;

constexpr Verdict kDone = {0, 0};
constexpr uint64_t kAddresses = uint64_t{1} << 48;
constexpr uint64_t kSeed = 280;

struct Size {
  int editions;
  size_t rules;      // that an administrator has in the end
  size_t questions;  // in all
};

Size SizeOfRun() {
  const char* const wanted = std::getenv("BYOD_MAC_MODEL");
  const bool whole = wanted != nullptr && std::string_view(wanted) == "whole";
  return whole ? Size{50, 1000, 200000} : Size{6, 120, 9000};
}

/// What is answered for the addresses of a block.
using Answers = std::map<Prefix, std::string>;

/// @return the answer of the longest prefix around an address; empty when there is none
std::string LongestPrefix(const Answers& answers, uint64_t address) {
  for (unsigned bits = 48; bits > 0; --bits) {
    const auto found = answers.find(MakePrefix(address, bits));
    if (found != answers.end()) return found->second;
  }
  return "";
}

/// What an administrator set for a block.
struct Configured {
  std::string name;
  bool modification;  // of a predefined rule, without which it says nothing
};

/// A message's name, or else its vendor: predefined rules of the test have only the latter.
std::string AnswerIn(const Message& message) {
  const std::string name = TextOf(message, BYOD_TLV_DEVNAME);
  return name.empty() ? TextOf(message, BYOD_TLV_VENDOR) : name;
}

Prefix BlockIn(const Message& rule) {
  uint8_t mac[6] = {};
  uint8_t mask[6] = {};
  TLV_GetValueByIterator(rule.get(), TLV_GetIteratorByType(rule.get(), BYOD_TLV_MAC), 6, mac);
  TLV_GetValueByIterator(rule.get(), TLV_GetIteratorByType(rule.get(), BYOD_TLV_MACMASK), 6, mask);
  uint64_t address = 0;
  unsigned bits = 0;
  for (int i = 0; i < 6; ++i) {
    address = address << 8 | mac[i];
    bits += static_cast<unsigned>(std::popcount(mask[i]));
  }
  return {address, bits};
}

class MacRuleModel : public testing::Test {
 protected:
  MacRuleModel() : daemon_({"--ieee", registry_.path(), "--carved-limit", "65536"}) {}

  // ------------------------------------------------------------ editions

  /// A block of one of a few vendors, near the others: editions split, merge, move and drop them.
  Prefix RegisteredBlock() {
    constexpr unsigned kLengths[] = {24, 24, 24, 28, 28, 36};
    const uint64_t address = 0x001100000000 | (random_() & 0x00000F777000);
    return MakePrefix(address, kLengths[random_() % std::size(kLengths)]);
  }

  /// Writes the next registry and the next catalogue. Blocks of the registry may lie within each
  /// other; those of the catalogue are some of the registry's, or none of it is near.
  void WriteEdition() {
    std::set<Prefix> blocks;
    for (size_t count = 20 + random_() % 60; count > 0; --count)
      blocks.insert(RegisteredBlock());
    std::string rows[] = {"", "", ""};
    for (const Prefix& block : blocks) {
      const std::string digits = net::ToString(block);
      std::string assignment;
      for (const char digit : digits.substr(0, digits.find('/')))
        if (digit != ':') assignment += digit;
      assignment.resize(block.bits / 4);
      rows[block.bits / 4 - 6 - (block.bits > 28 ? 1 : 0)] +=
          "MA," + assignment + ",registry " + digits + ",\n";
    }
    const std::string head = "Registry,Assignment,Organization Name,Organization Address\n";
    registry_.Write("oui.csv", head + rows[0]);
    registry_.Write("mam.csv", head + rows[1]);
    registry_.Write("oui36.csv", head + rows[2]);
    registry_.Write("iab.csv", head);
    daemon_.WriteRules("mac.csv", kHead);
    std::string catalogue = kHead;
    for (const auto& [block, answer] : ReadPredefined()) {
      if (random_() % 8 == 0) catalogue += RowOf(block);
    }
    std::set<Prefix> own;
    for (size_t count = random_() % 20; count > 0; --count) {
      const Prefix block = MakePrefix(0x002200000000 | (random_() & 0xFFFF00), 24 + random_() % 20);
      if (std::ranges::none_of(own, [&](const Prefix& other) { return other.Overlaps(block); }))
        own.insert(block);
    }
    for (const Prefix& block : own)
      catalogue += RowOf(block);
    daemon_.WriteRules("mac.csv", catalogue);
    predefined_ = ReadPredefined();
  }

  static std::string RowOf(const Prefix& block) {
    const std::string text = net::ToString(block);
    return text + ",,,catalogue " + text + ",,\n";
  }

  Answers ReadPredefined() {
    rulefiles::Diagnostics diagnostics(
        [](const rulefiles::Diagnostic& fault) { ADD_FAILURE() << rulefiles::ToString(fault); });
    Answers answers;
    for (const auto& rule :
         rulefiles::ReadRuleSet({daemon_.rules(), registry_.path()}, diagnostics).mac)
      answers[rule.prefix] = rule.device.vendor;
    return answers;
  }

  // ------------------------------------------------------------ changes

  /// A block among the others. A whole address is none at which a larger rule begins, or which is
  /// the name that the database gives to one.
  Prefix CustomBlock() {
    constexpr unsigned kLengths[] = {16, 20, 23, 26, 28, 30, 34, 36,
                                     40, 44, 48, 48, 48, 48, 48, 48};
    const uint64_t base = random_() % 8 == 0 ? 0x002200000000 : 0x001100000000;
    const unsigned bits = kLengths[random_() % std::size(kLengths)];
    uint64_t address = base | (random_() & 0x00000FFFFFF0);
    if (random_() % 2 == 0 && !configured_.empty()) {
      address = std::next(configured_.begin(), random_() % configured_.size())->first.address |
                (random_() & 0xFF0);
    }
    return bits == 48 ? Prefix{(address & ~uint64_t{0xF}) | 1, 48} : MakePrefix(address, bits);
  }

  static void AppendKey(Appender& append, const Prefix& block) {
    append.Address(BYOD_TLV_MAC, block.Mac().data());
    append.Address(BYOD_TLV_MACMASK, block.Mask().data());
  }

  static Message SetRequest(const Prefix& block, const std::string& name) {
    return MakeRequest(BYOD_OP_SET, BYOD_MSG_MACRULE, [&](Appender& append) {
      AppendKey(append, block);
      append.Text(BYOD_TLV_DEVNAME, name.c_str());
    });
  }
  static Message UnsetRequest(const Prefix& block) {
    return MakeRequest(BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE,
                       [&](Appender& append) { AppendKey(append, block); });
  }

  void SetInModel(const Prefix& block, const std::string& name) {
    const auto before = configured_.find(block);
    const bool was_one = before != configured_.end() && before->second.modification;
    configured_[block] = {name, was_one || predefined_.contains(block)};
  }

  void Set(const Prefix& block) {
    const std::string name = "mine " + std::to_string(++names_);
    ASSERT_EQ(VerdictOf(Client(daemon_).Ask(SetRequest(block, name))), kDone)
        << net::ToString(block);
    SetInModel(block, name);
  }

  void Unset(const Prefix& block) {
    ASSERT_EQ(VerdictOf(Client(daemon_).Ask(UnsetRequest(block))), kDone) << net::ToString(block);
    configured_.erase(block);
  }

  template <typename Blocks>
  const Prefix& OneOf(const Blocks& blocks) {
    return std::next(blocks.begin(), static_cast<ptrdiff_t>(random_() % blocks.size()))->first;
  }

  void MakeChange(size_t rules) {
    const bool is_full = configured_.size() >= rules;
    const auto choice = random_() % 10;
    if (choice == 0 && !predefined_.empty()) return Set(OneOf(predefined_));
    if (choice == 1 && !configured_.empty()) return Set(OneOf(configured_));
    if ((is_full || choice == 2) && !configured_.empty()) return Unset(Prefix(OneOf(configured_)));
    Set(CustomBlock());
  }

  // ------------------------------------------------------------ the model and the daemon

  Answers Wanted() const {
    Answers answers = predefined_;
    for (const auto& [block, rule] : configured_) {
      if (!rule.modification || predefined_.contains(block)) answers[block] = rule.name;
    }
    return answers;
  }

  /// The blocks, their ends, and addresses inside and beside them.
  uint64_t AddressNear(const Prefix& block) {
    const uint64_t inside = block.address | (random_() & (block.Last() ^ block.address));
    const uint64_t addresses[] = {block.address, block.Last(), inside,
                                  (block.address + kAddresses - 1) % kAddresses,
                                  (block.Last() + 1) % kAddresses};
    return addresses[random_() % std::size(addresses)];
  }

  void ExpectAnswers(size_t questions) {
    const Answers answers = Wanted();
    std::vector<Prefix> blocks;
    for (const auto& [block, answer] : answers)
      blocks.push_back(block);
    for (const auto& [block, rule] : configured_)
      blocks.push_back(block);
    Client client(daemon_);
    for (size_t i = 0; i < questions; ++i) {
      const uint64_t address = AddressNear(blocks[random_() % blocks.size()]);
      if (address == 0) continue;  // which is no terminal's
      const Message reply = client.Ask(BYOD_OP_GET, BYOD_EXT_MSG_IDENTIFY, [&](Appender& append) {
        append.Address(BYOD_TLV_MAC, Prefix{address, 48}.Mac().data());
      });
      ASSERT_EQ(AnswerIn(reply), LongestPrefix(answers, address))
          << net::ToString(Prefix{address, 48});
    }
    questions_ += questions;
  }

  /// All rules in effect: each is listed once, whatever the table makes of it.
  Answers Listed() {
    Answers listed;
    Client(daemon_).AskSeries(
        MakeRequest(BYOD_OP_GET, BYOD_MSG_MAC_LIST), [&](const Message& reply) {
          for (const Message& rule : NestedIn(reply, BYOD_EXT_RULE))
            EXPECT_TRUE(listed.try_emplace(BlockIn(rule), AnswerIn(rule)).second);
        });
    return listed;
  }

  /// What is stored, but has no rule to modify.
  Answers WantedIdle() const {
    Answers idle;
    for (const auto& [block, rule] : configured_) {
      if (rule.modification && !predefined_.contains(block)) idle[block] = rule.name;
    }
    return idle;
  }

  Answers ListedIdle() {
    Answers idle;
    Client(daemon_).AskSeries(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_IDLE_RULES),
                              [&](const Message& reply) {
                                for (const Message& rule : NestedIn(reply, BYOD_EXT_RULE))
                                  idle[BlockIn(rule)] = AnswerIn(rule);
                              });
    return idle;
  }

  void ExpectListed() {
    ASSERT_EQ(Listed(), Wanted());
    ASSERT_EQ(ListedIdle(), WantedIdle());
    most_idle_ = std::max(most_idle_, WantedIdle().size());
  }

  void Restart(int signal) {
    ASSERT_NO_FATAL_FAILURE(daemon_.Restart(signal));
    ++restarts_;
  }

  void TakeEdition() {
    WriteEdition();
    if (random_() % 4 == 0) return Restart(SIGKILL);
    ASSERT_EQ(VerdictOf(Client(daemon_).Ask(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD)), kDone);
  }

  /// Kills the daemon while a request is on its way, and starts it again. @return whether the
  /// request was answered with success
  bool KillDuring(const Message& request) {
    Client client(daemon_);
    Message reply;
    std::thread asking([&] { reply = client.Ask(request); });
    std::this_thread::sleep_for(std::chrono::microseconds(random_() % 4000));
    EXPECT_EQ(daemon_.Kill(SIGKILL), -SIGKILL);
    asking.join();
    daemon_.Start();
    return reply && VerdictOf(reply) == kDone;
  }

  /// A change that the kill may have let through or not.
  void ExpectBeforeOrAfter(const std::map<Prefix, Configured>& before, bool was_answered) {
    if (Listed() == Wanted() && ListedIdle() == WantedIdle()) return;
    EXPECT_FALSE(was_answered) << "an answered change is lost";
    configured_ = before;
    ASSERT_NO_FATAL_FAILURE(ExpectListed());
  }

  static constexpr char kHead[] = "mac,mask,name,vendor,category,os\n";

  std::mt19937_64 random_{kSeed};
  TemporaryDirectory registry_;
  DaemonProcess daemon_;
  Answers predefined_;
  std::map<Prefix, Configured> configured_;
  int names_ = 0;
  int restarts_ = 0;
  size_t questions_ = 0;
  size_t most_idle_ = 0;
};

TEST_F(MacRuleModel, AnswersLikeTheDaemonOverEditionsChangesKillsAndRestores) {
  const Size size = SizeOfRun();
  WriteEdition();
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  const auto editions = static_cast<size_t>(size.editions);
  const size_t changes = size.rules / editions;
  const size_t questions = size.questions / editions / 3 + 1;
  Bytes backup;
  std::map<Prefix, Configured> backed_up;
  for (int edition = 0; edition < size.editions; ++edition) {
    SCOPED_TRACE(edition);
    const size_t goal = size.rules * static_cast<size_t>(edition + 1) / editions;
    for (size_t change = 0; change < changes || configured_.size() < goal; ++change)
      ASSERT_NO_FATAL_FAILURE(MakeChange(size.rules));
    ASSERT_NO_FATAL_FAILURE(ExpectAnswers(questions));
    ASSERT_NO_FATAL_FAILURE(Restart(SIGKILL));
    ASSERT_NO_FATAL_FAILURE(ExpectAnswers(questions));
    ASSERT_NO_FATAL_FAILURE(ExpectListed());
    if (edition % 7 == 3) {
      Client client(daemon_);
      backup = TakeBackup(client);
      backed_up = configured_;
    }
    ASSERT_NO_FATAL_FAILURE(TakeEdition());
    if (edition % 7 == 5) {
      Client client(daemon_);
      ASSERT_EQ(RestoreBackup(client, backup), kDone);
      configured_ = backed_up;
    }
    ASSERT_NO_FATAL_FAILURE(ExpectAnswers(questions));
    ASSERT_NO_FATAL_FAILURE(ExpectListed());
    ASSERT_NO_FATAL_FAILURE(Restart(SIGTERM));
  }
  std::printf("%d editions, %zu rules, %d restarts, %zu questions, at most %zu not in effect\n",
              size.editions, configured_.size(), restarts_, questions_, most_idle_);
  EXPECT_GT(most_idle_, 0u) << "no modification has lost its rule";
  while (!configured_.empty())
    ASSERT_NO_FATAL_FAILURE(Unset(Prefix(OneOf(configured_))));
  ASSERT_NO_FATAL_FAILURE(ExpectListed());
  ASSERT_NO_FATAL_FAILURE(ExpectAnswers(questions));
}

TEST_F(MacRuleModel, AKillDuringAChangeOrAReloadLeavesTheOldRulesOrTheNewOnes) {
  const Size size = SizeOfRun();
  WriteEdition();
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  for (int change = 0; change < 40; ++change)
    ASSERT_NO_FATAL_FAILURE(Set(CustomBlock()));
  int answered = 0;
  const int kills = size.editions * 4;
  for (int kill = 0; kill < kills; ++kill) {
    SCOPED_TRACE(kill);
    const auto before = configured_;
    bool was_answered = false;
    if (kill % 4 == 0) {
      WriteEdition();
      was_answered = KillDuring(MakeRequest(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD));
    } else if (kill % 4 == 1) {
      const Prefix block = OneOf(configured_);
      configured_.erase(block);
      was_answered = KillDuring(UnsetRequest(block));
    } else {
      const Prefix block = kill % 4 == 2 ? CustomBlock() : OneOf(predefined_);
      const std::string name = "mine " + std::to_string(++names_);
      SetInModel(block, name);
      was_answered = KillDuring(SetRequest(block, name));
    }
    answered += was_answered;
    ASSERT_NO_FATAL_FAILURE(ExpectBeforeOrAfter(before, was_answered));
    ASSERT_NO_FATAL_FAILURE(ExpectAnswers(100));
  }
  std::printf("%d kills, %d requests were answered before\n", kills, answered);
}

}  // namespace
}  // namespace byod::test
