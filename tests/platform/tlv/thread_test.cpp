// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "lauth_tlv.h"
#include "platform/tlv/tlv_bytes.h"

using namespace tlv_bytes;

namespace {

constexpr unsigned kThreads = 8;

void InThreads(void (*work)(unsigned thread)) {
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i)
    threads.emplace_back(work, i);
  for (std::thread& thread : threads)
    thread.join();
}

}  // namespace

TEST(MessagesOfManyThreads, DoNotDisturbEachOther) {
  InThreads([](unsigned thread) {
    std::mt19937 random(thread);
    for (int round = 0; round < 1000; ++round) {
      Elements elements;
      for (uint32_t i = random() % 30; i > 0; --i) {
        elements.emplace_back(static_cast<uint16_t>(thread),
                              std::string(random() % 200, static_cast<char>('a' + thread)));
      }
      const uint32_t msg = Make(elements);
      ASSERT_NE(msg, 0u);
      const uint32_t copy = ReadFrom(Written(msg));
      ASSERT_EQ(TLV_Destroy(msg), 0u);
      ASSERT_EQ(Contents(copy), elements);
      ASSERT_EQ(TLV_Destroy(copy), 0u);
      ASSERT_EQ(TLV_Destroy(msg), TLV_ERR_HANDLE);
    }
  });
}

TEST(MessagesOfManyThreads, AreExchangedOverSockets) {
  InThreads([](unsigned thread) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const uint32_t request = Make({{static_cast<uint16_t>(thread), "request"}});
    std::thread peer([&] {
      for (int round = 0; round < 100; ++round) {
        const uint32_t msg =
            TLV_CreateReceiveMsg(TLV_MODE_SOCKET, static_cast<uintptr_t>(ends[1]), 65534);
        ASSERT_EQ(Append(msg, 12, "reply"), 0u);
        ASSERT_NE(TLV_Flush(msg, TLV_MODE_SOCKET, 65534, static_cast<uintptr_t>(ends[1])), 0u);
        ASSERT_EQ(TLV_Destroy(msg), 0u);
      }
    });
    for (int round = 0; round < 100; ++round) {
      ASSERT_NE(TLV_Flush(request, TLV_MODE_SOCKET, 65534, static_cast<uintptr_t>(ends[0])), 0u);
      const uint32_t reply =
          TLV_CreateReceiveMsg(TLV_MODE_SOCKET, static_cast<uintptr_t>(ends[0]), 65534);
      ASSERT_EQ(Contents(reply),
                (Elements{{static_cast<uint16_t>(thread), "request"}, {12, "reply"}}));
      ASSERT_EQ(TLV_Destroy(reply), 0u);
    }
    peer.join();
    ASSERT_EQ(TLV_Destroy(request), 0u);
    close(ends[0]);
    close(ends[1]);
  });
}

TEST(OneMessageInManyThreads, TakesEveryAppend) {
  static uint32_t msg;
  msg = TLV_Create();
  InThreads([](unsigned thread) {
    for (int i = 0; i < 500; ++i) {
      ASSERT_EQ(TLV_Append_UINT(msg, static_cast<uint16_t>(thread), thread), 0u);
      const uintptr_t at = TLV_GetIteratorByType(msg, static_cast<uint16_t>(thread));
      ASSERT_EQ(TLV_GetUINTByIterator(msg, at), thread);
      if (i % 3 == 0) {
        ASSERT_EQ(TLV_Delete_Data(msg, at), 0u);
      }
    }
  });
  EXPECT_EQ(Contents(msg).size(), kThreads * (500u - 167u));
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST(OneMessageInManyThreads, IsDestroyedByOneOfThem) {
  static std::atomic<uint32_t> msg;
  static std::atomic<unsigned> destroyed;
  static std::barrier start(kThreads);
  for (int round = 0; round < 200; ++round) {
    msg = Make({{1, "a"}});
    destroyed = 0;
    InThreads([](unsigned) {
      start.arrive_and_wait();
      TLV_Append_UINT(msg, 2, 3);
      if (TLV_Destroy(msg) == 0) ++destroyed;
      EXPECT_EQ(TLV_GetFirst(msg), 0u);
    });
    ASSERT_EQ(destroyed, 1u);
  }
}
