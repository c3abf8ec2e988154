// SPDX-License-Identifier: Apache-2.0
// The daemon's service functions, called through the library.
#include "byod_lauthservice.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace {

using Arguments = std::array<uintptr_t, 6>;

struct Seen {
  int slot;
  Arguments arguments;
};
Seen seen;

constexpr uintptr_t kBig = ~uintptr_t{0};

template <int slot>
uintptr_t Slot(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e, uintptr_t f) {
  seen = {slot, {a, b, c, d, e, f}};
  return kBig - static_cast<uintptr_t>(slot);
}

struct Author {
  const void* record;
  const char* group;
  uint32_t message;
};
Author author;

uint32_t AddAuthor(const void* record, const char* group, uint32_t message) {
  author = {record, group, message};
  return 0xFFFFFFF6u;
}

ByodServiceTable Table() {
  ByodServiceTable table = {};
  table.send_real_sync_msg = Slot<0>;
  table.send_batch_sync_msg = Slot<1>;
  table.add_epoll = Slot<2>;
  table.del_epoll = Slot<3>;
  table.add_byod_tlv_head = Slot<4>;
  table.del_byod_tlv_head = Slot<5>;
  table.add_device_author_attr = AddAuthor;
  table.reserved[0] = Slot<7>;
  table.reserved[1] = Slot<8>;
  return table;
}

TEST(Service, NineSlotsStandInTheDocumentedOrder) {
  const ByodServiceTable table = Table();
  void* slots[9];
  static_assert(sizeof slots == sizeof table);
  std::memcpy(slots, &table, sizeof slots);
  void* expected[9] = {reinterpret_cast<void*>(Slot<0>),   reinterpret_cast<void*>(Slot<1>),
                       reinterpret_cast<void*>(Slot<2>),   reinterpret_cast<void*>(Slot<3>),
                       reinterpret_cast<void*>(Slot<4>),   reinterpret_cast<void*>(Slot<5>),
                       reinterpret_cast<void*>(AddAuthor), reinterpret_cast<void*>(Slot<7>),
                       reinterpret_cast<void*>(Slot<8>)};
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(slots[i], expected[i]) << i;
}

TEST(Service, EachEntryPointPassesSixArgumentsAndTheResultUnchanged) {
  const ByodServiceTable table = Table();
  BYOD_lauthservice_SetService(&table);
  ByodServiceFunction entries[] = {
      BYOD_lauthservice_SendRealSyncMsg, BYOD_lauthservice_SendBatchSyncMsg,
      BYOD_lauthservice_AddEpoll,        BYOD_lauthservice_DelEpoll,
      BYOD_lauthservice_AddByodTlvHead,  BYOD_lauthservice_DelByodTlvHead};
  for (int slot = 0; slot < 6; ++slot) {
    seen = {-1, {}};
    const uintptr_t first = kBig - 100u - static_cast<uintptr_t>(slot);
    EXPECT_EQ(entries[slot](first, 2, kBig, 4, 0, 6), kBig - static_cast<uintptr_t>(slot));
    EXPECT_EQ(seen.slot, slot);
    EXPECT_EQ(seen.arguments, (Arguments{first, 2, kBig, 4, 0, 6}));
  }
  BYOD_lauthservice_ResetService();
}

TEST(Service, AuthorizationHookGetsTheRecordBeforeTheGroup) {
  const ByodServiceTable table = Table();
  BYOD_lauthservice_SetService(&table);
  const char group[] = "staff";
  const char record[] = "printer";
  EXPECT_EQ(BYOD_lauthservice_AddDeviceAuthorAttr(group, record, 0x80000001u), 0xFFFFFFF6u);
  EXPECT_EQ(author.record, record);
  EXPECT_EQ(author.group, group);
  EXPECT_EQ(author.message, 0x80000001u);
  BYOD_lauthservice_ResetService();
}

TEST(Service, InstalledTableNeedNotOutliveTheCall) {
  ByodServiceTable table = Table();
  BYOD_lauthservice_SetService(&table);
  std::memset(&table, 0, sizeof table);
  EXPECT_EQ(BYOD_lauthservice_DelEpoll(1, 2, 3, 4, 5, 6), kBig - 3);
  BYOD_lauthservice_ResetService();
}

TEST(Service, ASecondTableReplacesEverySlotOfTheFirst) {
  ByodServiceTable table = Table();
  BYOD_lauthservice_SetService(&table);
  table.add_epoll = Slot<5>;
  table.del_byod_tlv_head = Slot<2>;
  BYOD_lauthservice_SetService(&table);
  BYOD_lauthservice_AddEpoll(1, 2, 3, 4, 5, 6);
  EXPECT_EQ(seen.slot, 5);
  BYOD_lauthservice_DelByodTlvHead(1, 2, 3, 4, 5, 6);
  EXPECT_EQ(seen.slot, 2);
  BYOD_lauthservice_ResetService();
}

// No slot is tested before it is called, so a reset table differs from an installed one only by
// the fault.
TEST(ServiceDeathTest, ResetClearsTheSlots) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const ByodServiceTable table = Table();
  BYOD_lauthservice_SetService(&table);
  BYOD_lauthservice_ResetService();
  EXPECT_DEATH(BYOD_lauthservice_SendRealSyncMsg(1, 2, 3, 4, 5, 6), "");
  EXPECT_DEATH(BYOD_lauthservice_DelByodTlvHead(1, 2, 3, 4, 5, 6), "");
  EXPECT_DEATH(BYOD_lauthservice_AddDeviceAuthorAttr("", "", 1), "");
}

}  // namespace
