// SPDX-License-Identifier: Apache-2.0
// Result codes, the generic getters, the order field and messages inside messages.
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "byod_order.h"
#include "byod_tlv.h"
#include "lauth_tlv.h"
#include "support/message.h"
#include "support/platform_faults.h"

namespace {

using namespace support;
using Elements = std::vector<Element>;
using Slots = std::array<uint32_t, 3>;

constexpr uint32_t kUntouched = 0xA5A5A5A5u;

struct CommonFields : testing::Test {
  void SetUp() override { PlatformFaults::Reset(); }
};

// ---- constants of the wire

TEST_F(CommonFields, ElementTypesAndMessageKindsHaveTheirWireNumbers) {
  EXPECT_EQ((std::vector<int>{BYOD_TLV_OPTYPE, BYOD_TLV_MSGTYPE, BYOD_TLV_RULESRC, BYOD_TLV_DHCPOPT,
                              BYOD_TLV_USERAGENT, BYOD_TLV_MAC, BYOD_TLV_MACMASK, BYOD_TLV_DEVNAME,
                              BYOD_TLV_ERRCODE, BYOD_TLV_COUNT, BYOD_TLV_OPTION55, BYOD_TLV_ORDER,
                              BYOD_TLV_VENDOR, BYOD_TLV_OS, BYOD_TLV_DEVTYPE, BYOD_TLV_ATTRKIND,
                              BYOD_TLV_QUERYARG, BYOD_TLV_RULEWORD, BYOD_TLV_QUERYARG2}),
            (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22}));
  EXPECT_EQ((std::vector<int>{BYOD_OP_UNDO, BYOD_OP_SET, BYOD_OP_GET}),
            (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(
      (std::vector<int>{
          BYOD_MSG_DHCPOPTRULE, BYOD_MSG_UARULE, BYOD_MSG_MACRULE, BYOD_MSG_DEVTYPE_BY_FP,
          BYOD_MSG_DHCPOPT_COUNT, BYOD_MSG_UA_COUNT, BYOD_MSG_MAC_COUNT, BYOD_MSG_DHCPOPT_LIST,
          BYOD_MSG_UA_LIST, BYOD_MSG_MAC_LIST, BYOD_MSG_ORDER, BYOD_MSG_VENDOR_BY_FP,
          BYOD_MSG_DEVATTR_BY_FP, BYOD_MSG_DHCPOPT_VALUE, BYOD_MSG_UA_VALUE, BYOD_MSG_MAC_VALUE,
          BYOD_MSG_DHCPOPT_DEVATTR, BYOD_MSG_UA_DEVATTR, BYOD_MSG_MAC_DEVATTR}),
      (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, 18, 19}));
}

// ---- result code

TEST_F(CommonFields, ResultCodeIsAppendedAsType12) {
  const Message msg({Number(1, 2)});
  EXPECT_EQ(BYOD_tlv_EncapErrCode(msg.get(), 0x40010006u), 0u);
  EXPECT_EQ(msg.elements(), (Elements{Number(1, 2), Number(12, 0x40010006u)}));
}

TEST_F(CommonFields, FailureToAppendTheResultCodeIsTheContainersOwn) {
  const Message msg;
  PlatformFaults::Fail(PlatformFaults::kAppend, 1, 77);
  EXPECT_EQ(BYOD_tlv_EncapErrCode(msg.get(), 0), 77u);
}

TEST_F(CommonFields, ReplyWithoutResultCodeCountsAsFailedWhateverElseItHolds) {
  EXPECT_EQ(BYOD_tlv_GetErrorCode(Message().get()), 0x40010001u);
  EXPECT_EQ(BYOD_tlv_GetErrorCode(Message({Number(13, 0), Text(8, "name")}).get()), 0x40010001u);
}

TEST_F(CommonFields, FirstOfTwoResultCodesCounts) {
  const Message msg({Number(1, 9), Number(12, 0x40010009u), Number(12, 5)});
  EXPECT_EQ(BYOD_tlv_GetErrorCode(msg.get()), 0x40010009u);
}

TEST_F(CommonFields, ResultCodeZeroIsSuccess) {
  EXPECT_EQ(BYOD_tlv_GetErrorCode(Message({Number(12, 0)}).get()), 0u);
}

// ---- numbers

TEST_F(CommonFields, OperationIsReadFromTheFirstType1) {
  uint32_t op = kUntouched;
  EXPECT_EQ(BYOD_tlv_GetOpType(Message({Number(2, 7), Number(1, 3), Number(1, 4)}).get(), &op), 0u);
  EXPECT_EQ(op, 3u);
}

TEST_F(CommonFields, MissingOperationLeavesTheOutputUntouched) {
  uint32_t op = kUntouched;
  EXPECT_EQ(BYOD_tlv_GetOpType(Message({Number(2, 7)}).get(), &op), 0x40010001u);
  EXPECT_EQ(op, kUntouched);
}

TEST_F(CommonFields, NumberOfAnyTypeIsFoundByType) {
  const Message msg({Number(20, 1), Number(0xFFFF, 0xFFFFFFFFu), Number(0xFFFF, 3)});
  uint32_t value = kUntouched;
  EXPECT_EQ(BYOD_tlv_GetUINTValueByType(msg.get(), 0xFFFF, &value), 0u);
  EXPECT_EQ(value, 0xFFFFFFFFu);
  value = kUntouched;
  EXPECT_EQ(BYOD_tlv_GetUINTValueByType(msg.get(), 22, &value), 0x40010001u);
  EXPECT_EQ(value, kUntouched);
}

// ---- texts

struct TextCase {
  size_t length, cap;
  bool accepted;
};

TEST_F(CommonFields, TextIsTakenUpToTheCapacityAndNotWhenEmpty) {
  const TextCase cases[] = {{0, 8, false},    {0, 0, false},        {1, 8, true},
                            {7, 8, true},     {8, 8, true},         {9, 8, false},
                            {1, 0, false},    {1, 1, true},         {2, 1, false},
                            {300, 300, true}, {65535, 65535, true}, {65535, 65534, false}};
  for (const TextCase& c : cases) {
    const Message msg({Bytes(16, std::string(c.length, 'x'))});
    std::string buf(c.cap + 8, '#');
    const uint32_t status =
        BYOD_tlv_GetStrValueByType(msg.get(), 16, static_cast<uint32_t>(c.cap), buf.data());
    EXPECT_EQ(status, c.accepted ? 0u : 0x40010001u) << c.length << " into " << c.cap;
    std::string expected(c.cap + 8, '#');
    if (c.accepted) {
      expected.replace(0, c.length, std::string(c.length - 1, 'x') + '\0');
    }
    EXPECT_EQ(buf, expected) << c.length << " into " << c.cap;
  }
}

TEST_F(CommonFields, TextWithoutNulIsCutByOneCharacter) {
  const Message msg({Bytes(8, "printer")});
  char buf[16] = {};
  EXPECT_EQ(BYOD_tlv_GetStrValueByType(msg.get(), 8, sizeof buf, buf), 0u);
  EXPECT_STREQ(buf, "printe");
}

TEST_F(CommonFields, TextGetterTakesTheFirstOfItsType) {
  const Message msg({Text(5, "other"), Text(8, "first"), Text(8, "second")});
  char buf[16] = {};
  EXPECT_EQ(BYOD_tlv_GetStrValueByType(msg.get(), 8, sizeof buf, buf), 0u);
  EXPECT_STREQ(buf, "first");
}

TEST_F(CommonFields, MissingTextLeavesTheBufferUntouched) {
  char buf[4] = {'k', 'e', 'p', 't'};
  EXPECT_EQ(BYOD_tlv_GetStrValueByType(Message().get(), 8, sizeof buf, buf), 0x40010001u);
  EXPECT_EQ(std::string(buf, 4), "kept");
}

TEST_F(CommonFields, FailedCopyOfATextIsTheLibrarysFailureNotTheContainers) {
  const Message msg({Text(8, "name")});
  char buf[16] = {};
  PlatformFaults::Fail(PlatformFaults::kGetValue, 1, 77);
  EXPECT_EQ(BYOD_tlv_GetStrValueByType(msg.get(), 8, sizeof buf, buf), 0x40010001u);
}

// ---- bytes

TEST_F(CommonFields, BytesAreTakenUpToTheCapacityWithoutTerminator) {
  for (size_t length = 0; length <= 8; ++length) {
    const Message msg({Bytes(6, std::string("\1\2\3\4\5\6\7\10", length))});
    std::string buf(16, '#');
    const uint32_t status =
        BYOD_tlv_GetMacValueByType(msg.get(), 6, 6, reinterpret_cast<uint8_t*>(buf.data()));
    EXPECT_EQ(status, length <= 6 ? 0u : 0x40010001u) << length;
    std::string expected(16, '#');
    if (length <= 6) expected.replace(0, length, std::string("\1\2\3\4\5\6", length));
    EXPECT_EQ(buf, expected) << length;
  }
}

TEST_F(CommonFields, MissingBytesFailAndFirstOfTypeCounts) {
  uint8_t mac[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_EQ(BYOD_tlv_GetMacValueByType(Message({Bytes(6, "abcdef")}).get(), 7, 6, mac),
            0x40010001u);
  EXPECT_EQ(mac[0], 9);
  EXPECT_EQ(BYOD_tlv_GetMacValueByType(Message({Bytes(7, "abcdef"), Bytes(7, "ghijkl")}).get(), 7,
                                       6, mac),
            0u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(mac), 6), "abcdef");
}

TEST_F(CommonFields, FailedCopyOfBytesIsTheContainersOwnCode) {
  const Message msg({Bytes(6, "abcdef")});
  uint8_t mac[6];
  PlatformFaults::Fail(PlatformFaults::kGetValue, 1, 77);
  EXPECT_EQ(BYOD_tlv_GetMacValueByType(msg.get(), 6, 6, mac), 77u);
}

// ---- order

Elements OrderOf(const Slots& slots, uint32_t status = 0) {
  const Message msg;
  EXPECT_EQ(BYOD_tlv_EncapOrder(msg.get(), slots.data()), status);
  return msg.elements();
}

TEST_F(CommonFields, OrderIsSentSlotBySlotWithoutTheUnused) {
  constexpr uint32_t kNone = 0xFFFFFFFFu;
  EXPECT_EQ(BYOD_ORDER_NO_SLOT, kNone);
  EXPECT_EQ(OrderOf({2, 0, 1}), (Elements{Number(15, 2), Number(15, 0), Number(15, 1)}));
  EXPECT_EQ(OrderOf({kNone, 1, kNone}), (Elements{Number(15, 1)}));
  EXPECT_EQ(OrderOf({kNone, kNone, kNone}), Elements{});
  EXPECT_EQ(OrderOf({7, 3, 0xFFFFFFFEu}),
            (Elements{Number(15, 7), Number(15, 3), Number(15, 0xFFFFFFFEu)}));
}

TEST_F(CommonFields, OrderAppendFailuresAreCombinedByOrAndNoneStopsTheOthers) {
  PlatformFaults::Fail(PlatformFaults::kAppend, 1, 0x10);
  PlatformFaults::Fail(PlatformFaults::kAppend, 3, 0x03);
  EXPECT_EQ(OrderOf({0, 1, 2}, 0x13), (Elements{Number(15, 1)}));
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kAppend), 3);
}

Slots ReadOrder(const Elements& elements, Slots slots = {9, 9, 9}) {
  const Message msg(elements);
  EXPECT_EQ(BYOD_tlv_GetOrder(msg.get(), slots.data()), 0u);
  return slots;
}

TEST_F(CommonFields, OrderTakesTheFirstThreeMethodsBelow3) {
  EXPECT_EQ(ReadOrder({Number(15, 5), Number(15, 2), Number(15, 0), Number(15, 1), Number(15, 1)}),
            (Slots{2, 0, 1}));
  EXPECT_EQ(ReadOrder({Number(15, 0), Number(15, 0), Number(15, 0), Number(15, 2)}),
            (Slots{0, 0, 0}));
  EXPECT_EQ(ReadOrder({Number(12, 0), Number(15, 2), Number(1, 1), Number(15, 3),
                       Number(15, 0xFFFFFFFFu)}),
            (Slots{2, 9, 9}));
}

TEST_F(CommonFields, NothingIsWrittenBehindTheThreeSlotsOfAnOrder) {
  const Message msg({Number(15, 2), Number(15, 0), Number(15, 1), Number(15, 1), Number(15, 0)});
  std::array<uint32_t, 5> slots = {9, 9, 9, 77, 78};
  EXPECT_EQ(BYOD_tlv_GetOrder(msg.get(), slots.data()), 0u);
  EXPECT_EQ(slots, (std::array<uint32_t, 5>{2, 0, 1, 77, 78}));
}

TEST_F(CommonFields, OrderSlotsNotReachedKeepWhatTheyHeld) {
  EXPECT_EQ(ReadOrder({}), (Slots{9, 9, 9}));
  EXPECT_EQ(ReadOrder({Number(15, 1)}, {0, 1, 2}), (Slots{1, 1, 2}));
  EXPECT_EQ(ReadOrder({Number(15, 3), Number(15, 4), Number(15, 255)}, {5, 6, 7}),
            (Slots{5, 6, 7}));
}

// ---- messages inside messages

TEST_F(CommonFields, NestedMessageRoundTripsUnchanged) {
  const Elements inner{Number(3, 1), Bytes(6, "abcdef"), Text(8, ""), Bytes(200, ""),
                       Bytes(7, std::string(4000, 'z'))};
  const Message sub(inner);
  const Message msg({Number(12, 0)});
  EXPECT_EQ(BYOD_tlv_PutSubTlv(msg.get(), 100, sub.get()), 0u);
  EXPECT_EQ(sub.elements(), inner);
  EXPECT_EQ(msg.elements(), (Elements{Number(12, 0), Nested(100, inner)}));

  const uintptr_t at = TLV_GetIteratorByType(msg.get(), 100);
  ASSERT_NE(at, 0u);
  const Message out = Message::Take(BYOD_tlv_GetSubTlv(msg.get(), at));
  ASSERT_NE(out.get(), 0u);
  EXPECT_NE(out.get(), msg.get());
  EXPECT_EQ(out.elements(), inner);
}

TEST_F(CommonFields, EmptyNestedMessageRoundTrips) {
  const Message sub, msg;
  EXPECT_EQ(BYOD_tlv_PutSubTlv(msg.get(), 1, sub.get()), 0u);
  const Message out = Message::Take(BYOD_tlv_GetSubTlv(msg.get(), TLV_GetFirst(msg.get())));
  EXPECT_NE(out.get(), 0u);
  EXPECT_EQ(out.elements(), Elements{});
}

TEST_F(CommonFields, PuttingAsksForTheMemoryFormAndWritesItInFull) {
  const Message sub({Number(3, 1)}), msg;
  const auto size = static_cast<uint32_t>(sub.serialized().size());
  EXPECT_EQ(BYOD_tlv_PutSubTlv(msg.get(), 1, sub.get()), 0u);
  ASSERT_EQ(PlatformFaults::Flushes().size(), 1u);
  const PlatformFaults::Flush flush = PlatformFaults::Flushes()[0];
  EXPECT_EQ(flush.message, sub.get());
  EXPECT_EQ(flush.mode, 2u);
  EXPECT_EQ(flush.length, size);
}

TEST_F(CommonFields, PuttingFailsUnlessExactlyTheWholeMessageWasWritten) {
  const Message sub({Number(3, 1)});
  const auto size = static_cast<uint32_t>(sub.serialized().size());
  for (const uint32_t written : {0u, size - 1, size + 1}) {
    const Message msg;
    PlatformFaults::Fail(PlatformFaults::kFlush, 1, written);
    EXPECT_EQ(BYOD_tlv_PutSubTlv(msg.get(), 1, sub.get()), 0x40010001u) << written;
    EXPECT_EQ(msg.elements(), Elements{});
  }
}

TEST_F(CommonFields, PuttingAMessageOfNoLengthFailsBeforeItIsWritten) {
  const Message sub({Number(3, 1)}), msg;
  PlatformFaults::Fail(PlatformFaults::kGetMsgLen, 1, 0);
  EXPECT_EQ(BYOD_tlv_PutSubTlv(msg.get(), 1, sub.get()), 0x40010001u);
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kFlush), 0);
  EXPECT_EQ(msg.elements(), Elements{});
}

TEST_F(CommonFields, PuttingAMessageAbove65535BytesSendsOnlyItsBeginningAndSucceeds) {
  const Message sub({Bytes(1000, std::string(40000, 'a')), Bytes(1001, std::string(40000, 'b'))});
  const Message msg;
  const std::string whole = sub.serialized();
  EXPECT_EQ(BYOD_tlv_PutSubTlv(msg.get(), 1, sub.get()), 0u);
  EXPECT_EQ(msg.elements(), (Elements{Bytes(1, whole.substr(0, whole.size() % 65536))}));
  EXPECT_EQ(BYOD_tlv_GetSubTlv(msg.get(), TLV_GetFirst(msg.get())), 0u);
}

TEST_F(CommonFields, PuttingPassesOnTheContainersAppendResult) {
  const Message sub({Number(3, 1)}), msg;
  PlatformFaults::Fail(PlatformFaults::kAppend, 1, 77);
  EXPECT_EQ(BYOD_tlv_PutSubTlv(msg.get(), 1, sub.get()), 77u);
  EXPECT_EQ(sub.elements(), (Elements{Number(3, 1)}));
}

TEST_F(CommonFields, ElementThatIsNoMessageGivesNone) {
  for (const Element& element : {Number(12, 0), Text(8, "Printer"), Bytes(9, "")}) {
    const Message msg({element});
    EXPECT_EQ(BYOD_tlv_GetSubTlv(msg.get(), TLV_GetFirst(msg.get())), 0u) << element.type;
  }
}

TEST_F(CommonFields, TakingGivesNoneWhenTheCopyFails) {
  const Message msg({Nested(9, {Number(3, 1)})});
  PlatformFaults::Fail(PlatformFaults::kGetValue, 1, 77);
  EXPECT_EQ(BYOD_tlv_GetSubTlv(msg.get(), TLV_GetFirst(msg.get())), 0u);
}

TEST_F(CommonFields, ClearedMessageIsEmptyAndCanBeFilledAgain) {
  const Message msg({Number(1, 2), Text(5, "a"), Number(15, 1), Number(15, 2)});
  EXPECT_EQ(BYOD_tlv_ClearTlv(msg.get()), 0u);
  EXPECT_EQ(msg.elements(), Elements{});
  EXPECT_EQ(BYOD_tlv_EncapErrCode(msg.get(), 6), 0u);
  EXPECT_EQ(msg.elements(), (Elements{Number(12, 6)}));
}

TEST_F(CommonFields, ClearingAnEmptyMessageSucceedsWithoutDeleting) {
  const Message msg;
  EXPECT_EQ(BYOD_tlv_ClearTlv(msg.get()), 0u);
  EXPECT_EQ(PlatformFaults::Count(PlatformFaults::kDelete), 0);
}

TEST_F(CommonFields, ClearingReturnsTheLastDeletionsResultAlone) {
  const Message first({Number(1, 2), Number(2, 3)});
  PlatformFaults::Fail(PlatformFaults::kDelete, 1, 77);
  EXPECT_EQ(BYOD_tlv_ClearTlv(first.get()), 0u);
  EXPECT_EQ(first.elements(), (Elements{Number(1, 2)}));

  const Message last({Number(1, 2), Number(2, 3)});
  PlatformFaults::Fail(PlatformFaults::kDelete, 2, 77);
  EXPECT_EQ(BYOD_tlv_ClearTlv(last.get()), 77u);
}

}  // namespace
