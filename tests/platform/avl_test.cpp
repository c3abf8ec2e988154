// SPDX-License-Identifier: Apache-2.0
#include "lauth_avl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "support/failing_allocator.h"

namespace {

struct Record {
  AVL_Node node{};
  int key = 0;
  int mask = -1;
};

int ByKey(const void* a, const void* b) {
  const int left = static_cast<const Record*>(a)->key;
  const int right = static_cast<const Record*>(b)->key;
  return (left > right) - (left < right);
}

// Equal where both masks agree, which contradicts itself as soon as masks overlap.
int ByOverlap(const void* a, const void* b) {
  const auto* left = static_cast<const Record*>(a);
  const auto* right = static_cast<const Record*>(b);
  const int mask = left->mask & right->mask;
  return ((left->key & mask) > (right->key & mask)) - ((left->key & mask) < (right->key & mask));
}

bool IsZero(const Record& record) {
  for (const void* word : record.node.words) {
    if (word != nullptr) return false;
  }
  return true;
}

std::vector<int> Keys(void* tree) {
  std::vector<int> keys;
  for (void* at = AVL_GetLeftMost(tree); at != nullptr; at = AVL_GetNext(tree, at)) {
    keys.push_back(static_cast<Record*>(at)->key);
  }
  return keys;
}

// What the release callbacks of a test work on.
void* closing_tree;
std::vector<Record*> released;

void NoteReleased(void* record) {
  released.push_back(static_cast<Record*>(record));
}

// Fills a tree, closes it and hands back the keys in the order in which they were released.
std::vector<int> Close(int count, void (*release)(void*), std::vector<Record>& records) {
  closing_tree = AVL_Init(ByKey, 0, release);
  records.assign(static_cast<size_t>(count), Record{});
  for (int i = 0; i < count; ++i) {
    records[static_cast<size_t>(i)].key = i;
    EXPECT_EQ(AVL_Insert(closing_tree, &records[static_cast<size_t>(i)]), 0u);
  }
  released.clear();
  AVL_Fini(closing_tree);
  std::vector<int> keys;
  for (const Record* record : released)
    keys.push_back(record->key);
  return keys;
}

std::vector<int> Range(int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i)
    numbers.push_back(i);
  return numbers;
}

}  // namespace

TEST(AvlTree, NeedsACompare) {
  EXPECT_EQ(AVL_Init(nullptr, 0, nullptr), nullptr);
}

TEST(AvlTree, KeepsRecordsInOrderWhateverTheOrderOfInsertion) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  std::vector<Record> records(7);
  const int keys[] = {3, 6, 1, 0, 5, 2, 4};
  for (size_t i = 0; i < 7; ++i) {
    records[i].key = keys[i];
    EXPECT_EQ(AVL_Insert(tree, &records[i]), 0u);
  }
  EXPECT_EQ(Keys(tree), Range(7));
  std::vector<int> backwards;
  for (void* at = &records[1]; at != nullptr; at = AVL_GetPrev(tree, at)) {
    backwards.push_back(static_cast<Record*>(at)->key);
  }
  EXPECT_EQ(backwards, (std::vector<int>{6, 5, 4, 3, 2, 1, 0}));
  AVL_Fini(tree);
}

TEST(AvlTree, RefusesAnEqualRecordAndStaysAsItWas) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  Record first{{}, 1, -1}, equal{{}, 1, -1};
  EXPECT_EQ(AVL_Insert(tree, &first), 0u);
  EXPECT_EQ(AVL_Insert(tree, &equal), AVL_ERR_EXISTS);
  EXPECT_TRUE(IsZero(equal));
  EXPECT_EQ(AVL_GetLeftMost(tree), &first);
  EXPECT_EQ(AVL_GetNext(tree, &first), nullptr);
  AVL_Fini(tree);
}

TEST(AvlTree, RefusesARecordThatIsLinkedAlready) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  void* other = AVL_Init(ByKey, 0, nullptr);
  Record alone{{}, 1, -1}, second{{}, 2, -1};
  EXPECT_EQ(AVL_Insert(tree, &alone), 0u);
  EXPECT_EQ(AVL_Insert(tree, &alone), AVL_ERR_LINKED);
  EXPECT_EQ(AVL_Insert(other, &alone), AVL_ERR_LINKED);
  EXPECT_EQ(AVL_Insert(tree, &second), 0u);
  EXPECT_EQ(AVL_Insert(tree, &second), AVL_ERR_LINKED);
  EXPECT_EQ(Keys(tree), (std::vector<int>{1, 2}));
  AVL_Fini(tree);
  AVL_Fini(other);
}

TEST(AvlTree, RemoveZeroesTheNodeSoThatTheRecordCanBeInsertedAgain) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  Record record{{}, 1, -1};
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(AVL_Insert(tree, &record), 0u);
    EXPECT_FALSE(IsZero(record));
    EXPECT_EQ(AVL_Remove(tree, &record), 0u);
    EXPECT_TRUE(IsZero(record));
  }
  AVL_Fini(tree);
}

TEST(AvlTree, RemoveReportsARecordThatIsNotInThisTree) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  void* other = AVL_Init(ByKey, 0, nullptr);
  std::vector<Record> records(40);
  for (int i = 0; i < 40; ++i) {
    Record& record = records[static_cast<size_t>(i)];
    record.key = i / 2;
    EXPECT_EQ(AVL_Insert(i % 2 == 0 ? tree : other, &record), 0u);
  }
  Record never{{}, 3, -1};
  EXPECT_EQ(AVL_Remove(tree, &never), AVL_ERR_NOT_FOUND);
  for (size_t i = 0; i < 40; ++i) {
    EXPECT_EQ(AVL_Remove(i % 2 == 0 ? other : tree, &records[i]), AVL_ERR_NOT_FOUND);
  }
  EXPECT_EQ(Keys(tree), Range(20));
  EXPECT_EQ(Keys(other), Range(20));
  EXPECT_EQ(AVL_Remove(tree, &records[0]), 0u);
  EXPECT_EQ(AVL_Remove(tree, &records[0]), AVL_ERR_NOT_FOUND);
  AVL_Fini(tree);
  AVL_Fini(other);
}

TEST(AvlTree, GetSearchesWithTheCallersCompareAsRecordThenProbe) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  std::vector<Record> records(100);
  for (int i = 0; i < 100; ++i) {
    records[static_cast<size_t>(i)].key = i;
    EXPECT_EQ(AVL_Insert(tree, &records[static_cast<size_t>(i)]), 0u);
  }
  const int probe = 42;  // not a record, so swapped arguments would show
  EXPECT_EQ(AVL_Get(tree, &probe,
                    [](const void* record, const void* key) {
                      return static_cast<const Record*>(record)->key -
                             *static_cast<const int*>(key);
                    }),
            &records[42]);
  Record missing{{}, 100, -1};
  EXPECT_EQ(AVL_Get(tree, &missing, ByKey), nullptr);
  EXPECT_EQ(AVL_Get(tree, &missing, nullptr), nullptr);
  AVL_Fini(tree);
}

TEST(AvlTree, OfNullIsHarmless) {
  Record record{{}, 1, -1};
  EXPECT_EQ(AVL_Insert(nullptr, &record), AVL_ERR_ARGUMENT);
  EXPECT_EQ(AVL_Remove(nullptr, &record), AVL_ERR_ARGUMENT);
  EXPECT_EQ(AVL_Get(nullptr, &record, ByKey), nullptr);
  EXPECT_EQ(AVL_GetNext(nullptr, &record), nullptr);
  EXPECT_EQ(AVL_GetPrev(nullptr, &record), nullptr);
  EXPECT_EQ(AVL_GetLeftMost(nullptr), nullptr);
  EXPECT_EQ(AVL_Walk_Init(nullptr), nullptr);
  EXPECT_EQ(AVL_WalkNode(nullptr), nullptr);
  AVL_Walk_Fini(nullptr);
  AVL_Fini(nullptr);
}

TEST(AvlTree, OfNullRecordsIsHarmless) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  Record unlinked;
  EXPECT_EQ(AVL_Insert(tree, nullptr), AVL_ERR_ARGUMENT);
  EXPECT_EQ(AVL_Remove(tree, nullptr), AVL_ERR_ARGUMENT);
  EXPECT_EQ(AVL_GetLeftMost(tree), nullptr);
  for (Record* record : {static_cast<Record*>(nullptr), &unlinked}) {
    EXPECT_EQ(AVL_GetNext(tree, record), nullptr);
    EXPECT_EQ(AVL_GetPrev(tree, record), nullptr);
  }
  AVL_Fini(tree);
}

TEST(AvlTree, AgreesWithAMapOverManySteps) {
  std::mt19937 random(20240502);
  void* tree = AVL_Init(ByKey, 0, [](void* record) {
    EXPECT_EQ(AVL_Remove(closing_tree, record), 0u);
    delete static_cast<Record*>(record);
  });
  closing_tree = tree;
  std::map<int, Record*> model;
  for (int step = 0; step < 30000; ++step) {
    const int key = static_cast<int>(random() % 500);
    const auto known = model.find(key);
    switch (random() % 4) {
      case 0:
      case 1: {
        auto* record = new Record{{}, key, -1};
        const uint32_t result = AVL_Insert(tree, record);
        ASSERT_EQ(result, known == model.end() ? 0u : AVL_ERR_EXISTS);
        if (result == 0) {
          model[key] = record;
        } else {
          delete record;
        }
        break;
      }
      case 2:
        if (known != model.end()) {
          ASSERT_EQ(AVL_Remove(tree, known->second), 0u);
          delete known->second;
          model.erase(known);
        }
        break;
      default: {
        Record probe{{}, key, -1};
        ASSERT_EQ(AVL_Get(tree, &probe, ByKey), known == model.end() ? nullptr : known->second);
        if (known == model.end()) break;
        const auto after = std::next(known);
        ASSERT_EQ(AVL_GetNext(tree, known->second), after == model.end() ? nullptr : after->second);
        ASSERT_EQ(AVL_GetPrev(tree, known->second),
                  known == model.begin() ? nullptr : std::prev(known)->second);
      }
    }
    ASSERT_EQ(AVL_GetLeftMost(tree), model.empty() ? nullptr : model.begin()->second);
    if (step % 1000 == 0) {
      std::vector<int> expected;
      for (const auto& [number, record] : model)
        expected.push_back(number);
      ASSERT_EQ(Keys(tree), expected);
    }
  }
  AVL_Fini(tree);
}

TEST(AvlTree, AsksTheCompareOncePerLevel) {
  static int asked;
  void* tree = AVL_Init(ByKey, 0, nullptr);
  std::vector<Record> records(10000);
  for (size_t i = 0; i < records.size(); ++i) {
    records[i].key = static_cast<int>(i);
    ASSERT_EQ(AVL_Insert(tree, &records[i]), 0u);
  }
  const auto counting = [](const void* record, const void* probe) {
    ++asked;
    return ByKey(record, probe);
  };
  int most = 0;
  for (Record& record : records) {
    asked = 0;
    ASSERT_EQ(AVL_Get(tree, &record, counting), &record);
    most = std::max(most, asked);
  }
  EXPECT_LE(most, 19);  // 1.45 log2(10000)
  AVL_Fini(tree);
}

TEST(AvlTree, WithOverlappingMasksLosesAndDoublesNoRecord) {
  std::mt19937 random(20240503);
  closing_tree = AVL_Init(ByOverlap, 0, [](void* record) {
    EXPECT_EQ(AVL_Remove(closing_tree, record), 0u);
    delete static_cast<Record*>(record);
  });
  const int masks[] = {-1, 0xFF0, 0xF00, 0x0FF, 0};
  std::set<Record*> linked;
  for (int step = 0; step < 20000; ++step) {
    if (random() % 2 == 0 || linked.empty()) {
      auto* record = new Record{{}, static_cast<int>(random() % 4096), masks[random() % 5]};
      if (AVL_Insert(closing_tree, record) == 0) {
        linked.insert(record);
      } else {
        delete record;
      }
    } else {
      auto victim = linked.begin();
      std::advance(victim, static_cast<long>(random() % linked.size()));
      ASSERT_EQ(AVL_Remove(closing_tree, *victim), 0u);
      delete *victim;
      linked.erase(victim);
    }
    Record probe{{}, static_cast<int>(random() % 4096), -1};
    const void* found = AVL_Get(closing_tree, &probe, step % 2 == 0 ? ByOverlap : ByKey);
    if (found != nullptr) {
      ASSERT_TRUE(linked.count(static_cast<Record*>(const_cast<void*>(found))));
    }
    if (step % 500 == 0) {
      std::set<Record*> walked;
      size_t steps = 0;
      for (void* at = AVL_GetLeftMost(closing_tree); at != nullptr;
           at = AVL_GetNext(closing_tree, at), ++steps) {
        walked.insert(static_cast<Record*>(at));
      }
      ASSERT_EQ(walked, linked);
      ASSERT_EQ(steps, linked.size());
    }
  }
  AVL_Fini(closing_tree);
}

TEST(AvlTree, WithARandomCompareStaysWhole) {
  static std::mt19937 random(20240504);
  const auto whim = [](const void*, const void*) { return static_cast<int>(random() % 5) - 2; };
  void* tree = AVL_Init(whim, 0, nullptr);
  std::vector<Record> records(2000);
  std::set<Record*> linked;
  for (int round = 0; round < 10; ++round) {
    for (Record& record : records) {
      if (linked.count(&record) != 0) {
        ASSERT_EQ(AVL_Insert(tree, &record), AVL_ERR_LINKED);
        if (random() % 2 == 0) continue;
        ASSERT_EQ(AVL_Remove(tree, &record), 0u);
        linked.erase(&record);
      } else if (AVL_Insert(tree, &record) == 0) {
        linked.insert(&record);
      }
    }
    ASSERT_EQ(Keys(tree).size(), linked.size());
  }
  EXPECT_FALSE(linked.empty());
  AVL_Fini(tree);
}

TEST(AvlFini, HandsOutEveryRecordInOrderToACallbackThatRemoves) {
  std::vector<Record> records;
  EXPECT_EQ(Close(
                100,
                [](void* record) {
                  NoteReleased(record);
                  EXPECT_EQ(AVL_Remove(closing_tree, record), 0u);
                },
                records),
            Range(100));
}

TEST(AvlFini, ReportsASecondRemoveOfTheSameRecord) {
  std::vector<Record> records;
  EXPECT_EQ(Close(
                10,
                [](void* record) {
                  NoteReleased(record);
                  EXPECT_EQ(AVL_Remove(closing_tree, record), 0u);
                  EXPECT_EQ(AVL_Remove(closing_tree, record), AVL_ERR_NOT_FOUND);
                },
                records),
            Range(10));
}

TEST(AvlFini, EndsWhenTheCallbackDoesNothing) {
  std::vector<Record> records;
  EXPECT_EQ(Close(100, NoteReleased, records), Range(100));
  for (const Record& record : records)
    EXPECT_TRUE(IsZero(record));
}

TEST(AvlFini, EndsWithoutACallback) {
  std::vector<Record> records;
  EXPECT_TRUE(Close(100, nullptr, records).empty());
  for (const Record& record : records)
    EXPECT_TRUE(IsZero(record));
}

TEST(AvlFini, LetsTheCallbackFreeWithoutRemoving) {
  void* tree = AVL_Init(ByKey, 0, [](void* record) { delete static_cast<Record*>(record); });
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(AVL_Insert(tree, new Record{{}, i * 7 % 100, -1}), 0u);
  AVL_Fini(tree);
}

TEST(AvlFini, LetsTheCallbackRemoveOtherRecords) {
  std::vector<Record> records;
  EXPECT_EQ(Close(
                101,
                [](void* record) {
                  NoteReleased(record);
                  // Every second one is taken away before its turn.
                  if (void* next = AVL_GetLeftMost(closing_tree)) {
                    EXPECT_EQ(AVL_Remove(closing_tree, next), 0u);
                    EXPECT_EQ(AVL_Remove(closing_tree, next), AVL_ERR_NOT_FOUND);
                  }
                },
                records)
                .size(),
            51u);
}

TEST(AvlFini, RefusesInsertsOfTheCallback) {
  std::vector<Record> records;
  EXPECT_EQ(Close(
                20,
                [](void* record) {
                  NoteReleased(record);
                  EXPECT_EQ(AVL_Insert(closing_tree, record), AVL_ERR_CLOSING);
                  EXPECT_EQ(AVL_Remove(closing_tree, record), 0u);
                  EXPECT_EQ(AVL_Insert(closing_tree, record), AVL_ERR_CLOSING);
                },
                records),
            Range(20));
}

TEST(AvlFini, IgnoresAFiniOfTheCallback) {
  std::vector<Record> records;
  EXPECT_EQ(Close(
                20,
                [](void* record) {
                  NoteReleased(record);
                  AVL_Fini(closing_tree);
                },
                records),
            Range(20));
}

TEST(AvlFini, LetsTheCallbackSearchAndWalkWhatIsLeft) {
  static size_t left;
  left = 20;
  std::vector<Record> records;
  Close(
      20,
      [](void* record) {
        --left;
        EXPECT_EQ(Keys(closing_tree).size(), left);
        EXPECT_EQ(AVL_Get(closing_tree, record, ByKey), nullptr);
        EXPECT_EQ(AVL_GetNext(closing_tree, record), nullptr);
      },
      records);
  EXPECT_EQ(left, 0u);
}

TEST(AvlWalk, GivesEveryRecordOnceInOrder) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  std::vector<Record> records(50);
  for (int i = 0; i < 50; ++i) {
    records[static_cast<size_t>(i)].key = i * 3 % 50;
    EXPECT_EQ(AVL_Insert(tree, &records[static_cast<size_t>(i)]), 0u);
  }
  void* walk = AVL_Walk_Init(tree);
  std::vector<int> keys;
  while (void* at = AVL_WalkNode(walk))
    keys.push_back(static_cast<Record*>(at)->key);
  EXPECT_EQ(keys, Range(50));
  EXPECT_EQ(AVL_WalkNode(walk), nullptr);
  AVL_Walk_Fini(walk);
  AVL_Fini(tree);
}

TEST(AvlWalk, OverAnEmptyTreeEndsAtOnce) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  void* walk = AVL_Walk_Init(tree);
  EXPECT_EQ(AVL_WalkNode(walk), nullptr);
  AVL_Walk_Fini(walk);
  AVL_Fini(tree);
}

TEST(AvlWalk, LeavesOutARecordThatIsRemovedBeforeItsTurn) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  std::vector<Record> records(6);
  for (int i = 0; i < 6; ++i) {
    records[static_cast<size_t>(i)].key = i;
    EXPECT_EQ(AVL_Insert(tree, &records[static_cast<size_t>(i)]), 0u);
  }
  void* walk = AVL_Walk_Init(tree);
  void* other = AVL_Walk_Init(tree);
  EXPECT_EQ(AVL_WalkNode(walk), &records[0]);
  EXPECT_EQ(AVL_Remove(tree, &records[0]), 0u);
  EXPECT_EQ(AVL_Remove(tree, &records[1]), 0u);
  EXPECT_EQ(AVL_Remove(tree, &records[2]), 0u);
  EXPECT_EQ(AVL_WalkNode(walk), &records[3]);
  EXPECT_EQ(AVL_Remove(tree, &records[5]), 0u);
  EXPECT_EQ(AVL_WalkNode(walk), &records[4]);
  EXPECT_EQ(AVL_WalkNode(walk), nullptr);
  EXPECT_EQ(AVL_WalkNode(other), &records[3]);
  AVL_Walk_Fini(walk);
  AVL_Walk_Fini(other);
  AVL_Fini(tree);
}

TEST(AvlWalk, EndsWhenItsTreeIsGone) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  Record record;
  EXPECT_EQ(AVL_Insert(tree, &record), 0u);
  void* walk = AVL_Walk_Init(tree);
  AVL_Fini(tree);
  EXPECT_EQ(AVL_WalkNode(walk), nullptr);
  AVL_Walk_Fini(walk);
}

TEST(AvlTree, AndWalkAreNotMadeWithoutMemory) {
  {
    support::FailingAllocation failing(1);
    EXPECT_EQ(AVL_Init(ByKey, 0, nullptr), nullptr);
  }
  void* tree = AVL_Init(ByKey, 0, nullptr);
  {
    support::FailingAllocation failing(1);
    EXPECT_EQ(AVL_Walk_Init(tree), nullptr);
  }
  AVL_Fini(tree);
}

TEST(AvlTree, AllocatesNothingForRecordsAndSteps) {
  void* tree = AVL_Init(ByKey, 0, nullptr);
  std::vector<Record> records(100);
  support::FailingAllocation counting(0);
  for (size_t i = 0; i < records.size(); ++i) {
    records[i].key = static_cast<int>(i);
    AVL_Insert(tree, &records[i]);
    AVL_GetNext(tree, AVL_Get(tree, &records[i / 2], ByKey));
  }
  for (Record& record : records)
    AVL_Remove(tree, &record);
  EXPECT_EQ(counting.Count(), 0u);
  counting.Disarm();
  AVL_Fini(tree);
}
