// SPDX-License-Identifier: Apache-2.0
// Binary values, keys, and bulk changes.
#include <gmock/gmock.h>

#include "support/dbm_fixture.h"

namespace dbm_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class Value : public DbmTest {
 protected:
  void SetUp() override { OpenIt(); }
};

TEST_F(Value, SettingReplaces) {
  ASSERT_EQ(SetValue(handle_, "V", "a long first value"), DBM_OK);
  ASSERT_EQ(SetValue(handle_, "V", std::string("\0x", 2)), DBM_OK);
  EXPECT_EQ(GetValue(handle_, "V"), std::string("\0x", 2));
}

TEST_F(Value, ReadingReturnsTheStoredLengthAndCopiesWhatFits) {
  ASSERT_EQ(SetValue(handle_, "V", "0123456789"), DBM_OK);
  char buffer[] = "......";
  EXPECT_EQ(DBM_GetBinary(handle_, "V", 2, 0, 4, buffer), 10);
  EXPECT_STREQ(buffer, "0123..");
  EXPECT_EQ(DBM_GetBinary(handle_, "V", 2, 0, 0, nullptr), 10);
}

TEST_F(Value, AnEmptyValueIsNotNoValue) {
  EXPECT_EQ(GetValue(handle_, "V"), "(none)");
  EXPECT_EQ(DBM_GetBinary(handle_, "V", 2, 0, 0, nullptr), DBM_ERR_NOTFOUND);
  ASSERT_EQ(DBM_SetBinary(handle_, "V", 2, 0, 0, nullptr, 4), DBM_OK);
  EXPECT_EQ(DBM_GetBinary(handle_, "V", 2, 0, 0, nullptr), 0);
  EXPECT_EQ(HasKey(handle_, "V"), 1);
}

TEST_F(Value, OtherCodesThanTheStoredOnesAreRefused) {
  ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
  EXPECT_EQ(DBM_SetBinary(handle_, "V", 2, 1, 1, "x", 4), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_SetBinary(handle_, "V", 2, 0, 1, "x", 5), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_GetBinary(handle_, "V", 2, 1, 0, nullptr), DBM_ERR_REFUSED);
  EXPECT_EQ(GetValue(handle_, "V"), "value");
}

TEST_F(Value, AListsKeyTakesNone) {
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  EXPECT_EQ(SetValue(handle_, "L", "value"), DBM_ERR_REFUSED);
  EXPECT_EQ(GetValue(handle_, "L"), "(none)");
}

TEST_F(Value, KeysAreBytesOfTheGivenLength) {
  ASSERT_EQ(DBM_SetBinary(handle_, "a\0b", 3, 0, 1, "1", 4), DBM_OK);
  ASSERT_EQ(DBM_SetBinary(handle_, "a\0c", 3, 0, 1, "2", 4), DBM_OK);
  ASSERT_EQ(DBM_SetBinary(handle_, "a", 1, 0, 1, "3", 4), DBM_OK);
  ASSERT_EQ(DBM_SetBinary(handle_, "a", 2, 0, 1, "4", 4), DBM_OK);
  char got = '.';
  EXPECT_EQ(DBM_GetBinary(handle_, "a\0b", 3, 0, 1, &got), 1);
  EXPECT_EQ(got, '1');
  EXPECT_EQ(DBM_GetBinary(handle_, "a", 1, 0, 1, &got), 1);
  EXPECT_EQ(got, '3');
  EXPECT_EQ(DBM_GetBinary(handle_, "a\0b", 2, 0, 1, &got), 1);
  EXPECT_EQ(got, '4');
}

TEST_F(Value, KeysOfNoLengthOrTooMuchAreRefused) {
  const std::string longest(DBM_MAX_KEY, 'k');
  EXPECT_EQ(DBM_SetBinary(handle_, longest.data(), DBM_MAX_KEY, 0, 1, "x", 4), DBM_OK);
  EXPECT_EQ(DBM_IsKeyExist(handle_, longest.data(), DBM_MAX_KEY), 1);
  EXPECT_EQ(DBM_SetBinary(handle_, longest.data(), DBM_MAX_KEY + 1, 0, 1, "x", 4), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_SetBinary(handle_, "", 0, 0, 1, "x", 4), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_SetBinary(handle_, nullptr, 4, 0, 1, "x", 4), DBM_ERR_REFUSED);
}

TEST_F(Value, DeletingAKeyRemovesAListWithItsRecordsOrAValue) {
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);
  ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
  EXPECT_EQ(DeleteKey(handle_, "L"), DBM_OK);
  EXPECT_EQ(HasKey(handle_, "L"), 0);
  EXPECT_EQ(HasKey(handle_, "V"), 1);
  EXPECT_EQ(DeleteKey(handle_, "V"), DBM_OK);
  EXPECT_EQ(HasKey(handle_, "V"), 0);
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  EXPECT_THAT(Records(handle_, "L"), IsEmpty());
}

TEST_F(Value, DeletingAnAbsentKeyIsNotFound) {
  EXPECT_EQ(DeleteKey(handle_, "L"), DBM_ERR_NOTFOUND);
}

TEST_F(Value, DeletingAnEmptyListSucceeds) {
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  EXPECT_EQ(DeleteKey(handle_, "L"), DBM_OK);
}

using Walked = std::vector<std::pair<std::string, uint32_t>>;

TEST_F(Value, AWalkGivesEveryKeyInOrderWithItsKind) {
  ASSERT_EQ(SetValue(handle_, "b", "value"), DBM_OK);
  ASSERT_EQ(CreateList(handle_, "c"), DBM_OK);
  ASSERT_EQ(CreateList(handle_, "a"), DBM_OK);
  Walked walked;
  const auto collect = [](void* context, const void* key, uint32_t length, uint32_t kind) {
    static_cast<Walked*>(context)->emplace_back(std::string(static_cast<const char*>(key), length),
                                                kind);
    return 0;
  };
  EXPECT_EQ(LAUTH_db_WalkKeys(handle_, collect, &walked), DBM_OK);
  EXPECT_THAT(walked, ElementsAre(Pair(KeyOf("a"), LAUTH_DB_LIST), Pair(KeyOf("b"), LAUTH_DB_VALUE),
                                  Pair(KeyOf("c"), LAUTH_DB_LIST)));
}

TEST_F(Value, AWalksCallbackMayUseTheHandleAndEndTheWalk) {
  for (const char* list : {"a", "b", "c"})
    ASSERT_EQ(CreateList(handle_, list), DBM_OK);
  struct Context {
    int32_t handle;
    int calls;
  } context{handle_, 0};
  const auto remove = [](void* given, const void* key, uint32_t length, uint32_t) {
    auto* state = static_cast<Context*>(given);
    EXPECT_EQ(DBM_DeleteKey(state->handle, key, length), DBM_OK);
    return ++state->calls == 2 ? 77 : 0;
  };
  EXPECT_EQ(LAUTH_db_WalkKeys(handle_, remove, &context), 77);
  EXPECT_EQ(context.calls, 2);
  EXPECT_EQ(HasKey(handle_, "b"), 0);
  EXPECT_EQ(HasKey(handle_, "c"), 1);
  EXPECT_EQ(LAUTH_db_WalkKeys(handle_, nullptr, nullptr), DBM_ERR_REFUSED);
}

class Bulk : public Value {};

TEST_F(Bulk, IsSavedByOneFlush) {
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  const uint64_t before = LAUTH_db_FlushCount();
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(Insert(handle_, "L", Record(std::to_string(i))), DBM_OK);
  }
  EXPECT_EQ(LAUTH_db_FlushCount(), before);
  ASSERT_EQ(LAUTH_db_Commit(handle_), DBM_OK);
  EXPECT_EQ(LAUTH_db_FlushCount(), before + 1);
  EXPECT_EQ(Records(handle_, "L").size(), 100U);
}

TEST_F(Bulk, EveryChangeOutsideIsAFlushAndAFailedOneIsNot) {
  const uint64_t before = LAUTH_db_FlushCount();
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);
  EXPECT_EQ(LAUTH_db_FlushCount(), before + 2);
  EXPECT_EQ(Remove(handle_, "L", Record("b")), DBM_ERR_NOTFOUND);
  EXPECT_EQ(CreateList(handle_, "L"), DBM_OK);
  EXPECT_EQ(LAUTH_db_FlushCount(), before + 2);
}

TEST_F(Bulk, RollbackWithdrawsAllOfIt) {
  ASSERT_EQ(SetValue(handle_, "V", "old"), DBM_OK);
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  EXPECT_EQ(GetValue(handle_, "V"), "new");
  ASSERT_EQ(LAUTH_db_Rollback(handle_), DBM_OK);
  EXPECT_EQ(GetValue(handle_, "V"), "old");
  EXPECT_EQ(HasKey(handle_, "L"), 0);
}

TEST_F(Bulk, ClosingWithdrawsIt) {
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  Close();
  OpenIt();
  EXPECT_EQ(GetValue(handle_, "V"), "(none)");
}

TEST_F(Bulk, AFailedCallWithinLeavesTheOthers) {
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  EXPECT_EQ(SetValue(handle_, "L", "value"), DBM_ERR_REFUSED);
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);
  ASSERT_EQ(LAUTH_db_Commit(handle_), DBM_OK);
  EXPECT_THAT(Records(handle_, "L"), ElementsAre(Record("a")));
}

TEST_F(Bulk, DoesNotNestAndEndsOnlyWhatBegan) {
  EXPECT_EQ(LAUTH_db_Commit(handle_), DBM_ERR_REFUSED);
  EXPECT_EQ(LAUTH_db_Rollback(handle_), DBM_ERR_REFUSED);
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  EXPECT_EQ(LAUTH_db_Begin(handle_), DBM_ERR_REFUSED);
  EXPECT_EQ(LAUTH_db_Commit(handle_), DBM_OK);
}

TEST_F(Bulk, OtherHandlesSeeNothingOfItBeforeTheCommit) {
  int32_t other = -1;
  ASSERT_EQ(Open(other), DBM_OK);
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  ASSERT_EQ(SetValue(handle_, "V", "new"), DBM_OK);
  EXPECT_EQ(GetValue(other, "V"), "(none)");
  ASSERT_EQ(LAUTH_db_Commit(handle_), DBM_OK);
  EXPECT_EQ(GetValue(other, "V"), "new");
  EXPECT_EQ(DBM_Close(other), DBM_OK);
}

}  // namespace
}  // namespace dbm_test
