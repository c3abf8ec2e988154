// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "lauth_tlv.h"
#include "platform/tlv/tlv_bytes.h"
#include "support/failing_allocator.h"

using namespace tlv_bytes;

namespace {

class Message : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(msg_, 0u); }
  void TearDown() override { EXPECT_EQ(TLV_Destroy(msg_), 0u); }

  uint32_t msg_ = TLV_Create();
};

// Every call on a handle that names no message.
void ExpectRefused(uint32_t msg) {
  uint8_t byte = 0x5A;
  EXPECT_EQ(TLV_Append_UINT(msg, 1, 2), TLV_ERR_HANDLE);
  EXPECT_EQ(TLV_Append_Data(msg, 1, 1, &byte), TLV_ERR_HANDLE);
  EXPECT_EQ(TLV_Delete_Data(msg, 1), TLV_ERR_HANDLE);
  EXPECT_EQ(TLV_GetFirst(msg), 0u);
  EXPECT_EQ(TLV_GetNext(msg, 1), 0u);
  EXPECT_EQ(TLV_GetIteratorByType(msg, 1), 0u);
  EXPECT_EQ(TLV_GetTypeByIterator(msg, 1), 0u);
  EXPECT_EQ(TLV_GetLenByIterator(msg, 1), 0u);
  EXPECT_EQ(TLV_GetValueByIterator(msg, 1, 1, &byte), TLV_ERR_HANDLE);
  EXPECT_EQ(TLV_GetUINTByIterator(msg, 1), 0u);
  EXPECT_EQ(TLV_GetMsgLen(msg, TLV_MODE_MEMORY), 0u);
  EXPECT_EQ(TLV_Flush(msg, TLV_MODE_MEMORY, 1, Address(&byte)), 0u);
  EXPECT_EQ(TLV_Destroy(msg), TLV_ERR_HANDLE);
  EXPECT_EQ(byte, 0x5A);
}

}  // namespace

TEST_F(Message, IsEmptyAtFirst) {
  EXPECT_EQ(TLV_GetFirst(msg_), 0u);
  EXPECT_EQ(TLV_GetIteratorByType(msg_, 0), 0u);
  EXPECT_EQ(TLV_GetMsgLen(msg_, TLV_MODE_SOCKET), 8u);
  EXPECT_EQ(TLV_GetMsgLen(msg_, TLV_MODE_MEMORY), 8u);
}

TEST_F(Message, KeepsTheOrderOfItsElementsAndRepeatedTypes) {
  EXPECT_EQ(Append(msg_, 15, "a"), 0u);
  EXPECT_EQ(Append(msg_, 1, ""), 0u);
  EXPECT_EQ(Append(msg_, 15, std::string("b\0c", 3)), 0u);
  EXPECT_EQ(Append(msg_, 65535, "d"), 0u);
  EXPECT_EQ(Contents(msg_),
            (Elements{{15, "a"}, {1, ""}, {15, std::string("b\0c", 3)}, {65535, "d"}}));
}

TEST_F(Message, FindsTheFirstElementOfAType) {
  EXPECT_EQ(TLV_Append_UINT(msg_, 1, 10), 0u);
  EXPECT_EQ(TLV_Append_UINT(msg_, 15, 20), 0u);
  EXPECT_EQ(TLV_Append_UINT(msg_, 15, 30), 0u);
  const uintptr_t at = TLV_GetIteratorByType(msg_, 15);
  EXPECT_EQ(TLV_GetUINTByIterator(msg_, at), 20u);
  EXPECT_EQ(TLV_Delete_Data(msg_, at), 0u);
  EXPECT_EQ(TLV_GetUINTByIterator(msg_, TLV_GetIteratorByType(msg_, 15)), 30u);
  EXPECT_EQ(TLV_GetIteratorByType(msg_, 16), 0u);
}

TEST_F(Message, HoldsNumbersAsFourBytesInNetworkOrder) {
  EXPECT_EQ(TLV_Append_UINT(msg_, 1, 0x01020304), 0u);
  EXPECT_EQ(TLV_Append_UINT(msg_, 2, UINT32_MAX), 0u);
  EXPECT_EQ(TLV_Append_UINT(msg_, 3, 0), 0u);
  EXPECT_EQ(Contents(msg_), (Elements{{1, std::string("\x01\x02\x03\x04", 4)},
                                      {2, std::string("\xFF\xFF\xFF\xFF", 4)},
                                      {3, std::string(4, '\0')}}));
  EXPECT_EQ(TLV_GetUINTByIterator(msg_, TLV_GetIteratorByType(msg_, 1)), 0x01020304u);
  EXPECT_EQ(TLV_GetUINTByIterator(msg_, TLV_GetIteratorByType(msg_, 2)), UINT32_MAX);
}

TEST_F(Message, ReadsNoNumberFromAnElementOfAnotherLength) {
  for (const size_t length : {0u, 1u, 3u, 5u, 8u}) {
    EXPECT_EQ(Append(msg_, static_cast<uint16_t>(length), std::string(length, '\x7F')), 0u);
    EXPECT_EQ(
        TLV_GetUINTByIterator(msg_, TLV_GetIteratorByType(msg_, static_cast<uint16_t>(length))), 0u)
        << length;
  }
}

TEST_F(Message, CopiesExactlyTheBytesAskedFor) {
  EXPECT_EQ(Append(msg_, 8, "abcdef"), 0u);
  const uintptr_t at = TLV_GetFirst(msg_);
  char out[8] = "1234567";
  EXPECT_EQ(TLV_GetValueByIterator(msg_, at, 3, out), 0u);
  EXPECT_STREQ(out, "abc4567");
  EXPECT_EQ(TLV_GetValueByIterator(msg_, at, 6, out), 0u);
  EXPECT_STREQ(out, "abcdef7");
  EXPECT_EQ(TLV_GetValueByIterator(msg_, at, 0, nullptr), 0u);
}

TEST_F(Message, RefusesToCopyMoreThanAnElementHas) {
  EXPECT_EQ(Append(msg_, 8, "abc"), 0u);
  char out[8] = "1234567";
  EXPECT_EQ(TLV_GetValueByIterator(msg_, TLV_GetFirst(msg_), 4, out), TLV_ERR_LENGTH);
  EXPECT_STREQ(out, "1234567");
}

TEST_F(Message, RefusesNullWhereBytesAreNeeded) {
  EXPECT_EQ(TLV_Append_Data(msg_, 8, 1, nullptr), TLV_ERR_ARGUMENT);
  EXPECT_EQ(TLV_GetFirst(msg_), 0u);
  EXPECT_EQ(TLV_Append_Data(msg_, 8, 0, nullptr), 0u);
  EXPECT_EQ(Append(msg_, 9, "x"), 0u);
  EXPECT_EQ(TLV_GetValueByIterator(msg_, TLV_GetIteratorByType(msg_, 9), 1, nullptr),
            TLV_ERR_ARGUMENT);
  EXPECT_EQ(TLV_Flush(msg_, TLV_MODE_MEMORY, 100, 0), 0u);
  EXPECT_EQ(TLV_CreateReceiveMsg(TLV_MODE_MEMORY, 0, 100), 0u);
}

TEST_F(Message, TakesElementsOfEveryLengthUpToTheLargest) {
  Elements elements;
  for (const size_t length : {0u, 1u, 255u, 256u, 65534u, 65535u}) {
    elements.emplace_back(static_cast<uint16_t>(length), std::string(length, 'x'));
    EXPECT_EQ(Append(msg_, elements.back().first, elements.back().second), 0u);
  }
  EXPECT_EQ(Contents(msg_), elements);
  EXPECT_EQ(TLV_GetMsgLen(msg_, TLV_MODE_MEMORY), 8u + 6 * 4 + 0 + 1 + 255 + 256 + 65534 + 65535);
}

TEST_F(Message, CanGrowFarBeyondWhatOneReplyMayHave) {
  const std::string value(65535, 'v');
  for (int i = 0; i < 300; ++i)
    ASSERT_EQ(Append(msg_, 1, value), 0u);
  const Bytes bytes = Written(msg_);
  EXPECT_EQ(bytes.size(), 8u + 300 * 65539);
  const uint32_t copy = ReadFrom(bytes);
  ASSERT_NE(copy, 0u);
  EXPECT_EQ(Written(copy), bytes);
  EXPECT_EQ(TLV_Destroy(copy), 0u);
}

TEST_F(Message, IsWrittenOnlyWhereItFits) {
  EXPECT_EQ(Append(msg_, 8, "abc"), 0u);
  Bytes out(16, 0xEE);
  EXPECT_EQ(TLV_GetMsgLen(msg_, TLV_MODE_MEMORY), 15u);
  EXPECT_EQ(TLV_Flush(msg_, TLV_MODE_MEMORY, 14, Address(out.data())), 0u);
  EXPECT_EQ(TLV_Flush(msg_, TLV_MODE_MEMORY, 0, Address(out.data())), 0u);
  EXPECT_EQ(out, Bytes(16, 0xEE));
  EXPECT_EQ(TLV_Flush(msg_, TLV_MODE_MEMORY, 16, Address(out.data())), 15u);
  EXPECT_EQ(out[15], 0xEE);
}

TEST_F(Message, KnowsTwoModesOnly) {
  Bytes out(64);
  for (const uint32_t mode : {0u, 3u, 0xFFFFFFFFu}) {
    EXPECT_EQ(TLV_GetMsgLen(msg_, mode), 0u);
    EXPECT_EQ(TLV_Flush(msg_, mode, 64, Address(out.data())), 0u);
    EXPECT_EQ(TLV_CreateReceiveMsg(mode, Address(out.data()), 64), 0u);
  }
}

TEST_F(Message, KeepsTheIteratorOfASuccessorWhenAnElementIsDeleted) {
  for (uint32_t i = 0; i < 1000; ++i)
    EXPECT_EQ(TLV_Append_UINT(msg_, 1, i), 0u);
  uint32_t expected = 0;
  for (uintptr_t at = TLV_GetFirst(msg_); at != 0; ++expected) {
    EXPECT_EQ(TLV_GetUINTByIterator(msg_, at), expected);
    const uintptr_t next = TLV_GetNext(msg_, at);
    EXPECT_EQ(TLV_Delete_Data(msg_, at), 0u);
    at = next;
  }
  EXPECT_EQ(expected, 1000u);
  EXPECT_EQ(TLV_GetFirst(msg_), 0u);
  EXPECT_EQ(TLV_GetMsgLen(msg_, TLV_MODE_MEMORY), 8u);
}

TEST_F(Message, CanBeFilledAgainAfterEverythingIsDeleted) {
  std::set<uintptr_t> seen;
  for (uint32_t round = 0; round < 50; ++round) {
    for (uint32_t i = 0; i < 10; ++i)
      EXPECT_EQ(TLV_Append_UINT(msg_, 7, round), 0u);
    EXPECT_EQ(TLV_GetMsgLen(msg_, TLV_MODE_MEMORY), 88u);
    while (const uintptr_t at = TLV_GetFirst(msg_)) {
      EXPECT_EQ(TLV_GetUINTByIterator(msg_, at), round);
      EXPECT_TRUE(seen.insert(at).second) << "an iterator came back";
      EXPECT_EQ(TLV_Delete_Data(msg_, at), 0u);
    }
  }
}

TEST_F(Message, RefusesTheIteratorOfADeletedElement) {
  EXPECT_EQ(Append(msg_, 1, "a"), 0u);
  EXPECT_EQ(Append(msg_, 2, "b"), 0u);
  const uintptr_t deleted = TLV_GetFirst(msg_);
  EXPECT_EQ(TLV_Delete_Data(msg_, deleted), 0u);
  char out = 'x';
  EXPECT_EQ(TLV_Delete_Data(msg_, deleted), TLV_ERR_ITERATOR);
  EXPECT_EQ(TLV_GetNext(msg_, deleted), 0u);
  EXPECT_EQ(TLV_GetTypeByIterator(msg_, deleted), 0u);
  EXPECT_EQ(TLV_GetLenByIterator(msg_, deleted), 0u);
  EXPECT_EQ(TLV_GetUINTByIterator(msg_, deleted), 0u);
  EXPECT_EQ(TLV_GetValueByIterator(msg_, deleted, 1, &out), TLV_ERR_ITERATOR);
  EXPECT_EQ(TLV_GetValueByIterator(msg_, deleted, 0, &out), TLV_ERR_ITERATOR);
  EXPECT_EQ(out, 'x');
  EXPECT_EQ(Contents(msg_), (Elements{{2, "b"}}));
}

TEST_F(Message, RefusesForgedIterators) {
  EXPECT_EQ(Append(msg_, 1, "a"), 0u);
  const uintptr_t real = TLV_GetFirst(msg_);
  std::mt19937_64 random(1);
  std::vector<uintptr_t> forged = {0, 1, UINTPTR_MAX, real - 1, real + 1, ~real, Address(&real)};
  for (int i = 0; i < 10000; ++i)
    forged.push_back(static_cast<uintptr_t>(random()));
  for (const uintptr_t at : forged) {
    if (at == real) continue;
    EXPECT_EQ(TLV_Delete_Data(msg_, at), TLV_ERR_ITERATOR);
    EXPECT_EQ(TLV_GetLenByIterator(msg_, at), 0u);
    EXPECT_EQ(TLV_GetNext(msg_, at), 0u);
  }
  EXPECT_EQ(Contents(msg_), (Elements{{1, "a"}}));
}

TEST_F(Message, RefusesTheIteratorsOfAnotherMessage) {
  const uint32_t other = Make({{1, "a"}, {2, "b"}});
  EXPECT_EQ(Append(msg_, 1, "a"), 0u);
  for (uintptr_t at = TLV_GetFirst(other); at != 0; at = TLV_GetNext(other, at)) {
    EXPECT_EQ(TLV_Delete_Data(msg_, at), TLV_ERR_ITERATOR);
    EXPECT_EQ(TLV_GetLenByIterator(msg_, at), 0u);
  }
  EXPECT_EQ(TLV_Destroy(other), 0u);
}

TEST_F(Message, AgreesWithAListOverManySteps) {
  std::mt19937 random(20240505);
  struct Kept {
    uintptr_t at;
    uint16_t type;
    std::string value;
  };
  std::vector<Kept> model;
  std::vector<uintptr_t> gone;
  for (int step = 0; step < 30000; ++step) {
    // Phases of growing and of shrinking, so that clean-ups of both kinds come up.
    const bool grow = random() % 100 < (step / 1500 % 2 == 0 ? 70u : 35u);
    if (grow) {
      const auto type = static_cast<uint16_t>(random() % 30);
      const std::string value(random() % 40, static_cast<char>('a' + random() % 26));
      ASSERT_EQ(Append(msg_, type, value), 0u);
      const uintptr_t last =
          model.empty() ? TLV_GetFirst(msg_) : TLV_GetNext(msg_, model.back().at);
      ASSERT_NE(last, 0u);
      model.push_back({last, type, value});
    } else if (!model.empty()) {
      const auto victim = model.begin() + static_cast<long>(random() % model.size());
      ASSERT_EQ(TLV_Delete_Data(msg_, victim->at), 0u);
      gone.push_back(victim->at);
      model.erase(victim);
    }
    if (!gone.empty()) {
      ASSERT_EQ(TLV_GetNext(msg_, gone[random() % gone.size()]), 0u);
    }
    if (!model.empty()) {
      const Kept& one = model[random() % model.size()];
      ASSERT_EQ(TLV_GetTypeByIterator(msg_, one.at), one.type);
      std::string value(TLV_GetLenByIterator(msg_, one.at), '\0');
      ASSERT_EQ(
          TLV_GetValueByIterator(msg_, one.at, static_cast<uint16_t>(value.size()), value.data()),
          0u);
      ASSERT_EQ(value, one.value);
    }
    const auto type = static_cast<uint16_t>(random() % 30);
    const auto first = std::find_if(model.begin(), model.end(),
                                    [type](const Kept& kept) { return kept.type == type; });
    ASSERT_EQ(TLV_GetIteratorByType(msg_, type), first == model.end() ? 0 : first->at);
    if (step % 100 == 0) {
      Elements expected;
      for (const Kept& kept : model)
        expected.emplace_back(kept.type, kept.value);
      ASSERT_EQ(Contents(msg_), expected);
      const uint32_t copy = ReadFrom(Written(msg_));
      ASSERT_EQ(Contents(copy), expected);
      ASSERT_EQ(TLV_Destroy(copy), 0u);
    }
  }
}

TEST(MessageHandle, OfADestroyedMessageIsRefused) {
  const uint32_t msg = Make({{1, "a"}});
  EXPECT_EQ(TLV_Destroy(msg), 0u);
  ExpectRefused(msg);
}

TEST(MessageHandle, ThatIsForgedIsRefused) {
  const uint32_t real = TLV_Create();
  for (const uint32_t forged :
       {0u, 0xFFFFFFFFu, 0x10000u, real + 1, real + 0x10000u, real ^ 0x80000000u, 0xFFFFu}) {
    ExpectRefused(forged);
  }
  EXPECT_EQ(TLV_GetMsgLen(real, TLV_MODE_MEMORY), 8u);
  EXPECT_EQ(TLV_Destroy(real), 0u);
}

constexpr size_t kReuseDistance = size_t{65536} * 64;  // as the header promises

/// Messages that come and go. Remembers some of their handles, and fails when one of these comes
/// back too early.
class Traffic {
 public:
  explicit Traffic(uint32_t seed) : random_(seed) {}
  ~Traffic() {
    while (!live_.empty())
      Destroy(0);
  }

  size_t Live() const { return live_.size(); }
  size_t Created() const { return created_; }
  size_t Below(size_t bound) { return random_() % bound; }

  /// @param size  of what is put into it
  void Create(size_t size) {
    const uint32_t msg = TLV_Create();
    ASSERT_NE(msg, 0u);
    const auto earlier = remembered_.find(msg);
    if (earlier != remembered_.end()) {
      ASSERT_GT(created_ - earlier->second, kReuseDistance - 1) << "handle " << msg;
    }
    if (earlier != remembered_.end() || (remembered_.size() < 2000 && Below(50) == 0)) {
      remembered_[msg] = created_;
    }
    for (; size > 60000; size -= 60000)
      ASSERT_EQ(TLV_Append_Data(msg, 1, 60000, kValue), 0u);
    ASSERT_EQ(TLV_Append_Data(msg, 1, static_cast<uint16_t>(size), kValue), 0u);
    ++created_;
    live_.push_back(msg);
  }

  void Destroy(size_t which) {
    EXPECT_EQ(TLV_Destroy(live_[which]), 0u);
    live_.erase(live_.begin() + static_cast<ptrdiff_t>(which));
  }

 private:
  static constexpr uint8_t kValue[60000] = {};

  std::mt19937 random_;
  std::vector<uint32_t> live_;
  std::unordered_map<uint32_t, size_t> remembered_;
  size_t created_ = 0;
};

// Slots that kept their memory were taken before those that did not, one of them again and again.
TEST(MessageHandle, ComesBackLateWhateverTheOrderOfMessages) {
  Traffic traffic(13);
  // Many at a time, with more memory than a slot may keep.
  for (int i = 0; i < 200; ++i)
    ASSERT_NO_FATAL_FAILURE(traffic.Create(300000));
  while (traffic.Live() > 0)
    traffic.Destroy(traffic.Below(traffic.Live()));
  // One at a time.
  while (traffic.Created() < 200'000) {
    ASSERT_NO_FATAL_FAILURE(traffic.Create(8));
    traffic.Destroy(0);
  }
  // Some at a time, in any order, now and then a large one.
  while (traffic.Created() < kReuseDistance + 400'000) {
    const size_t wanted = traffic.Below(traffic.Below(100) == 0 ? 150 : 4);
    while (traffic.Live() < wanted)
      ASSERT_NO_FATAL_FAILURE(traffic.Create(traffic.Below(20000) == 0 ? 300000 : 8));
    while (traffic.Live() > wanted)
      traffic.Destroy(traffic.Below(2) == 0 ? traffic.Live() - 1 : traffic.Below(traffic.Live()));
  }
}

TEST(MessageHandle, IsDistinctForEveryMessageInUseUntilThereAreNoMore) {
  std::set<uint32_t> handles;
  while (const uint32_t msg = TLV_Create()) {
    ASSERT_TRUE(handles.insert(msg).second);
    ASSERT_LE(handles.size(), 65535u);
  }
  EXPECT_EQ(handles.size(), 65535u);
  for (const uint32_t msg : handles)
    ASSERT_EQ(TLV_Destroy(msg), 0u);
  const uint32_t again = TLV_Create();
  EXPECT_NE(again, 0u);
  EXPECT_EQ(TLV_Destroy(again), 0u);
}

TEST(MessageMemory, IsTakenFromEarlierMessagesInTheLongRun) {
  const std::string value(100, 'v');
  uint8_t out[256];
  const auto cycle = [&] {
    const uint32_t msg = TLV_Create();
    uint32_t status = TLV_Append_UINT(msg, 1, 2) | TLV_Append_Data(msg, 8, 100, value.data());
    status |= TLV_Flush(msg, TLV_MODE_MEMORY, sizeof out, Address(out)) != 120;
    return status | TLV_Destroy(msg);
  };
  for (int i = 0; i < 200; ++i)
    ASSERT_EQ(cycle(), 0u);
  support::FailingAllocation counting(0);
  uint32_t status = 0;
  for (int i = 0; i < 1000; ++i)
    status |= cycle();
  counting.Disarm();
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(counting.Count(), 0u);
}

namespace {

// Uses up the memory that unused messages keep, for as long as it lives, so that a new message has
// to allocate.
class WithoutSpareMessages {
 public:
  WithoutSpareMessages() {
    for (;;) {
      support::FailingAllocation failing(1);
      const uint32_t msg = TLV_Create();
      failing.Disarm();
      if (msg == 0) break;
      kept_.push_back(msg);
    }
  }
  ~WithoutSpareMessages() {
    for (const uint32_t msg : kept_)
      TLV_Destroy(msg);
  }

 private:
  std::vector<uint32_t> kept_;
};

}  // namespace

TEST(MessageMemory, WhenShortGivesNoMessage) {
  const WithoutSpareMessages none;
  uint32_t failures = 0;
  for (uint32_t n = 1; n < 100; ++n) {
    support::FailingAllocation failing(n);
    const uint32_t msg = TLV_Create();
    failing.Disarm();
    if (!failing.Failed()) {
      EXPECT_NE(msg, 0u);
      EXPECT_EQ(TLV_Destroy(msg), 0u);
      break;
    }
    ++failures;
    EXPECT_EQ(msg, 0u) << "allocation " << n;
  }
  EXPECT_GE(failures, 2u);
}

TEST(MessageMemory, WhenShortLeavesTheMessageUnchanged) {
  const WithoutSpareMessages none;
  const uint32_t msg = TLV_Create();
  Elements expected;
  uint32_t failures = 0;
  for (uint16_t i = 0; i < 500; ++i) {
    const std::string value(i, 'v');
    support::FailingAllocation failing(1 + i % 2);
    const uint32_t status = TLV_Append_Data(msg, i, i, value.data());
    failing.Disarm();
    ASSERT_EQ(status, failing.Failed() ? TLV_ERR_MEMORY : 0u);
    if (status != 0) {
      ++failures;
      ASSERT_EQ(Contents(msg), expected);
      ASSERT_EQ(Append(msg, i, value), 0u);
    }
    expected.emplace_back(i, value);
  }
  EXPECT_GE(failures, 5u);
  EXPECT_EQ(Contents(msg), expected);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST(MessageMemory, WhenShortReceivesNothing) {
  const WithoutSpareMessages none;
  Elements elements;
  for (uint16_t i = 0; i < 200; ++i)
    elements.emplace_back(i, std::string(i, 'v'));
  const uint32_t original = Make(elements);
  const Bytes bytes = Written(original);
  uint32_t failures = 0;
  for (uint32_t n = 1; n < 100; ++n) {
    support::FailingAllocation failing(n);
    const uint32_t msg = TLV_CreateReceiveMsg(TLV_MODE_MEMORY, Address(bytes.data()),
                                              static_cast<uint32_t>(bytes.size()));
    failing.Disarm();
    if (!failing.Failed()) {
      EXPECT_EQ(Contents(msg), elements);
      EXPECT_EQ(TLV_Destroy(msg), 0u);
      break;
    }
    ++failures;
    EXPECT_EQ(msg, 0u) << "allocation " << n;
  }
  EXPECT_GE(failures, 2u);
  EXPECT_EQ(TLV_Destroy(original), 0u);
}
