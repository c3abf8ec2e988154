// SPDX-License-Identifier: Apache-2.0
// Bulks of changes, by phases.
#include "lauthd/requests/bulk_requests.h"

#include "lauthd/requests/backup_requests.h"
#include "lauthd/requests/rule_changes.h"
#include "lauthd/requests/state_requests.h"
#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

Element Phase(uint32_t phase) {
  return Number(BYOD_EXT_PHASE, phase);
}

class BulkRequests : public HandlersWithDatabase {
 protected:
  Answer Do(uint32_t phase, const Elements& more = {}) {
    return Set(ChangeBulk, Elements{Phase(phase)} + more);
  }
  static Element AddKeyword(const std::string& keyword) {
    return support::Nested(BYOD_EXT_REQUEST, {Number(BYOD_TLV_OPTYPE, BYOD_OP_SET),
                                              Number(BYOD_TLV_MSGTYPE, BYOD_MSG_UA_VALUE),
                                              Text(BYOD_TLV_USERAGENT, keyword)});
  }
};

TEST_F(BulkRequests, EachChangeHasItsOwnResult) {
  ASSERT_TRUE(Do(BYOD_PHASE_BEGIN).result.Ok());
  const Element count = support::Nested(
      BYOD_EXT_REQUEST,
      {Number(BYOD_TLV_OPTYPE, BYOD_OP_GET), Number(BYOD_TLV_MSGTYPE, BYOD_MSG_UA_COUNT)});
  EXPECT_EQ(Do(BYOD_PHASE_MORE, {AddKeyword("a"), AddKeyword("a"), count}).elements,
            (Elements{Number(BYOD_EXT_RESULT, 0), Number(BYOD_EXT_RESULT, BYOD_ERR_NOCHANGE),
                      Number(BYOD_EXT_RESULT, BYOD_ERR_FAILED)}));
  EXPECT_TRUE(Do(BYOD_PHASE_COMMIT).result.Ok());
  EXPECT_EQ(UserAgentKind::Count(), 1u);
  EXPECT_EQ(state_.counters.changes, 1u);
}

TEST_F(BulkRequests, AbortRestoresWhatWasThere) {
  Do(BYOD_PHASE_BEGIN);
  Do(BYOD_PHASE_MORE, {AddKeyword("a")});
  EXPECT_TRUE(Do(BYOD_PHASE_ABORT).result.Ok());
  EXPECT_EQ(UserAgentKind::Count(), 0u);
  EXPECT_FALSE(state_.bulk.Open());
}

TEST_F(BulkRequests, EndOfTheSessionAborts) {
  {
    Session other(state_, [] { return Peer{0, true}; });
    Ask(other, ChangeBulk, BYOD_OP_SET, {Phase(BYOD_PHASE_BEGIN)});
    Ask(other, ChangeBulk, BYOD_OP_SET, {Phase(BYOD_PHASE_MORE), AddKeyword("a")});
    EXPECT_TRUE(state_.bulk.Open());
  }
  EXPECT_FALSE(state_.bulk.Open());
  EXPECT_EQ(UserAgentKind::Count(), 0u);
}

TEST_F(BulkRequests, BulkOfAnotherSessionIsBusy) {
  Session other(state_, [] { return Peer{0, true}; });
  Ask(other, ChangeBulk, BYOD_OP_SET, {Phase(BYOD_PHASE_BEGIN)});
  EXPECT_EQ(Do(BYOD_PHASE_BEGIN).refusal(), uint32_t{BYOD_REFUSAL_BUSY});
  EXPECT_EQ(Do(BYOD_PHASE_COMMIT).refusal(), uint32_t{BYOD_REFUSAL_BUSY});
  EXPECT_TRUE(session_.peer().may_change);
  EXPECT_TRUE(other.OwnsBulk());
}

TEST_F(BulkRequests, ReloadAndBackupRefuseWhileABulkIsOpen) {
  Do(BYOD_PHASE_BEGIN);
  EXPECT_EQ(Set(ReloadRules).refusal(), uint32_t{BYOD_REFUSAL_BUSY});
  EXPECT_EQ(Get(SendBackup).refusal(), uint32_t{BYOD_REFUSAL_BUSY});
}

TEST_F(BulkRequests, MissingOrUnknownPhaseIsRefused) {
  EXPECT_EQ(Set(ChangeBulk).refusal(), uint32_t{BYOD_REFUSAL_BUSY}) << "no bulk is open";
  Do(BYOD_PHASE_BEGIN);
  EXPECT_EQ(Do(4).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED});
}

TEST_F(BulkRequests, EndOfABulkWakesTheWaitingClientsOneAfterTheOther) {
  Do(BYOD_PHASE_BEGIN);
  std::string woken;
  auto first = std::make_unique<ChangeGate::Waiter>(state_.gate, [&] { woken += "1"; });
  const ChangeGate::Waiter second(state_.gate, [&] { woken += "2"; });
  EXPECT_FALSE(first->MayPass());
  EXPECT_EQ(woken, "");
  Do(BYOD_PHASE_COMMIT);
  EXPECT_EQ(woken, "1");
  EXPECT_TRUE(first->MayPass());
  EXPECT_FALSE(second.MayPass());
  EXPECT_FALSE(state_.gate.MayPass(&woken)) << "one that comes now waits behind them";
  first.reset();
  EXPECT_EQ(woken, "12");
  EXPECT_TRUE(second.MayPass());
}

TEST_F(BulkRequests, WhoWaitsInVainLearnsWhoseChangeIsOpenSinceWhen) {
  Do(BYOD_PHASE_BEGIN);
  const std::string reason = state_.gate.WhyClosed();
  EXPECT_TRUE(reason.starts_with("busy: a change by uid 1000 is open since ")) << reason;
  EXPECT_TRUE(reason.ends_with(" UTC")) << reason;
}

TEST_F(BulkRequests, OneThatTookTooLongIsRolledBackAndItsClientLearnsThat) {
  Do(BYOD_PHASE_BEGIN);
  Set(ChangeRuleValue<UserAgentKind>, Keys<UserAgentKind>::A());
  session_.ExpireBulk();
  EXPECT_EQ(UserAgentKind::Count(), 0u);
  for (const uint32_t phase : {BYOD_PHASE_MORE, BYOD_PHASE_COMMIT}) {
    const Answer refused = Do(phase);
    EXPECT_EQ(refused.refusal(), uint32_t{BYOD_REFUSAL_BUSY});
    EXPECT_EQ(refused.result.reason, "the bulk took longer than 30 s and was rolled back");
  }
  EXPECT_TRUE(Do(BYOD_PHASE_BEGIN).result.Ok());
  Do(BYOD_PHASE_ABORT);
  EXPECT_EQ(Do(BYOD_PHASE_MORE).result.reason, "no bulk is open");
}

}  // namespace
}  // namespace byod::lauthd
