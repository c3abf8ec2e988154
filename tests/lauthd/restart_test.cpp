// SPDX-License-Identifier: Apache-2.0
// Random changes of every kind, and a daemon that is killed again and again: every change that was
// answered is there, and at most the one on its way may be or not. A bulk is one change.
//
// BYOD_RESTARTS sets how often it is killed: 20 times without it, with 25 changes for each.
#include <cstdlib>
#include <random>
#include <set>
#include <thread>
#include <tuple>

#include "tests/lauthd/configuration_model.h"

namespace byod::test {
namespace {

constexpr int kChangesForEachRestart = 25;
constexpr uint64_t kSeed = 416;  // of changes and kills

int Restarts() {
  const char* const wanted = std::getenv("BYOD_RESTARTS");
  return wanted != nullptr ? std::atoi(wanted) : 20;
}

Message BulkPhase(uint32_t phase, const std::vector<Change>& changes = {}) {
  return MakeRequest(BYOD_OP_SET, BYOD_EXT_MSG_BULK, [&](Appender& append) {
    append.Number(BYOD_EXT_PHASE, phase);
    for (const Change& change : changes) {
      append.Combine(BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_REQUEST, Encode(change).get()));
    }
  });
}

uint32_t CodeOf(const Message& reply) {
  return BYOD_tlv_GetErrorCode(reply.get());
}

/// Makes changes in a bulk. @return the codes of the changes, and behind them that of the end
std::vector<uint32_t> RequestBulk(const DaemonProcess& daemon, const std::vector<Change>& changes,
                                  uint32_t end) {
  Client client(daemon);
  std::vector<uint32_t> codes;
  client.Ask(BulkPhase(BYOD_PHASE_BEGIN));
  const Message reply = client.Ask(BulkPhase(BYOD_PHASE_MORE, changes));
  if (!reply) return {BYOD_ERR_FAILED};
  for (uintptr_t at = TLV_GetFirst(reply.get()); at != 0; at = TLV_GetNext(reply.get(), at)) {
    if (TLV_GetTypeByIterator(reply.get(), at) == BYOD_EXT_RESULT)
      codes.push_back(TLV_GetUINTByIterator(reply.get(), at));
  }
  codes.push_back(CodeOf(client.Ask(BulkPhase(end))));
  return codes;
}

class Restart : public testing::Test {
 protected:
  void SetUp() override {
    model_ = WritePredefined(daemon_);
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
    ASSERT_EQ(ReadAll(daemon_), model_);
  }

  std::vector<Change> RandomChanges(uint64_t most) {
    std::vector<Change> changes(1 + random_() % most);
    for (Change& change : changes)
      change = RandomChange(random_);
    return changes;
  }

  std::vector<uint32_t> ApplyAll(Configuration& configuration, const std::vector<Change>& changes) {
    std::vector<uint32_t> codes;
    for (const Change& change : changes)
      codes.push_back(Apply(configuration, change));
    codes.push_back(0);
    return codes;
  }

  void MakeChange() {
    ++changes_;
    if (random_() % 10 != 0) {
      const Change change = RandomChange(random_);
      const bool of_a_table = change.action < Action::kOrder;
      seen_.insert({change.action, change.set, of_a_table ? change.table : 0});
      ASSERT_EQ(Request(change), Apply(model_, change));
      return;
    }
    const std::vector<Change> changes = RandomChanges(8);
    const bool keep = random_() % 3 != 0;
    Configuration with_bulk = model_;
    const std::vector<uint32_t> codes = ApplyAll(with_bulk, changes);
    ASSERT_EQ(RequestBulk(daemon_, changes, keep ? BYOD_PHASE_COMMIT : BYOD_PHASE_ABORT), codes);
    if (keep) model_ = with_bulk;
  }

  /// Kills the daemon while a change is on its way. @return whether its answer came
  bool KillInAChange(Configuration& with_open) {
    ++changes_;
    const bool bulk = random_() % 5 == 0;
    const std::vector<Change> changes = RandomChanges(bulk ? 8 : 1);
    with_open = model_;
    const std::vector<uint32_t> expected =
        bulk ? ApplyAll(with_open, changes)
             : std::vector<uint32_t>{Apply(with_open, changes.front())};
    std::vector<uint32_t> codes;
    std::thread asking([&] {
      codes = bulk ? RequestBulk(daemon_, changes, BYOD_PHASE_COMMIT)
                   : std::vector<uint32_t>{Request(changes.front())};
    });
    std::this_thread::sleep_for(std::chrono::microseconds(random_() % (bulk ? 6000 : 3000)));
    EXPECT_EQ(daemon_.Kill(SIGKILL), -SIGKILL);
    asking.join();
    if (codes == expected) return true;
    EXPECT_EQ(codes.back(), uint32_t{BYOD_ERR_FAILED}) << "neither the answer nor none";
    return false;
  }

  DaemonProcess daemon_;
  Configuration model_;
  std::mt19937_64 random_{kSeed};
  int changes_ = 0;
  std::set<std::tuple<Action, bool, uint32_t>> seen_;
};

TEST_F(Restart, EveryChangeThatWasAnsweredIsThereAfterEveryKill) {
  const int restarts = Restarts();
  int answered = 0;
  int kept = 0;
  int lost = 0;
  for (int restart = 0; restart < restarts; ++restart) {
    SCOPED_TRACE(restart);
    for (auto left = random_() % (2 * kChangesForEachRestart + 1); left > 0; --left)
      ASSERT_NO_FATAL_FAILURE(MakeChange());
    Configuration with_open;
    const bool was_answered = KillInAChange(with_open);
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
    const Configuration found = ReadAll(daemon_);
    if (was_answered) {
      ASSERT_EQ(found, with_open) << "an answered change is lost";
      ++answered;
    } else {
      ASSERT_TRUE(found == model_ || found == with_open)
          << "before" << testing::PrintToString(model_) << "\nfound"
          << testing::PrintToString(found);
      ++(found == with_open ? kept : lost);
    }
    model_ = found;
    ASSERT_FALSE(HasFailure());
  }
  // Values, names and attributes of three tables, the order and authorization, set and undone.
  constexpr size_t kOperations = size_t{3} * 3 + 2;
  EXPECT_TRUE(restarts < 20 || seen_.size() == 2 * kOperations);
  std::printf("%d changes, %d restarts; of those on their way %d were answered, %d kept, %d lost\n",
              changes_, restarts, answered, kept, lost);
}

}  // namespace
}  // namespace byod::test
