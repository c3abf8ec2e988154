// SPDX-License-Identifier: Apache-2.0
// The stored identification order.
#include <gtest/gtest.h>

#include <string>

#include "byod_db.h"
#include "byod_order.h"
#include "support/golden.h"
#include "support/memory_dbm.h"
#include "support/message.h"
#include "support/platform_faults.h"

namespace {

using namespace support;
using Calls = std::vector<DbmCall>;

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint32_t kNone = 0xFFFFFFFFu;
const std::string kKey = Key("BYOD_Order");

struct OrderRecord : testing::Test {
  void SetUp() override {
    MemoryDbm::Reset();
    PlatformFaults::Reset();
    BYOD_order_Init();
    BYOD_db_OpenCfgDBM();
    MemoryDbm::TakeCalls();
  }
  void TearDown() override {
    BYOD_db_CloseCfgDBM();
    BYOD_order_Fini();
    EXPECT_TRUE(PlatformFaults::Alive().empty());
    EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
  }
  static std::vector<uint32_t> Current() {
    ByodOrder order;
    BYOD_order_GetOrder(&order);
    return {order.slots, order.slots + 3};
  }
  // The order after the recovery of a stored value.
  static std::vector<uint32_t> Recovered(const std::string& value) {
    BYOD_order_Init();
    MemoryDbm::Values()[kKey] = value;
    BYOD_db_ReCoverOrder(5, kKey.c_str(), 11);
    return Current();
  }
};

using Slots = std::vector<uint32_t>;
const Slots kDefault = {0, 1, 2};

TEST_F(OrderRecord, IsStoredAsAMessageInMemoryFormUnderItsKey) {
  const ByodOrder order = {{2, 0, 1}};
  EXPECT_EQ(BYOD_db_SetOrder(&order), 0u);
  const std::string value = ReadGolden("records.txt").at("Order");
  EXPECT_EQ(MemoryDbm::TakeCalls(),
            (Calls{{"SetBinary", 5, kKey, {0, static_cast<uint32_t>(value.size()), 4}, value}}));
  ASSERT_EQ(PlatformFaults::Flushes().size(), 1u);
  EXPECT_EQ(PlatformFaults::Flushes()[0].mode, 2u);
}

TEST_F(OrderRecord, UnusedSlotsAreNotStored) {
  const ByodOrder order = {{kNone, 1, kNone}};
  EXPECT_EQ(BYOD_db_SetOrder(&order), 0u);
  EXPECT_EQ(Parse(MemoryDbm::Values()[kKey]), std::vector<Element>{Number(15, 1)});
}

TEST_F(OrderRecord, EncodersFailureIsReturnedAndNothingIsStored) {
  const ByodOrder order = {{2, 0, 1}};
  PlatformFaults::Fail(PlatformFaults::kAppend, 1, 0x10);
  PlatformFaults::Fail(PlatformFaults::kAppend, 3, 0x02);
  EXPECT_EQ(BYOD_db_SetOrder(&order), 0x12u);
  EXPECT_EQ(MemoryDbm::CallCount("SetBinary"), 0);
}

TEST_F(OrderRecord, MessageThatCannotBeMadeFails) {
  const ByodOrder order = {{2, 0, 1}};
  PlatformFaults::Fail(PlatformFaults::kCreate, 1, 0);
  EXPECT_EQ(BYOD_db_SetOrder(&order), kFailed);
  EXPECT_EQ(MemoryDbm::CallCount("SetBinary"), 0);
}

TEST_F(OrderRecord, MissingOrderFailsWithoutTouchingTheDatabase) {
  EXPECT_EQ(BYOD_db_SetOrder(nullptr), kFailed);
  EXPECT_EQ(MemoryDbm::TakeCalls(), Calls{});
  EXPECT_EQ(PlatformFaults::Made(), 0);
}

TEST_F(OrderRecord, FailureToStoreIsReported) {
  const ByodOrder order = {{2, 0, 1}};
  for (const int32_t result : {-1, 1, -5}) {
    MemoryDbm::Fail("SetBinary", 1, result);
    EXPECT_EQ(BYOD_db_SetOrder(&order), kFailed);
  }
}

TEST_F(OrderRecord, StoringChangesNothingInForce) {
  const ByodOrder order = {{2, 0, 1}};
  BYOD_db_SetOrder(&order);
  EXPECT_EQ(Current(), kDefault);
}

// ---- recovery

TEST_F(OrderRecord, RecoveryReadsWithTheHandleAndKeyThatItIsGiven) {
  BYOD_db_ReCoverOrder(-7, "BYOD_Other", 11);
  EXPECT_EQ(MemoryDbm::TakeCalls(), (Calls{{"GetBinary", -7, Key("BYOD_Other"), {0, 512}, ""}}));
}

TEST_F(OrderRecord, StoredOrderIsTheOneInForceAfterRecovery) {
  EXPECT_EQ(Recovered(ReadGolden("records.txt").at("Order")), (Slots{2, 0, 1}));
}

TEST_F(OrderRecord, SlotsThatAreNotStoredBecomeUnused) {
  EXPECT_EQ(Recovered(Serialize({Number(15, 1)})), (Slots{1, kNone, kNone}));
  EXPECT_EQ(Recovered(Serialize({Number(15, 7), Number(15, 2)})), (Slots{2, kNone, kNone}));
}

TEST_F(OrderRecord, MessageWithoutSlotsIsAppliedAsItStands) {
  EXPECT_EQ(Recovered(Serialize({})), (Slots{kNone, kNone, kNone}));
}

TEST_F(OrderRecord, MissingEmptyOrUndecodableValueLeavesTheOrderInForce) {
  BYOD_db_ReCoverOrder(5, kKey.c_str(), 11);
  EXPECT_EQ(Current(), kDefault);
  EXPECT_EQ(Recovered(""), kDefault);
  EXPECT_EQ(Recovered("not a message"), kDefault);
  const std::string whole = Serialize({Number(15, 2), Number(15, 1)});
  for (size_t cut = 0; cut < whole.size(); ++cut) {
    EXPECT_EQ(Recovered(whole.substr(0, cut)), kDefault) << cut;
  }
}

TEST_F(OrderRecord, FailureToReadLeavesTheOrderInForce) {
  for (const int32_t result : {0, -1, -2147483647 - 1}) {
    MemoryDbm::Fail("GetBinary", 1, result);
    EXPECT_EQ(Recovered(Serialize({Number(15, 2)})), kDefault) << result;
    EXPECT_EQ(PlatformFaults::Receives().size(), 0u) << result;  // nothing to take apart
  }
}

TEST_F(OrderRecord, BytesBehindTheMessageDoNotMatter) {
  EXPECT_EQ(Recovered(Serialize({Number(15, 2)}) + std::string(100, 'x')),
            (Slots{2, kNone, kNone}));
}

// Whatever length the database returns, only the 512 bytes of the buffer are looked at.
TEST_F(OrderRecord, ValueLongerThanItsBufferIsNeverReadPastIt) {
  EXPECT_EQ(Recovered(Serialize({Number(15, 2)}) + std::string(600, 'x')),
            (Slots{2, kNone, kNone}));
  std::vector<Element> full = {Number(15, 1), Bytes(99, std::string(512 - 8 - 8 - 4, 'f'))};
  ASSERT_EQ(Serialize(full).size(), 512u);
  EXPECT_EQ(Recovered(Serialize(full)), (Slots{1, kNone, kNone}));
  full.back().bytes.push_back('f');
  EXPECT_EQ(Recovered(Serialize(full)), kDefault);
  full.back().bytes.resize(60'000, 'f');
  EXPECT_EQ(Recovered(Serialize(full)), kDefault);
}

TEST_F(OrderRecord, LengthOfAValueIsTakenModulo65536) {
  const std::string value = Serialize({Number(15, 2)});
  const auto size = static_cast<int32_t>(value.size());
  MemoryDbm::Pretend("GetBinary", 1, 65536 + size);
  EXPECT_EQ(Recovered(value), (Slots{2, kNone, kNone}));
  MemoryDbm::Pretend("GetBinary", 1, 65536 + size - 1);
  EXPECT_EQ(Recovered(value), kDefault);
  MemoryDbm::Pretend("GetBinary", 1, 65536);
  EXPECT_EQ(Recovered(value), kDefault);
}

TEST_F(OrderRecord, WhatIsStoredComesBack) {
  for (uint32_t a = 0; a < 4; ++a) {
    for (uint32_t b = 0; b < 4; ++b) {
      const ByodOrder order = {{a < 3 ? a : kNone, b < 3 ? b : kNone, 2}};
      BYOD_order_Init();
      ASSERT_EQ(BYOD_db_SetOrder(&order), 0u);
      BYOD_db_ReCoverOrder(5, kKey.c_str(), 11);
      Slots expected;
      for (const uint32_t slot : order.slots) {
        if (slot != kNone) expected.push_back(slot);
      }
      expected.resize(3, kNone);
      EXPECT_EQ(Current(), expected);
    }
  }
}

}  // namespace
