// SPDX-License-Identifier: Apache-2.0
// Messages over real sockets, with peers of every kind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "lauth_tlv.h"
#include "platform/tlv/tlv_bytes.h"
#include "support/failing_allocator.h"

using namespace tlv_bytes;
using namespace std::chrono_literals;

namespace {

constexpr uint32_t kLimit = 65534;

class MessageOverSocket : public testing::Test {
 protected:
  void SetUp() override {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    ours_ = ends[0];
    theirs_ = ends[1];
  }
  void TearDown() override {
    Close(ours_);
    Close(theirs_);
  }

  static void Close(int& end) {
    if (end >= 0) close(end);
    end = -1;
  }

  uint32_t Send(uint32_t msg) {
    return TLV_Flush(msg, TLV_MODE_SOCKET, TLV_GetMsgLen(msg, TLV_MODE_SOCKET),
                     static_cast<uintptr_t>(ours_));
  }
  uint32_t Receive(uint32_t limit = kLimit) {
    return TLV_CreateReceiveMsg(TLV_MODE_SOCKET, static_cast<uintptr_t>(ours_), limit);
  }

  // What the peer does, at its end.
  void Write(const Bytes& bytes) { Write(bytes.data(), bytes.size()); }
  void Write(const uint8_t* bytes, size_t count) {
    while (count > 0) {
      const ssize_t written = send(theirs_, bytes, count, MSG_NOSIGNAL);
      if (written <= 0) return;
      bytes += written;
      count -= static_cast<size_t>(written);
    }
  }
  Bytes ReadToEnd() {
    Bytes all;
    uint8_t some[4096];
    for (ssize_t count; (count = recv(theirs_, some, sizeof some, 0)) > 0;) {
      all.insert(all.end(), some, some + count);
    }
    return all;
  }

  void MakeNonBlocking() { ASSERT_EQ(fcntl(ours_, F_SETFL, O_NONBLOCK), 0); }
  void SetTimeout(int option, std::chrono::milliseconds timeout) {
    const timeval value{timeout.count() / 1000, timeout.count() % 1000 * 1000};
    ASSERT_EQ(setsockopt(ours_, SOL_SOCKET, option, &value, sizeof value), 0);
  }

  int ours_ = -1;
  int theirs_ = -1;
};

// A message of about so many bytes.
uint32_t MakeLong(size_t size) {
  const uint32_t msg = TLV_Create();
  for (size_t done = 0; done < size; done += 10000) {
    EXPECT_EQ(Append(msg, static_cast<uint16_t>(done / 10000), std::string(9996, 'x')), 0u);
  }
  return msg;
}

// Interrupts a thread over and over with a signal whose handler does not restart system calls.
class Interrupter {
 public:
  explicit Interrupter(pthread_t target) {
    struct sigaction action{};
    action.sa_handler = [](int) { ++handled; };
    sigaction(SIGUSR1, &action, &before_);
    handled = 0;
    thread_ = std::thread([this, target] {
      while (!stop_) {
        pthread_kill(target, SIGUSR1);
        std::this_thread::sleep_for(500us);
      }
    });
  }
  ~Interrupter() {
    stop_ = true;
    thread_.join();
    sigaction(SIGUSR1, &before_, nullptr);
  }

  static std::atomic<int> handled;

 private:
  struct sigaction before_{};
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

std::atomic<int> Interrupter::handled{0};

}  // namespace

TEST_F(MessageOverSocket, ArrivesAsItWasWritten) {
  const uint32_t msg = Make({{1, "a"}, {8, "some name"}, {8, ""}});
  const Bytes bytes = Written(msg);
  EXPECT_EQ(Send(msg), bytes.size());
  EXPECT_EQ(shutdown(ours_, SHUT_WR), 0);
  EXPECT_EQ(ReadToEnd(), bytes);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, IsReceivedWithoutTakingBytesOfTheNextOne) {
  const uint32_t sent[] = {Make({{1, "first"}}), Make({}), Make({{3, "third"}, {4, ""}})};
  for (const uint32_t msg : sent)
    Write(Written(msg));
  for (const uint32_t msg : sent) {
    const uint32_t received = Receive();
    ASSERT_NE(received, 0u);
    EXPECT_EQ(Contents(received), Contents(msg));
    EXPECT_EQ(TLV_Destroy(received), 0u);
  }
  int left = -1;
  EXPECT_EQ(ioctl(ours_, FIONREAD, &left), 0);
  EXPECT_EQ(left, 0);
  for (const uint32_t msg : sent)
    EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, IsReceivedByteByByte) {
  const uint32_t msg = Make({{1, "slow"}, {2, "peer"}});
  const Bytes bytes = Written(msg);
  std::thread peer([&] {
    for (const uint8_t byte : bytes) {
      Write(&byte, 1);
      std::this_thread::sleep_for(1ms);
    }
  });
  const uint32_t received = Receive();
  peer.join();
  EXPECT_EQ(Written(received), bytes);
  EXPECT_EQ(TLV_Destroy(received), 0u);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, LargerThanTheSocketsBufferArrivesWhole) {
  const uint32_t msg = MakeLong(3'000'000);
  Bytes arrived;
  std::thread peer([&] { arrived = ReadToEnd(); });
  EXPECT_EQ(Send(msg), TLV_GetMsgLen(msg, TLV_MODE_SOCKET));
  EXPECT_EQ(shutdown(ours_, SHUT_WR), 0);
  peer.join();
  EXPECT_EQ(arrived, Written(msg));
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, LargerThanTheSocketsBufferIsReceivedWhole) {
  const uint32_t msg = MakeLong(3'000'000);
  const Bytes bytes = Written(msg);
  std::thread peer([&] { Write(bytes); });
  const uint32_t received = Receive(UINT32_MAX);
  peer.join();
  EXPECT_EQ(Written(received), bytes);
  EXPECT_EQ(TLV_Destroy(received), 0u);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, SurvivesSignalsAndPartialWrites) {
  for (const bool blocking : {true, false}) {
    if (!blocking) MakeNonBlocking();
    const uint32_t msg = MakeLong(1'000'000);
    Bytes arrived(TLV_GetMsgLen(msg, TLV_MODE_SOCKET));
    std::thread peer([&] {
      for (size_t done = 0; done < arrived.size();) {
        const ssize_t count =
            recv(theirs_, arrived.data() + done, std::min<size_t>(arrived.size() - done, 50000), 0);
        if (count <= 0) return;
        done += static_cast<size_t>(count);
        std::this_thread::sleep_for(2ms);
      }
    });
    {
      const Interrupter interrupter(pthread_self());
      EXPECT_EQ(Send(msg), arrived.size());
      EXPECT_GT(Interrupter::handled, 2);
    }
    peer.join();
    EXPECT_EQ(arrived, Written(msg));
    EXPECT_EQ(TLV_Destroy(msg), 0u);
  }
}

TEST_F(MessageOverSocket, IsReceivedAmongSignals) {
  for (const bool blocking : {true, false}) {
    if (!blocking) MakeNonBlocking();
    const uint32_t msg = Make({{1, std::string(300, 'a')}});
    const Bytes bytes = Written(msg);
    std::thread peer([&] {
      for (size_t done = 0; done < bytes.size(); done += 12) {
        std::this_thread::sleep_for(2ms);
        Write(bytes.data() + done, 12);
      }
    });
    static_assert((8 + 4 + 300) % 12 == 0);
    uint32_t received;
    {
      const Interrupter interrupter(pthread_self());
      received = Receive();
      EXPECT_GT(Interrupter::handled, 2);
    }
    peer.join();
    EXPECT_EQ(Written(received), bytes);
    EXPECT_EQ(TLV_Destroy(received), 0u);
    EXPECT_EQ(TLV_Destroy(msg), 0u);
  }
}

TEST_F(MessageOverSocket, IsNotThereWhenThePeerClosesAnywhereInIt) {
  const uint32_t msg = Make({{1, "abc"}, {2, ""}});
  const Bytes bytes = Written(msg);
  for (size_t size = 0; size < bytes.size(); ++size) {
    Write(bytes.data(), size);
    Close(theirs_);
    EXPECT_EQ(Receive(), 0u) << size;
    TearDown();
    SetUp();
  }
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, IsRefusedAtOnceWhenItBeginsWithGarbage) {
  // The peer keeps the connection open, so waiting for more would never end.
  for (const char* garbage : {"G", "GET / HTTP/1.1\r\n", "\xF9\x4C\x4D\x02", "\xF9\x4CM!",
                              "\xF9LM\x01\xFF\xFF\xFF\xFF"}) {
    Write(reinterpret_cast<const uint8_t*>(garbage), strlen(garbage));
    EXPECT_EQ(Receive(), 0u) << garbage;
    TearDown();
    SetUp();
  }
  const Bytes below_header = {0xF9, 'L', 'M', 1, 0, 0, 0, 7};
  Write(below_header);
  EXPECT_EQ(Receive(), 0u);
}

TEST_F(MessageOverSocket, IsRefusedWhenItsElementsAreInconsistent) {
  const Bytes reaching_beyond = {0xF9, 'L', 'M', 1, 0, 0, 0, 13, 0, 1, 0, 2, 'x'};
  const Bytes left_over = {0xF9, 'L', 'M', 1, 0, 0, 0, 11, 0, 1, 0};
  for (const Bytes& bytes : {reaching_beyond, left_over}) {
    Write(bytes);
    EXPECT_EQ(Receive(), 0u);
  }
}

TEST_F(MessageOverSocket, MayBeAsLongAsTheLimitAndNoLonger) {
  const uint32_t exact = Make({{1, std::string(65534 - 8 - 4, 'x')}});
  EXPECT_EQ(TLV_GetMsgLen(exact, TLV_MODE_SOCKET), kLimit);
  Write(Written(exact));
  const uint32_t received = Receive();
  EXPECT_EQ(Contents(received), Contents(exact));
  EXPECT_EQ(TLV_Destroy(received), 0u);
  EXPECT_EQ(TLV_Destroy(exact), 0u);

  const uint32_t longer = Make({{1, std::string(65535 - 8 - 4, 'x')}});
  Write(Written(longer));
  EXPECT_EQ(Receive(), 0u);
  EXPECT_EQ(TLV_Destroy(longer), 0u);
}

TEST_F(MessageOverSocket, IsNotWaitedForWhenNoneFitsTheLimit) {
  for (uint32_t limit = 0; limit < 8; ++limit)
    EXPECT_EQ(Receive(limit), 0u);
}

TEST_F(MessageOverSocket, ReportsAPeerThatIsGoneWithoutASignal) {
  struct sigaction fatal{};
  fatal.sa_handler = SIG_DFL;
  struct sigaction before{};
  ASSERT_EQ(sigaction(SIGPIPE, &fatal, &before), 0);
  const uint32_t msg = Make({{1, "a"}});
  Close(theirs_);
  EXPECT_EQ(Send(msg), 0u);
  ASSERT_EQ(sigaction(SIGPIPE, &before, nullptr), 0);
  EXPECT_EQ(TLV_GetMsgLen(msg, TLV_MODE_SOCKET), 13u);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, ReportsAPeerThatGoesWhileItIsSent) {
  const uint32_t msg = MakeLong(3'000'000);
  std::thread peer([&] {
    uint8_t some[1000];
    EXPECT_GT(recv(theirs_, some, sizeof some, 0), 0);
    Close(theirs_);
  });
  EXPECT_EQ(Send(msg), 0u);
  peer.join();
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, IsNotSentBeyondTheGivenLength) {
  const uint32_t msg = Make({{1, "a"}});
  EXPECT_EQ(TLV_Flush(msg, TLV_MODE_SOCKET, 12, static_cast<uintptr_t>(ours_)), 0u);
  int arrived = -1;
  EXPECT_EQ(ioctl(theirs_, FIONREAD, &arrived), 0);
  EXPECT_EQ(arrived, 0);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, FailsOnWhatIsNoOpenSocket) {
  const uint32_t msg = Make({{1, "a"}});
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  const auto word = [](int descriptor) { return static_cast<uintptr_t>(descriptor); };
  for (const uintptr_t descriptor : {word(-1), word(pipe_ends[0]), word(9999), UINTPTR_MAX}) {
    EXPECT_EQ(TLV_Flush(msg, TLV_MODE_SOCKET, 100, descriptor), 0u);
    EXPECT_EQ(TLV_CreateReceiveMsg(TLV_MODE_SOCKET, descriptor, kLimit), 0u);
  }
  close(pipe_ends[0]);
  close(pipe_ends[1]);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, FailsWhenTheSocketsTimeoutIsOver) {
  for (const bool blocking : {true, false}) {
    if (!blocking) MakeNonBlocking();
    SetTimeout(SO_RCVTIMEO, 30ms);
    SetTimeout(SO_SNDTIMEO, 30ms);
    auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Receive(), 0u);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 25ms);
    const uint32_t msg = MakeLong(3'000'000);
    begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Send(msg), 0u);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 25ms);
    EXPECT_EQ(TLV_Destroy(msg), 0u);
  }
}

TEST_F(MessageOverSocket, KeepsToTheTimeoutOfANonBlockingSocketAmongSignals) {
  MakeNonBlocking();
  SetTimeout(SO_RCVTIMEO, 50ms);
  const Interrupter interrupter(pthread_self());
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Receive(), 0u);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 50ms);
  EXPECT_GT(Interrupter::handled, 2);
}

TEST_F(MessageOverSocket, IsWaitedForOnANonBlockingSocket) {
  MakeNonBlocking();
  const uint32_t msg = Make({{1, "late"}});
  std::thread peer([&] {
    std::this_thread::sleep_for(20ms);
    Write(Written(msg));
  });
  const uint32_t received = Receive();
  peer.join();
  EXPECT_EQ(Contents(received), Contents(msg));
  EXPECT_EQ(TLV_Destroy(received), 0u);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST_F(MessageOverSocket, IsNotReceivedWithoutMemory) {
  const uint32_t msg = MakeLong(500'000);
  const Bytes bytes = Written(msg);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
  uint32_t failures = 0;
  for (uint32_t n = 1; n < 100; ++n) {
    std::thread peer([&] { Write(bytes); });
    support::FailingAllocation failing(n);
    const uint32_t received = Receive(UINT32_MAX);
    failing.Disarm();
    Close(ours_);  // lets the peer go that is still sending
    peer.join();
    TearDown();
    SetUp();
    if (!failing.Failed()) {
      EXPECT_EQ(Written(received), bytes);
      EXPECT_EQ(TLV_Destroy(received), 0u);
      break;
    }
    ++failures;
    EXPECT_EQ(received, 0u) << "allocation " << n;
  }
  EXPECT_GE(failures, 3u);
}
