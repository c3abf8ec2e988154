// SPDX-License-Identifier: Apache-2.0
// Which requests are known, who may send them, and how they are counted.
#include "lauthd/requests/dispatch.h"

#include "lauthd/requests/configuration_rows.h"
#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

class Dispatch : public Handlers {
 protected:
  static Elements Request(uint32_t operation, uint32_t kind, const Elements& more = {}) {
    return Elements{Number(BYOD_TLV_OPTYPE, operation), Number(BYOD_TLV_MSGTYPE, kind)} + more;
  }
  /// Finds the task of a request. The handler is not called.
  Task Find(const Elements& elements) { return Find(session_, elements); }
  Task Find(Session& session, const Elements& elements) {
    const support::Message request(elements);
    Exchange exchange{state_, session, request.get(), 0, 0, {}, nullptr, false};
    return FindTask(exchange);
  }
  uint32_t RefusalOf(const Elements& elements) { return Find(elements).refusal.refusal; }
};

TEST_F(Dispatch, EveryMessageOfTheClientLibraryHasAHandler) {
  for (uint32_t kind = BYOD_MSG_DHCPOPTRULE; kind <= BYOD_MSG_MAC_DEVATTR; ++kind) {
    const Task task = Find(Request(BYOD_OP_GET, kind));
    // There is no message 10.
    EXPECT_EQ(task.handler != nullptr, kind != 10) << kind;
    EXPECT_FALSE(task.waits_for_bulk) << kind;
  }
}

TEST_F(Dispatch, EveryExtensionHasAHandlerForOneOperationAtLeast) {
  for (uint32_t kind = BYOD_EXT_MSG_EXPLAIN; kind <= BYOD_EXT_MSG_CATEGORIES; ++kind) {
    EXPECT_TRUE(Find(Request(BYOD_OP_GET, kind)).handler != nullptr ||
                Find(Request(BYOD_OP_SET, kind)).handler != nullptr)
        << kind;
  }
}

TEST_F(Dispatch, BulkHoldsRulesOrderAndAuthorizationAndNothingElse) {
  std::vector<uint32_t> kinds;
  for (uint32_t kind = 0; kind < 2000; ++kind) {
    const Row* const row = FindConfigurationRow(kind);
    if (row != nullptr && row->change != nullptr) kinds.push_back(kind);
  }
  EXPECT_EQ(kinds, (std::vector<uint32_t>{BYOD_MSG_DHCPOPTRULE, BYOD_MSG_UARULE, BYOD_MSG_MACRULE,
                                          BYOD_MSG_ORDER, BYOD_MSG_DHCPOPT_VALUE, BYOD_MSG_UA_VALUE,
                                          BYOD_MSG_MAC_VALUE, BYOD_MSG_DHCPOPT_DEVATTR,
                                          BYOD_MSG_UA_DEVATTR, BYOD_MSG_MAC_DEVATTR,
                                          BYOD_EXT_MSG_AUTHORIZATION}));
}

TEST_F(Dispatch, ChangesWaitForABulk) {
  EXPECT_TRUE(Find(Request(BYOD_OP_SET, BYOD_MSG_UARULE)).waits_for_bulk);
  EXPECT_TRUE(Find(Request(BYOD_OP_UNDO, BYOD_MSG_ORDER)).waits_for_bulk);
  EXPECT_TRUE(Find(Request(BYOD_OP_GET, BYOD_EXT_MSG_BACKUP)).waits_for_bulk);
}

TEST_F(Dispatch, ClientWithoutRightsMayOnlyAsk) {
  int asked = 0;
  Session reader(state_, [&] {
    ++asked;
    return Peer{1000, false};
  });
  EXPECT_NE(Find(reader, Request(BYOD_OP_GET, BYOD_MSG_MAC_VALUE)).handler, nullptr);
  EXPECT_EQ(asked, 0) << "a question needs no look at the peer";
  const Task change = Find(reader, Request(BYOD_OP_SET, BYOD_MSG_MAC_VALUE));
  EXPECT_EQ(change.handler, nullptr);
  EXPECT_EQ(change.refusal.refusal, uint32_t{BYOD_REFUSAL_PERMISSION});
  EXPECT_EQ(change.refusal.reason, "you may not change the configuration (MAC value)");
  EXPECT_EQ(Find(reader, Request(BYOD_OP_GET, BYOD_EXT_MSG_BACKUP)).refusal.reason,
            "you may not change the configuration (backup)");
  EXPECT_EQ(asked, 1);
}

TEST_F(Dispatch, UnknownKindsAndOperationsAreRefused) {
  constexpr uint32_t kUnknown = BYOD_REFUSAL_UNKNOWN_KIND;
  EXPECT_EQ(RefusalOf({}), kUnknown);
  EXPECT_EQ(RefusalOf({Number(BYOD_TLV_OPTYPE, BYOD_OP_GET)}), kUnknown);
  EXPECT_EQ(RefusalOf(Request(BYOD_OP_GET, 10)), kUnknown);
  EXPECT_EQ(RefusalOf(Request(BYOD_OP_GET, BYOD_EXT_MSG_RELOAD)), kUnknown);
  EXPECT_EQ(RefusalOf(Request(BYOD_OP_SET, BYOD_EXT_MSG_STATUS)), kUnknown);
  EXPECT_EQ(RefusalOf(Request(3, BYOD_MSG_ORDER)), kUnknown);
}

TEST_F(Dispatch, NumberOfAnotherSizeIsMalformed) {
  for (const uint16_t type :
       {uint16_t{BYOD_TLV_ORDER}, uint16_t{BYOD_TLV_QUERYARG}, uint16_t{BYOD_EXT_PHASE}}) {
    for (const char* bytes : {"", "123", "12345"}) {
      EXPECT_EQ(RefusalOf(Request(BYOD_OP_GET, BYOD_MSG_ORDER, {Bytes(type, std::string(bytes))})),
                uint32_t{BYOD_REFUSAL_MALFORMED})
          << type;
    }
  }
}

TEST_F(Dispatch, ChangeWithASelectorIsMalformed) {
  for (const uint32_t operation : {BYOD_OP_SET, BYOD_OP_UNDO}) {
    EXPECT_EQ(RefusalOf(Request(operation, BYOD_MSG_UARULE, {Number(BYOD_TLV_QUERYARG, 0)})),
              uint32_t{BYOD_REFUSAL_MALFORMED});
  }
}

TEST_F(Dispatch, RequestsRefusalsAndChangesAreCounted) {
  const auto perform = [&](const Elements& elements) {
    const support::Message request(elements);
    Exchange exchange{state_, session_, request.get(), 0, 0, {}, nullptr, false};
    Task task = FindTask(exchange);
    Perform(task, exchange);
  };
  perform(Request(BYOD_OP_GET, BYOD_MSG_UA_COUNT));
  perform(Request(BYOD_OP_SET, BYOD_MSG_UA_VALUE, {Text(BYOD_TLV_USERAGENT, "a")}));
  perform(Request(BYOD_OP_SET, BYOD_MSG_UA_VALUE, {Text(BYOD_TLV_USERAGENT, "a")}));
  perform(Request(BYOD_OP_GET, 10));
  EXPECT_EQ(state_.counters.requests, 4u);
  EXPECT_EQ(state_.counters.refused, 2u);
  EXPECT_EQ(state_.counters.changes, 1u);
}

}  // namespace
}  // namespace byod::lauthd
