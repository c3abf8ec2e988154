// SPDX-License-Identifier: Apache-2.0
// Changes of MAC rules within others when something fails: each allocation, and the power at each
// operation on a file. Rules, table and database are those of before or those of after, never
// anything between.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "lauth_avl.h"
#include "lauthd/log.h"
#include "lauthd/requests/dispatch.h"
#include "lauthd/requests/session.h"
#include "lauthd/state/rule_kind.h"
#include "lauthd/state/state.h"
#include "support/crash_vfs.h"
#include "support/failing_allocator.h"
#include "support/scratch_directory.h"

namespace byod::lauthd {
namespace {

using crash_vfs::Unflushed;
using net::Prefix;

constexpr Prefix kVendor = {0x001122000000, 24};
constexpr Prefix kFloor = {0x001122330000, 36};
constexpr Prefix kDesk = {0x001122334455, 48};
constexpr Prefix kAround = {0x001120000000, 20};

/// All rules as they are listed, and behind them the table that they lead to.
using Rules = std::vector<std::string>;

std::string TextOf(const ByodMacRule& rule) {
  std::string text = net::BlockText(rule.mac, rule.mask) + ' ' + std::to_string(rule.modified);
  for (const auto* const info : {rule.predefined, rule.configured}) {
    // The pieces of a rule without a configured information may have an empty one.
    if (info != nullptr && BYOD_data_IsDeviceInfoExist(info) == 1)
      text += std::string(" ") + info->name + '/' + info->vendor;
    else
      text += " -";
  }
  return text;
}

Rules RulesOf(const State& state) {
  Rules rules;
  for (const auto* rule = MacKind::First(); rule != nullptr; rule = MacKind::Rules().Next(*rule)) {
    // The bits behind a prefix are a name in the database, and mean nothing.
    ByodMacRule plain = *rule;
    for (size_t i = 0; i < sizeof plain.mac; ++i)
      plain.mac[i] &= plain.mask[i];
    rules.push_back("rule " + std::to_string(rule->origin) + ' ' + TextOf(plain));
  }
  void* const tree = BYOD_data_GetMacRuleTbl()->tree;
  for (auto* rule = static_cast<ByodMacRule*>(AVL_GetLeftMost(tree)); rule != nullptr;
       rule = static_cast<ByodMacRule*>(AVL_GetNext(tree, rule)))
    rules.push_back("table " + net::BlockText(rule->mac, rule->mask));
  rules.push_back("custom " + std::to_string(Byod_GetCustomRuleCount()));
  for (const auto& [key, idle] : state.idle_rules.Of<MacKind>())
    rules.push_back("idle " + MacKind::Describe(key) + ' ' + idle.info.name);
  return rules;
}

/// How a request ended. Without an answer it may have been carried out.
enum class Ending { kDone, kRefused, kNoAnswer };

/// A state with one client that may change it.
class Daemon {
 public:
  explicit Daemon(const std::string& directory) : state_(OptionsFor(directory)) { state_.Load(); }

  static Options OptionsFor(const std::string& directory) {
    Options options;
    options.rules = directory + "/rules";
    options.state_dir = directory + "/state";
    return options;
  }

  /// Carries out a request as a connection does, which ends with an exception.
  template <typename Fill>
  Ending Ask(uint32_t operation, uint32_t kind, const Fill& fill) {
    try {
      const tlv::Message request = Make(operation, kind, fill);
      if (!request) return Ending::kRefused;
      Exchange exchange{state_, session_, request.get(), 0, 0, {}, nullptr, false};
      Task task = FindTask(exchange);
      const bool done = Perform(task, exchange).Ok() && !IsPartRefused(exchange.reply.get());
      return done ? Ending::kDone : Ending::kRefused;
    } catch (const std::bad_alloc&) {
      return Ending::kNoAnswer;
    }
  }
  Ending Ask(uint32_t operation, uint32_t kind) {
    return Ask(operation, kind, [](tlv::Appender&) {});
  }

  /// Whether a change in a bulk was refused, which leaves the others alone.
  static bool IsPartRefused(uint32_t reply) {
    for (uintptr_t at = TLV_GetFirst(reply); at != 0; at = TLV_GetNext(reply, at)) {
      if (TLV_GetTypeByIterator(reply, at) == BYOD_EXT_RESULT &&
          TLV_GetUINTByIterator(reply, at) != 0)
        return true;
    }
    return false;
  }

  template <typename Fill>
  static tlv::Message Make(uint32_t operation, uint32_t kind, const Fill& fill) {
    tlv::Message request(TLV_Create());
    tlv::Appender append(request.get());
    append.Number(BYOD_TLV_OPTYPE, operation).Number(BYOD_TLV_MSGTYPE, kind);
    fill(append);
    return append.status() == 0 ? std::move(request) : tlv::Message();
  }

  static auto Key(const Prefix& block, const char* name = nullptr) {
    return [=](tlv::Appender& append) {
      append.Address(BYOD_TLV_MAC, block.Mac().data());
      append.Address(BYOD_TLV_MACMASK, block.Mask().data());
      if (name != nullptr) append.Text(BYOD_TLV_DEVNAME, name);
    };
  }
  Ending Set(const Prefix& block, const char* name) {
    return Ask(BYOD_OP_SET, BYOD_MSG_MACRULE, Key(block, name));
  }
  Ending Unset(const Prefix& block) { return Ask(BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE, Key(block)); }

  template <typename Fill>
  Ending Phase(uint32_t phase, const Fill& fill) {
    return Ask(BYOD_OP_SET, BYOD_EXT_MSG_BULK, [&](tlv::Appender& append) {
      append.Number(BYOD_EXT_PHASE, phase);
      fill(append);
    });
  }
  Ending Phase(uint32_t phase) {
    return Phase(phase, [](tlv::Appender&) {});
  }

  /// Some of what it holds goes, and some comes, in one. A bulk ends with its connection.
  Ending Replace() {
    Ending ending = Phase(BYOD_PHASE_BEGIN);
    if (ending != Ending::kDone) return ending;
    ending = Phase(BYOD_PHASE_MORE, [](tlv::Appender& append) {
      for (const tlv::Message& change :
           {Make(BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE, Key(kFloor)),
            Make(BYOD_OP_SET, BYOD_MSG_MACRULE, Key(kAround, "around")),
            Make(BYOD_OP_SET, BYOD_MSG_MACRULE, Key({kDesk.address + 1, 48}, "beside")),
            Make(BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE, Key(kDesk))})
        append.Combine(BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_REQUEST, change.get()));
    });
    if (ending == Ending::kDone) ending = Phase(BYOD_PHASE_COMMIT);
    if (session_.OwnsBulk()) Phase(BYOD_PHASE_ABORT);
    return ending;
  }

  Ending Rebind() { return Ask(BYOD_OP_SET, BYOD_EXT_MSG_REBIND); }
  Ending Reload() { return Ask(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD); }

  Rules rules() const { return RulesOf(state_); }

 private:
  State state_;
  Session session_{state_, [] { return Peer{0, true}; }};
};

/// One or more requests that make one change.
struct Step {
  const char* name;
  std::function<Ending(Daemon&)> run;
};

const Step kSteps[] = {
    {"set an address", [](Daemon& daemon) { return daemon.Set({kDesk.address ^ 1, 48}, "new"); }},
    {"set a block around others", [](Daemon& daemon) { return daemon.Set(kAround, "around"); }},
    {"change a rule with others in it", [](Daemon& daemon) { return daemon.Set(kFloor, "other"); }},
    {"modify a predefined rule with others in it",
     [](Daemon& daemon) { return daemon.Set(kVendor, "ours"); }},
    {"unset an address", [](Daemon& daemon) { return daemon.Unset(kDesk); }},
    {"unset a block with others in it", [](Daemon& daemon) { return daemon.Unset(kFloor); }},
    {"move a modification to the successor of its rule",
     [](Daemon& daemon) { return daemon.Rebind(); }},
    {"many changes in one", [](Daemon& daemon) { return daemon.Replace(); }},
};

class CarvingFaults : public testing::Test {
 protected:
  void SetUp() override {
    SetLogLevel(Severity::kError);
    std::filesystem::create_directory(directory_.path() + "/rules");
    directory_.Write("rules/successors.csv",
                     "kind,rule,successor\nmac,00:11:24/24,00:11:24:0/28\n");
    StartAnew();
  }

  void WriteRules(const std::string& rows) { directory_.Write("rules/mac.csv", rows); }

  /// An address in a floor, which is in the block of a vendor; and the modification of a block that
  /// the registry has split since.
  void StartAnew() {
    crash_vfs::Reset();
    std::filesystem::remove_all(directory_.path() + "/state");
    WriteRules("mac,vendor\n00:11:22/24,Vendor\n00:11:24/24,Other\n");
    {
      Daemon daemon(directory_.path());
      ASSERT_EQ(daemon.Set(kFloor, "floor"), Ending::kDone);
      ASSERT_EQ(daemon.Set(kDesk, "desk"), Ending::kDone);
      ASSERT_EQ(daemon.Set({0x001124000000, 24}, "modified"), Ending::kDone);
    }
    WriteRules(kRules);
  }

  Rules RulesAfterARestart() const { return Daemon(directory_.path()).rules(); }

  /// What is in memory after the step.
  Rules RulesAfter(const Step& step) {
    Rules rules;
    {
      Daemon daemon(directory_.path());
      EXPECT_EQ(step.run(daemon), Ending::kDone) << step.name;
      rules = daemon.rules();
    }
    EXPECT_EQ(RulesAfterARestart(), rules) << step.name;
    StartAnew();
    return rules;
  }

  static constexpr char kRules[] = "mac,vendor\n00:11:22/24,Vendor\n00:11:24:0/28,Other\n";

  support::ScratchDirectory directory_;
};

TEST_F(CarvingFaults, WithoutMemoryAChangeIsMadeWholeOrNotAtAll) {
  const Rules before = RulesAfterARestart();
  for (const Step& step : kSteps) {
    SCOPED_TRACE(step.name);
    const Rules after = RulesAfter(step);
    ASSERT_NE(before, after);
    for (uint32_t n = 1;; ++n) {
      SCOPED_TRACE(n);
      bool failed = false;
      Rules found;
      {
        Daemon daemon(directory_.path());
        support::FailingAllocation failing(n);
        const Ending ending = step.run(daemon);
        failing.Disarm();
        failed = failing.Failed();
        found = daemon.rules();
        ASSERT_TRUE(ending != Ending::kDone || found == after);
        ASSERT_TRUE(ending != Ending::kRefused || found == before);
        ASSERT_TRUE(found == before || found == after);
      }
      ASSERT_EQ(RulesAfterARestart(), found) << "the database has other rules than the memory had";
      if (found == after) {
        ASSERT_NO_FATAL_FAILURE(StartAnew());
      }
      if (!failed) break;
    }
  }
}

TEST_F(CarvingFaults, WithoutMemoryAReloadEndsWithTheOldOrTheNewRules) {
  const Rules before = RulesAfterARestart();
  const std::string new_rules = "mac,vendor\n00:11:22:00/28,Small\n00:11:22:33:40/36,Floor\n";
  WriteRules(new_rules);
  const Rules after = RulesAfterARestart();
  ASSERT_NE(before, after);
  enum Exit { kNew, kOld, kBetween, kNothingFailed };
  int ended = 0;
  for (uint32_t n = 1;; ++n) {
    SCOPED_TRACE(n);
    WriteRules(kRules);
    // A reload that cannot be completed ends the process.
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(STDERR_FILENO);
      Daemon daemon(directory_.path());
      WriteRules(new_rules);
      support::FailingAllocation failing(n);
      const Ending ending = daemon.Reload();
      failing.Disarm();
      const Rules found = daemon.rules();
      if (found != before && found != after) _exit(kBetween);
      if (ending == Ending::kDone && found != after) _exit(kBetween);
      if (ending == Ending::kRefused && found != before) _exit(kBetween);
      _exit(!failing.Failed() ? kNothingFailed : found == after ? kNew : kOld);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFSIGNALED(status)) {
      ASSERT_EQ(WTERMSIG(status), SIGABRT);
      ++ended;
    } else {
      ASSERT_NE(WEXITSTATUS(status), kBetween);
    }
    WriteRules(new_rules);
    ASSERT_EQ(RulesAfterARestart(), after);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNothingFailed) break;
  }
  std::printf("%d reloads ended the process\n", ended);
}

/// The last of the tests: this file system allocates, and so must not be there for the others.
class CarvingInPowerCuts : public CarvingFaults {
 protected:
  static void SetUpTestSuite() { crash_vfs::Install(); }
};

TEST_F(CarvingInPowerCuts, ALossOfPowerAtAnyFileOperationLeavesTheOldOrTheNewRules) {
  const Rules before = RulesAfterARestart();
  size_t images = 0;
  for (const Step& step : kSteps) {
    SCOPED_TRACE(step.name);
    const Rules after = RulesAfter(step);
    std::vector<std::string> laid_out;
    const auto cut_power = [&] {
      for (const Unflushed unflushed : {Unflushed::kLost, Unflushed::kKept, Unflushed::kTorn}) {
        laid_out.push_back(directory_.path() + "/image" + std::to_string(images));
        std::filesystem::create_directories(laid_out.back());
        std::filesystem::create_directory_symlink(directory_.path() + "/rules",
                                                  laid_out.back() + "/rules");
        crash_vfs::LayOut(directory_.path() + "/state", laid_out.back() + "/state", unflushed,
                          static_cast<uint32_t>(++images));
      }
    };
    size_t before_the_answer = 0;
    {
      Daemon daemon(directory_.path());
      crash_vfs::Watch([&](int) { cut_power(); });
      ASSERT_EQ(step.run(daemon), Ending::kDone);
      crash_vfs::Watch(nullptr);
      before_the_answer = laid_out.size();
      cut_power();
    }
    ASSERT_GT(before_the_answer, 0u);
    for (size_t i = 0; i < laid_out.size(); ++i) {
      const Rules found = Daemon(laid_out[i]).rules();
      if (i >= before_the_answer) {
        ASSERT_EQ(found, after) << "an answered change is lost";
      }
      ASSERT_TRUE(found == before || found == after) << i << " of " << laid_out.size();
    }
    for (const std::string& image : laid_out)
      std::filesystem::remove_all(image);
    StartAnew();
  }
  std::printf("%zu images\n", images);
}

}  // namespace
}  // namespace byod::lauthd
