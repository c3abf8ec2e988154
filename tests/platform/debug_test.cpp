// SPDX-License-Identifier: Apache-2.0
#include "lauth_debug.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Messages = std::vector<std::pair<uint32_t, std::string>>;

void Keep(void* context, uint32_t level, const char* text) {
  static_cast<Messages*>(context)->emplace_back(level, text);
}

class DebugLog : public testing::Test {
 protected:
  void SetUp() override {
    LAUTH_dbg_SetSink(Keep, &messages_);
    LAUTH_dbg_SetLevel(5);
  }
  void TearDown() override {
    LAUTH_dbg_SetSink(nullptr, nullptr);
    LAUTH_dbg_SetLevel(0);
  }

  // The text that one call logs.
  template <typename... Arguments>
  std::string Logged(const char* format, Arguments... arguments) {
    messages_.clear();
    LAUTH_dbg_PrintDbgInfo(2, format, arguments...);
    return messages_.size() == 1 ? messages_[0].second : "(not one message)";
  }

  // Compares with the standard library's own idea of a format that both know.
  template <typename... Arguments>
  void ExpectAsPrintf(const char* format, Arguments... arguments) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    char expected[2048];
    snprintf(expected, sizeof expected, format, arguments...);
#pragma GCC diagnostic pop
    EXPECT_EQ(Logged(format, arguments...), expected) << format;
  }

  Messages messages_;
};

const uint8_t kMac[] = {0x00, 0x1A, 0x22, 0xFF, 0x44, 0x05};

}  // namespace

TEST(DebugLogAtStart, IsOff) {
  EXPECT_EQ(LAUTH_dbg_GetLevel(), 0u);
}

TEST_F(DebugLog, LetsMessagesOutUpToTheLevelThatIsSet) {
  LAUTH_dbg_SetLevel(2);
  EXPECT_EQ(LAUTH_dbg_GetLevel(), 2u);
  for (uint32_t level : {1u, 2u, 3u, UINT32_MAX})
    LAUTH_dbg_PrintDbgInfo(level, "at %u", level);
  EXPECT_EQ(messages_, (Messages{{1, "at 1"}, {2, "at 2"}}));
}

TEST_F(DebugLog, LetsNothingOutAtLevelZero) {
  LAUTH_dbg_SetLevel(0);
  LAUTH_dbg_PrintDbgInfo(0, "most important");
  LAUTH_dbg_PrintDbgInfo(1, "important");
  EXPECT_TRUE(messages_.empty());
}

TEST_F(DebugLog, LogsNothingForANullFormat) {
  LAUTH_dbg_PrintDbgInfo(1, nullptr);
  EXPECT_TRUE(messages_.empty());
}

TEST_F(DebugLog, PrintsAMacAddressInLowerCaseWithColons) {
  EXPECT_EQ(Logged("terminal %M is %s", kMac, "a phone"), "terminal 00:1a:22:ff:44:05 is a phone");
  EXPECT_EQ(Logged("%M%M", kMac, kMac), "00:1a:22:ff:44:0500:1a:22:ff:44:05");
  EXPECT_EQ(Logged("[%20M]", kMac), "[   00:1a:22:ff:44:05]");
  EXPECT_EQ(Logged("[%-20M]", kMac), "[00:1a:22:ff:44:05   ]");
}

TEST_F(DebugLog, PrintsNullForANullTextOrMac) {
  EXPECT_EQ(Logged("%M %d", static_cast<const uint8_t*>(nullptr), 7), "(null) 7");
  EXPECT_EQ(Logged("%s %d", static_cast<const char*>(nullptr), 7), "(null) 7");
}

TEST_F(DebugLog, TakesEachArgumentWithItsOwnType) {
  ExpectAsPrintf("%d %i %u %x %X %o", -1, INT_MIN, UINT_MAX, 0xabcu, 0xABCu, 8u);
  ExpectAsPrintf("%hhd %hd %ld %lld", static_cast<signed char>(-3), static_cast<short>(-4),
                 LONG_MIN, LLONG_MIN);
  ExpectAsPrintf("%hhu %hu %lu %llx", static_cast<unsigned char>(200),
                 static_cast<unsigned short>(60000), ULONG_MAX, ULLONG_MAX);
  ExpectAsPrintf("%zu %zd %jd %ju %td %tu", SIZE_MAX, static_cast<ssize_t>(-5), INTMAX_MIN,
                 UINTMAX_MAX, static_cast<ptrdiff_t>(-6), static_cast<ptrdiff_t>(6));
  ExpectAsPrintf("%c%c %p %s", 'a', 'b', static_cast<const void*>(kMac), "text");
  ExpectAsPrintf("%f %.2f %e %G %a %Lg", 1.5, 2.345, 1e10, 1e-10, 0.5, 1.25L);
  ExpectAsPrintf("100%% of %d", 3);
}

TEST_F(DebugLog, KeepsFlagsWidthAndPrecision) {
  ExpectAsPrintf("[%5d] [%-5d] [%05d] [%+d] [% d] [%#x] [%#o]", 42, 42, 42, 42, 42, 42u, 42u);
  ExpectAsPrintf("[%8.3s] [%-8.3s] [%.0s] [%.s]", "abcdef", "abcdef", "abcdef", "abcdef");
  ExpectAsPrintf("[%*d] [%-*d] [%.*s] [%*.*f]", 6, 1, 6, 2, 2, "abc", 8, 3, 3.14159);
  ExpectAsPrintf("[%*d] [%*d] [%.*s]", -6, 1, -1, 2, -1, "abc");
  ExpectAsPrintf("[%.4d] [%8.4x]", 7, 0xau);
}

TEST_F(DebugLog, ReadsNoFurtherThanThePrecisionOfAText) {
  const char unterminated[3] = {'a', 'b', 'c'};
  EXPECT_EQ(Logged("%.3s|%.*s", unterminated, 2, unterminated), "abc|ab");
}

TEST_F(DebugLog, PrintsUnknownConversionsAsTheyStand) {
  EXPECT_EQ(Logged("%y %d", 5), "%y 5");
  EXPECT_EQ(Logged("%-3.2q|%s", "next"), "%-3.2q|next");
  EXPECT_EQ(Logged("at the end %"), "at the end %");
  EXPECT_EQ(Logged("at the end %-5l"), "at the end %-5l");
}

TEST_F(DebugLog, NeverStoresThroughAnArgument) {
  int stored = 77;
  EXPECT_EQ(Logged("abc%n %d", &stored, 5), "abc%n 5");
  EXPECT_EQ(stored, 77);
}

TEST_F(DebugLog, CutsALongMessage) {
  const std::string text(5000, 'x');
  const std::string whole(LAUTH_DBG_TEXT_MAX, 'x');
  EXPECT_EQ(Logged("%s", text.c_str()), whole);
  EXPECT_EQ(Logged(text.c_str()), whole);
  EXPECT_EQ(Logged("%99999999999d", 1), std::string(LAUTH_DBG_TEXT_MAX - 1, ' ') + "1");
  EXPECT_EQ(Logged("%s%M", whole.c_str() + 3, kMac), whole.substr(3) + "00:");
}

TEST_F(DebugLog, DropsOneNewlineAtTheEnd) {
  EXPECT_EQ(Logged("line\n"), "line");
  EXPECT_EQ(Logged("line\n\n"), "line\n");
  EXPECT_EQ(Logged("\n"), "");
}

TEST_F(DebugLog, LeavesErrnoUnchanged) {
  LAUTH_dbg_SetSink([](void*, uint32_t, const char*) { errno = EIO; }, nullptr);
  errno = EAGAIN;
  LAUTH_dbg_PrintDbgInfo(1, "%d", 1);
  EXPECT_EQ(errno, EAGAIN);
}

TEST_F(DebugLog, WritesLinesToStandardErrorWithoutASinkOfItsOwn) {
  LAUTH_dbg_SetSink(nullptr, this);
  testing::internal::CaptureStderr();
  LAUTH_dbg_PrintDbgInfo(2, "found %M", kMac);
  LAUTH_dbg_PrintDbgInfo(2, "lost\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "found 00:1a:22:ff:44:05\nlost\n");
}

TEST_F(DebugLog, LetsASinkLogAndChangeTheSink) {
  struct Nested {
    static void Sink(void* context, uint32_t level, const char* text) {
      LAUTH_dbg_SetSink(Keep, context);
      LAUTH_dbg_PrintDbgInfo(level, "nested in %s", text);
    }
  };
  LAUTH_dbg_SetSink(Nested::Sink, &messages_);
  LAUTH_dbg_PrintDbgInfo(3, "outer");
  EXPECT_EQ(messages_, (Messages{{3, "nested in outer"}}));
}

TEST_F(DebugLog, TakesMessagesOfSeveralThreads) {
  static std::atomic<int> count;
  count = 0;
  LAUTH_dbg_SetSink([](void*, uint32_t, const char* text) { count += text[0] == 'm'; }, nullptr);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      for (int n = 0; n < 1000; ++n)
        LAUTH_dbg_PrintDbgInfo(1, "message %d of %d", n, i);
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(count, 4000);
}
