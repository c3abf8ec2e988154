// SPDX-License-Identifier: Apache-2.0
#include "lauth_hash.h"

#include <gtest/gtest.h>
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/failing_allocator.h"

namespace {

struct Record {
  HASH_Link link{};
  std::string key;
  int number = 0;
};

constexpr uint32_t kBuckets = 7;

uint32_t FirstLetter(const char* key) {
  return static_cast<uint32_t>(static_cast<unsigned char>(key[0])) % kBuckets;
}

uint32_t OutOfRange(const char*) {
  return kBuckets;
}

int SameKey(const void* record, const void* key) {
  return strcasecmp(static_cast<const Record*>(record)->key.c_str(), static_cast<const char*>(key));
}

void PushFront(HASH_Table* table, Record& record) {
  HASH_Link** bucket = &table->buckets[table->hash(record.key.c_str())];
  record.link.next = *bucket;
  record.link.prev = bucket;
  if (*bucket != nullptr) (*bucket)->prev = &record.link.next;
  *bucket = &record.link;
}

void Unlink(HASH_Link* link) {
  *link->prev = link->next;
  if (link->next != nullptr) link->next->prev = link->prev;
}

std::vector<std::string> released;

void NoteReleased(void* record) {
  released.push_back(static_cast<Record*>(record)->key);
}

}  // namespace

TEST(HashTable, ShowsEmptyBucketsAndItsHashFunction) {
  HASH_Table* table = HASH_Create(kBuckets, FirstLetter);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->bucket_count, kBuckets);
  EXPECT_EQ(table->hash, &FirstLetter);
  EXPECT_TRUE(std::all_of(table->buckets, table->buckets + kBuckets,
                          [](const HASH_Link* head) { return head == nullptr; }));
  HASH_Destroy(table, nullptr);
}

TEST(HashTable, NeedsBucketsAndAHashFunction) {
  EXPECT_EQ(HASH_Create(0, FirstLetter), nullptr);
  EXPECT_EQ(HASH_Create(kBuckets, nullptr), nullptr);
}

TEST(HashTable, FindsTheNewestOfEqualKeys) {
  HASH_Table* table = HASH_Create(kBuckets, FirstLetter);
  Record older{{}, "iPad", 1}, other{{}, "iPod", 2}, newer{{}, "IPAD", 3};
  PushFront(table, older);
  PushFront(table, other);
  PushFront(table, newer);
  // 'I' and 'i' lie in different buckets with this hash function.
  EXPECT_EQ(HASH_Find(table, "iPad", SameKey), &older);
  EXPECT_EQ(HASH_Find(table, "IPad", SameKey), &newer);
  Record newest{{}, "iPAD", 4};
  PushFront(table, newest);
  EXPECT_EQ(HASH_Find(table, "iPad", SameKey), &newest);
  EXPECT_EQ(HASH_Find(table, "iPod", SameKey), &other);
  EXPECT_EQ(HASH_Find(table, "iMac", SameKey), nullptr);
  HASH_Destroy(table, nullptr);
}

TEST(HashTable, FindsNothingWhereTheHashIsNoBucket) {
  HASH_Table* table = HASH_Create(kBuckets, OutOfRange);
  EXPECT_EQ(HASH_Find(table, "a", SameKey), nullptr);
  HASH_Destroy(table, nullptr);
}

TEST(HashTable, OfNullFindsNothingAndIsDestroyedHarmlessly) {
  EXPECT_EQ(HASH_Find(nullptr, "a", SameKey), nullptr);
  HASH_Destroy(nullptr, NoteReleased);
  HASH_Table* table = HASH_Create(kBuckets, FirstLetter);
  EXPECT_EQ(HASH_Find(table, "a", nullptr), nullptr);
  HASH_Destroy(table, NoteReleased);
  EXPECT_TRUE(released.empty());
}

TEST(HashTable, DestroyReleasesEveryRecordOnceFromTheHeadOfEachBucket) {
  HASH_Table* table = HASH_Create(kBuckets, FirstLetter);
  Record b1{{}, "b1"}, b2{{}, "b2"}, c1{{}, "c1"}, b3{{}, "b3"};
  for (Record* record : {&b1, &b2, &c1, &b3})
    PushFront(table, *record);
  released.clear();
  HASH_Destroy(table, NoteReleased);
  EXPECT_EQ(released, (std::vector<std::string>{"b3", "b2", "b1", "c1"}));
}

TEST(HashTable, DestroyLetsTheCallbackFreeAndUnlinkTheRecord) {
  HASH_Table* table = HASH_Create(1, [](const char*) { return 0u; });
  for (int i = 0; i < 100; ++i)
    PushFront(table, *new Record{{}, std::to_string(i), i});
  static int count;
  count = 0;
  HASH_Destroy(table, [](void* record) {
    ++count;
    Unlink(static_cast<HASH_Link*>(record));
    delete static_cast<Record*>(record);
  });
  EXPECT_EQ(count, 100);
}

TEST(HashTable, AgreesWithAMapOverManyPushesUnlinksAndFinds) {
  std::mt19937 random(20240501);
  HASH_Table* table = HASH_Create(kBuckets, FirstLetter);
  std::map<std::string, std::vector<Record*>> model;  // newest last
  for (int step = 0; step < 20000; ++step) {
    const std::string key{static_cast<char>('a' + random() % 20),
                          static_cast<char>('a' + random() % 20)};
    std::vector<Record*>& same = model[key];
    if (random() % 2 == 0) {
      same.push_back(new Record{{}, key, step});
      PushFront(table, *same.back());
    } else if (!same.empty()) {
      Unlink(&same.back()->link);
      delete same.back();
      same.pop_back();
    }
    ASSERT_EQ(HASH_Find(table, key.c_str(), SameKey), same.empty() ? nullptr : same.back());
  }
  HASH_Destroy(table, [](void* record) { delete static_cast<Record*>(record); });
}

TEST(HashTable, IsNotMadeWithoutMemory) {
  uint32_t n = 1;
  for (bool failed = true; failed; ++n) {
    support::FailingAllocation failing(n);
    HASH_Table* table = HASH_Create(1024, FirstLetter);
    failing.Disarm();
    failed = failing.Failed();
    EXPECT_EQ(table == nullptr, failed) << "allocation " << n;
    HASH_Destroy(table, nullptr);
  }
  EXPECT_GT(n, 2u);
}
