// SPDX-License-Identifier: Apache-2.0
// Sort lists: what they keep, in which order, and how they are walked.
#include <gmock/gmock.h>

#include <map>
#include <random>

#include "support/dbm_fixture.h"

namespace dbm_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SortList : public DbmTest {
 protected:
  void SetUp() override {
    OpenIt();
    ASSERT_EQ(CreateList(handle_, "L"), DBM_OK);
  }
  int32_t Create(uint32_t offset, uint32_t length, uint32_t code, uint32_t zero, uint32_t count,
                 uint32_t number) {
    const uint32_t descriptor[4] = {offset, length, code, zero};
    return DBM_CreateSortList(handle_, "N", 2, descriptor, count, number);
  }
};

TEST_F(SortList, GivesRecordsInTheOrderOfTheirKeyBytes) {
  for (const char* key : {"b", "a\xFF", "B", "ab", "", "a", "\x80", "a b"}) {
    ASSERT_EQ(Insert(handle_, "L", Record(key)), DBM_OK);
  }
  EXPECT_THAT(Records(handle_, "L"),
              ElementsAre(Record(""), Record("B"), Record("a"), Record("a b"), Record("ab"),
                          Record("a\xFF"), Record("b"), Record("\x80")));
}

TEST_F(SortList, CountsWhatWalksHaveGiven) {
  EXPECT_EQ(LAUTH_db_WalkCount(handle_), 0);
  for (const char* key : {"a", "b", "c"})
    ASSERT_EQ(Insert(handle_, "L", Record(key)), DBM_OK);
  EXPECT_EQ(Records(handle_, "L").size(), 3U);
  EXPECT_EQ(LAUTH_db_WalkCount(handle_), 3);
  ASSERT_EQ(LAUTH_db_BeginReading(handle_), DBM_OK);
  EXPECT_EQ(Records(handle_, "L").size(), 3U);
  EXPECT_EQ(LAUTH_db_EndReading(handle_), DBM_OK);
  EXPECT_EQ(LAUTH_db_WalkCount(handle_), 6);
  EXPECT_EQ(LAUTH_db_WalkCount(-1), DBM_ERR_REFUSED);
}

TEST_F(SortList, ReplacesTheRecordWithTheSameSortKey) {
  ASSERT_EQ(Insert(handle_, "L", Record("a", "first, and long")), DBM_OK);
  ASSERT_EQ(Insert(handle_, "L", Record("a", "second")), DBM_OK);
  EXPECT_THAT(Records(handle_, "L"), ElementsAre(Record("a", "second")));
}

TEST_F(SortList, TakesTheSortKeyUpToTheFirstNul) {
  const std::string stored = Record(std::string("a\0garbage", 9), "old");
  ASSERT_EQ(Insert(handle_, "L", stored), DBM_OK);
  EXPECT_EQ(Get(handle_, "L", "a"), stored);
  ASSERT_EQ(Insert(handle_, "L", Record("a", "new")), DBM_OK);
  EXPECT_THAT(Records(handle_, "L"), ElementsAre(Record("a", "new")));
}

TEST_F(SortList, TakesAFieldWithoutNulWhole) {
  const std::string full(kKeyWidth, 'x');
  ASSERT_EQ(Insert(handle_, "L", full + "tail"), DBM_OK);
  ASSERT_EQ(Insert(handle_, "L", Record(full.substr(1))), DBM_OK);
  EXPECT_EQ(Get(handle_, "L", full), full + "tail");
  EXPECT_EQ(Records(handle_, "L").size(), 2U);
}

TEST_F(SortList, FindsTheSortKeyAtItsOffset) {
  ASSERT_EQ(Create(4, 8, 6, 0, 1, 9), DBM_OK);
  std::string record("1234key\0\0\0\0\0tail", 16);
  ASSERT_EQ(DBM_InsertSortList(handle_, "N", 2, 16, record.data(), 9), DBM_OK);
  std::string probe("....key\0\0\0\0\0....", 16);
  EXPECT_EQ(DBM_GetSortList(handle_, "N", 2, 16, probe.data()), 16);
  EXPECT_EQ(probe, record);
}

TEST_F(SortList, KeepsEachRecordsOwnLength) {
  const std::vector<std::string> records = {Record("a"), Record("b", "1"),
                                            Record("c", std::string(5872, 'c'))};
  for (const std::string& record : records)
    ASSERT_EQ(Insert(handle_, "L", record), DBM_OK);
  EXPECT_EQ(Records(handle_, "L"), records);
  EXPECT_EQ(Get(handle_, "L", "b"), records[1]);
}

TEST_F(SortList, CopiesNoMoreThanTheBufferHoldsAndLeavesTheRest) {
  ASSERT_EQ(Insert(handle_, "L", Record("a", "0123456789")), DBM_OK);
  std::string buffer = Record("a", "........");
  EXPECT_EQ(DBM_GetSortList(handle_, "L", 2, kKeyWidth + 4, buffer.data()),
            static_cast<int32_t>(kKeyWidth + 4));
  EXPECT_EQ(buffer, Record("a", "0123...."));
  uintptr_t iterator = 0;
  std::string small(3, '.');
  EXPECT_EQ(DBM_GetNextSortList(handle_, "L", 2, &iterator, 0, 0, 2, small.data()), 2);
  EXPECT_EQ(small, std::string("a\0.", 3));
  EXPECT_EQ(DBM_FreeIterator(handle_, &iterator), DBM_OK);
}

TEST_F(SortList, FindsNothingWhereNothingIs) {
  std::string buffer = Record("a");
  EXPECT_EQ(DBM_GetSortList(handle_, "L", 2, Size(buffer), buffer.data()), 0);
  EXPECT_EQ(DBM_GetSortList(handle_, "M", 2, Size(buffer), buffer.data()), 0);
  EXPECT_EQ(buffer, Record("a"));
  uintptr_t iterator = 0;
  EXPECT_EQ(DBM_GetNextSortList(handle_, "L", 2, &iterator, 0, 0, Size(buffer), buffer.data()), 0);
  EXPECT_EQ(DBM_GetNextSortList(handle_, "M", 2, &iterator, 0, 0, Size(buffer), buffer.data()), 0);
  EXPECT_EQ(iterator, 0U);
}

TEST_F(SortList, RemovesByTheSortKeyAlone) {
  ASSERT_EQ(Insert(handle_, "L", Record("a", "stored")), DBM_OK);
  EXPECT_EQ(Remove(handle_, "L", Record("a", "quite another length")), DBM_OK);
  EXPECT_THAT(Records(handle_, "L"), IsEmpty());
}

TEST_F(SortList, RemovingWhatIsNotThereIsNotFound) {
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);
  EXPECT_EQ(Remove(handle_, "L", Record("b")), DBM_ERR_NOTFOUND);
  EXPECT_EQ(Remove(handle_, "M", Record("a")), DBM_ERR_NOTFOUND);
  EXPECT_EQ(Records(handle_, "L").size(), 1U);
}

TEST_F(SortList, ListsDoNotMix) {
  ASSERT_EQ(CreateList(handle_, "M"), DBM_OK);
  ASSERT_EQ(Insert(handle_, "L", Record("a", "L")), DBM_OK);
  ASSERT_EQ(Insert(handle_, "M", Record("a", "M")), DBM_OK);
  EXPECT_THAT(Records(handle_, "L"), ElementsAre(Record("a", "L")));
  EXPECT_EQ(DeleteKey(handle_, "L"), DBM_OK);
  EXPECT_THAT(Records(handle_, "M"), ElementsAre(Record("a", "M")));
}

TEST_F(SortList, ALaterListDoesNotGetADeletedOnesRecords) {
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);
  ASSERT_EQ(DeleteKey(handle_, "L"), DBM_OK);
  ASSERT_EQ(CreateList(handle_, "M"), DBM_OK);
  EXPECT_THAT(Records(handle_, "M"), IsEmpty());
}

TEST_F(SortList, InsertingIntoNoListIsNotFound) {
  EXPECT_EQ(Insert(handle_, "M", Record("a")), DBM_ERR_NOTFOUND);
  ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
  EXPECT_EQ(Insert(handle_, "V", Record("a")), DBM_ERR_NOTFOUND);
  EXPECT_EQ(GetValue(handle_, "V"), "value");
}

TEST_F(SortList, InsertingUnderAnotherListNumberIsRefused) {
  EXPECT_EQ(Insert(handle_, "L", Record("a"), kListNumber + 1), DBM_ERR_REFUSED);
  EXPECT_THAT(Records(handle_, "L"), IsEmpty());
}

TEST_F(SortList, ARecordWithoutRoomForItsSortKeyIsRefused) {
  std::string record(kKeyWidth - 1, 'a');
  EXPECT_EQ(Insert(handle_, "L", record), DBM_ERR_REFUSED);
  EXPECT_EQ(Remove(handle_, "L", record), DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_GetSortList(handle_, "L", 2, Size(record), record.data()), DBM_ERR_REFUSED);
}

TEST_F(SortList, ARecordOfTheLargestSizeIsKeptAndALargerOneRefused) {
  std::string record = Record("a");
  record.resize(DBM_MAX_DATA + 1, 'x');
  EXPECT_EQ(Insert(handle_, "L", record), DBM_ERR_REFUSED);
  record.resize(DBM_MAX_DATA);
  EXPECT_EQ(Insert(handle_, "L", record), DBM_OK);
  std::string buffer = Record("a");
  buffer.resize(DBM_MAX_DATA);
  EXPECT_EQ(DBM_GetSortList(handle_, "L", 2, Size(buffer), buffer.data()), DBM_MAX_DATA);
  EXPECT_TRUE(buffer == record);
}

TEST_F(SortList, CreatingTheVerySameListAgainChangesNothing) {
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);
  EXPECT_EQ(CreateList(handle_, "L"), DBM_OK);
  EXPECT_EQ(Records(handle_, "L").size(), 1U);
}

TEST_F(SortList, CreatingItWithOtherNumbersIsRefused) {
  ASSERT_EQ(Create(0, 16, 6, 0, 1, 3), DBM_OK);
  EXPECT_EQ(Create(1, 16, 6, 0, 1, 3), DBM_ERR_REFUSED);
  EXPECT_EQ(Create(0, 15, 6, 0, 1, 3), DBM_ERR_REFUSED);
  EXPECT_EQ(Create(0, 16, 6, 0, 1, 2), DBM_ERR_REFUSED);
}

TEST_F(SortList, DescriptorsThatMeanNothingAreRefused) {
  EXPECT_EQ(Create(0, 16, 5, 0, 1, 3), DBM_ERR_REFUSED);
  EXPECT_EQ(Create(0, 16, 6, 1, 1, 3), DBM_ERR_REFUSED);
  EXPECT_EQ(Create(0, 16, 6, 0, 2, 3), DBM_ERR_REFUSED);
  EXPECT_EQ(Create(0, 0, 6, 0, 1, 3), DBM_ERR_REFUSED);
  EXPECT_EQ(Create(0, DBM_MAX_KEY + 1, 6, 0, 1, 3), DBM_ERR_REFUSED);
  EXPECT_EQ(Create(UINT32_MAX, 16, 6, 0, 1, 3), DBM_ERR_REFUSED);
  EXPECT_EQ(HasKey(handle_, "N"), 0);
}

TEST_F(SortList, AKeyThatHasAValueCannotBecomeAList) {
  ASSERT_EQ(SetValue(handle_, "V", "value"), DBM_OK);
  EXPECT_EQ(CreateList(handle_, "V"), DBM_ERR_REFUSED);
}

TEST_F(SortList, AnIteratorSurvivesChangesBetweenItsSteps) {
  for (const char* key : {"b", "d", "f"})
    ASSERT_EQ(Insert(handle_, "L", Record(key)), DBM_OK);
  uintptr_t iterator = 0;
  EXPECT_EQ(Next(handle_, "L", iterator), Record("b"));
  ASSERT_EQ(Remove(handle_, "L", Record("b")), DBM_OK);  // the one just read
  ASSERT_EQ(Remove(handle_, "L", Record("d")), DBM_OK);  // the one to come
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);  // before
  ASSERT_EQ(Insert(handle_, "L", Record("c")), DBM_OK);  // ahead
  EXPECT_EQ(Next(handle_, "L", iterator), Record("c"));
  EXPECT_EQ(Next(handle_, "L", iterator), Record("f"));
  EXPECT_EQ(Next(handle_, "L", iterator), "");
  ASSERT_EQ(Insert(handle_, "L", Record("g")), DBM_OK);
  EXPECT_EQ(Next(handle_, "L", iterator), Record("g"));
  EXPECT_EQ(DBM_FreeIterator(handle_, &iterator), DBM_OK);
}

TEST_F(SortList, AnIteratorSurvivesItsListsRemoval) {
  for (const char* key : {"b", "d"})
    ASSERT_EQ(Insert(handle_, "L", Record(key)), DBM_OK);
  uintptr_t iterator = 0;
  EXPECT_EQ(Next(handle_, "L", iterator), Record("b"));
  ASSERT_EQ(DeleteKey(handle_, "L"), DBM_OK);
  EXPECT_EQ(Next(handle_, "L", iterator), "");
  EXPECT_EQ(DBM_FreeIterator(handle_, &iterator), DBM_OK);
}

TEST_F(SortList, IteratorsAreIndependent) {
  for (const char* key : {"a", "b", "c"})
    ASSERT_EQ(Insert(handle_, "L", Record(key)), DBM_OK);
  uintptr_t one = 0;
  uintptr_t two = 0;
  EXPECT_EQ(Next(handle_, "L", one), Record("a"));
  EXPECT_EQ(Next(handle_, "L", one), Record("b"));
  EXPECT_EQ(Next(handle_, "L", two), Record("a"));
  EXPECT_EQ(Next(handle_, "L", one), Record("c"));
  EXPECT_EQ(DBM_FreeIterator(handle_, &one), DBM_OK);
  EXPECT_EQ(Next(handle_, "L", two), Record("b"));
  EXPECT_EQ(DBM_FreeIterator(handle_, &two), DBM_OK);
}

TEST_F(SortList, AReadingSeesOneStateWhateverOthersChange) {
  for (const char* key : {"a", "c", "d"})
    ASSERT_EQ(Insert(handle_, "L", Record(key)), DBM_OK);
  int32_t other = -1;
  ASSERT_EQ(Open(other), DBM_OK);
  uintptr_t before = 0;
  EXPECT_EQ(Next(handle_, "L", before), Record("a"));
  ASSERT_EQ(LAUTH_db_BeginReading(handle_), DBM_OK);
  uintptr_t iterator = 0;
  EXPECT_EQ(Next(handle_, "L", iterator), Record("a"));
  EXPECT_EQ(Next(handle_, "L", iterator), Record("c"));
  ASSERT_EQ(Insert(other, "L", Record("b")), DBM_OK);
  ASSERT_EQ(Insert(other, "L", Record("cc")), DBM_OK);
  ASSERT_EQ(Remove(other, "L", Record("d")), DBM_OK);
  EXPECT_EQ(Next(handle_, "L", before), Record("c"));
  EXPECT_EQ(Next(handle_, "L", iterator), Record("d"));
  EXPECT_EQ(Next(handle_, "L", iterator), "");
  EXPECT_EQ(Next(handle_, "L", iterator), "");
  EXPECT_EQ(Get(handle_, "L", "d"), Record("d"));
  ASSERT_EQ(LAUTH_db_EndReading(handle_), DBM_OK);
  EXPECT_EQ(Next(handle_, "L", before), Record("cc"));
  EXPECT_EQ(Next(handle_, "L", before), "");
  EXPECT_EQ(DBM_FreeIterator(handle_, &iterator), DBM_OK);
  EXPECT_EQ(DBM_FreeIterator(handle_, &before), DBM_OK);
  EXPECT_EQ(DBM_Close(other), DBM_OK);
}

TEST_F(SortList, AReadingRefusesChangesUntilItEnds) {
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);
  EXPECT_EQ(LAUTH_db_EndReading(handle_), DBM_ERR_REFUSED);
  ASSERT_EQ(LAUTH_db_BeginReading(handle_), DBM_OK);
  EXPECT_EQ(LAUTH_db_BeginReading(handle_), DBM_ERR_REFUSED);
  EXPECT_EQ(LAUTH_db_Begin(handle_), DBM_ERR_REFUSED);
  EXPECT_EQ(Insert(handle_, "L", Record("b")), DBM_ERR_REFUSED);
  EXPECT_EQ(SetValue(handle_, "V", "v"), DBM_ERR_REFUSED);
  EXPECT_THAT(Records(handle_, "L"), ElementsAre(Record("a")));
  ASSERT_EQ(LAUTH_db_EndReading(handle_), DBM_OK);
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  EXPECT_EQ(LAUTH_db_BeginReading(handle_), DBM_ERR_REFUSED);
  ASSERT_EQ(Insert(handle_, "L", Record("b")), DBM_OK);
  ASSERT_EQ(LAUTH_db_Commit(handle_), DBM_OK);
  EXPECT_THAT(Records(handle_, "L"), ElementsAre(Record("a"), Record("b")));
}

TEST_F(SortList, ClosingEndsAReadingInTheMiddleOfAWalk) {
  for (const char* key : {"a", "b"})
    ASSERT_EQ(Insert(handle_, "L", Record(key)), DBM_OK);
  ASSERT_EQ(LAUTH_db_BeginReading(handle_), DBM_OK);
  uintptr_t iterator = 0;
  EXPECT_EQ(Next(handle_, "L", iterator), Record("a"));
  EXPECT_EQ(Next(handle_, "L", iterator), Record("b"));
  ASSERT_EQ(DBM_Close(handle_), DBM_OK);
  OpenIt();
  EXPECT_EQ(Insert(handle_, "L", Record("c")), DBM_OK);
}

TEST_F(SortList, FreeingAnIteratorMakesItZeroAndFreeingZeroIsHarmless) {
  ASSERT_EQ(Insert(handle_, "L", Record("a")), DBM_OK);
  uintptr_t iterator = 0;
  EXPECT_EQ(DBM_FreeIterator(handle_, &iterator), DBM_OK);
  EXPECT_EQ(Next(handle_, "L", iterator), Record("a"));
  EXPECT_NE(iterator, 0U);
  const uintptr_t stale = iterator;
  EXPECT_EQ(DBM_FreeIterator(handle_, &iterator), DBM_OK);
  EXPECT_EQ(iterator, 0U);
  EXPECT_EQ(DBM_FreeIterator(handle_, &iterator), DBM_OK);
  iterator = stale;
  EXPECT_EQ(DBM_FreeIterator(handle_, &iterator), DBM_ERR_REFUSED);
  EXPECT_EQ(iterator, 0U);
}

TEST_F(SortList, AnIteratorThatIsNotOneIsRefused) {
  ASSERT_EQ(CreateList(handle_, "M"), DBM_OK);
  for (const char* list : {"L", "M"})
    ASSERT_EQ(Insert(handle_, list, Record("a")), DBM_OK);
  std::string buffer = Record("");
  uintptr_t iterator = 0x1234567;
  EXPECT_EQ(DBM_GetNextSortList(handle_, "L", 2, &iterator, 0, 0, 16, buffer.data()),
            DBM_ERR_REFUSED);
  iterator = 0;
  EXPECT_EQ(Next(handle_, "M", iterator), Record("a"));
  EXPECT_EQ(DBM_GetNextSortList(handle_, "L", 2, &iterator, 0, 0, 16, buffer.data()),
            DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_GetNextSortList(handle_, "M", 2, &iterator, 1, 0, 16, buffer.data()),
            DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_GetNextSortList(handle_, "M", 2, &iterator, 0, 1, 16, buffer.data()),
            DBM_ERR_REFUSED);
  EXPECT_EQ(DBM_FreeIterator(handle_, &iterator), DBM_OK);
}

TEST_F(SortList, AgreesWithAnOrderedMapOverManySteps) {
  std::map<std::string, std::string> model;
  std::mt19937 random(20240611);
  ASSERT_EQ(LAUTH_db_Begin(handle_), DBM_OK);
  for (int step = 0; step < 5000; ++step) {
    const std::string key = std::to_string(random() % 300);
    if (random() % 3 == 0) {
      EXPECT_EQ(Remove(handle_, "L", Record(key)), model.erase(key) ? DBM_OK : DBM_ERR_NOTFOUND);
    } else {
      const std::string record = Record(key, std::string(random() % 700, 'a'));
      EXPECT_EQ(Insert(handle_, "L", record), DBM_OK);
      model[key] = record;
    }
  }
  ASSERT_EQ(LAUTH_db_Commit(handle_), DBM_OK);
  Close();
  OpenIt();
  std::vector<std::string> expected;
  for (const auto& [key, record] : model)
    expected.push_back(record);
  EXPECT_EQ(Records(handle_, "L"), expected);
}

}  // namespace
}  // namespace dbm_test
