// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/awaitable.h"

#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <stdexcept>
#include <vector>

#include "support/failing_allocator.h"

namespace byod::lauthd {
namespace {

struct Awaiting : testing::Test {
  Awaitable<void> Pause() {
    co_await Operation([this](auto done) { asio::post(io_, std::move(done)); });
  }
  Awaitable<int> Sum(int count) {
    int sum = 0;
    for (int i = 1; i <= count; ++i) {
      if (i % 2 == 0) co_await Pause();
      sum += i;
    }
    co_return sum;
  }
  Awaitable<void> Add(int count) { result_ += co_await Sum(count); }
  Awaitable<void> Throw(bool late) {
    if (late) co_await Pause();
    throw std::runtime_error("thrown");
  }

  template <typename T>
  void Run(Awaitable<T> task) {
    Spawn(std::move(task), [this](const std::exception_ptr& failure) {
      ended_ = true;
      failure_ = failure;
    });
    io_.run();
    io_.restart();
  }
  std::string Failure() const {
    try {
      if (failure_) std::rethrow_exception(failure_);
    } catch (const std::exception& error) {
      return error.what();
    }
    return "";
  }

  asio::io_context io_;
  int result_ = 0;
  bool ended_ = false;
  std::exception_ptr failure_;
};

TEST_F(Awaiting, ResultsComeOutOfNestedOnesWhetherTheyWaitOrNot) {
  for (const int count : {0, 1, 2, 1000}) {
    result_ = 0;
    Run(Add(count));
    EXPECT_EQ(result_, count * (count + 1) / 2);
    EXPECT_TRUE(ended_);
  }
}

TEST_F(Awaiting, ExceptionsComeOutOfNestedOnesWhetherTheyWaitOrNot) {
  for (const bool late : {false, true}) {
    const auto nested = [](Awaiting* test, bool is_late) -> Awaitable<void> {
      co_await test->Throw(is_late);
    };
    Run(nested(this, late));
    EXPECT_EQ(Failure(), "thrown");
  }
}

TEST_F(Awaiting, AnOperationReportsItsError) {
  asio::steady_timer timer(io_);
  const auto wait = [](asio::steady_timer* timer, asio::error_code* error) -> Awaitable<void> {
    timer->expires_at(std::chrono::steady_clock::time_point::max());
    *error = co_await Operation([&](auto done) { timer->async_wait(std::move(done)); });
  };
  asio::error_code error;
  asio::post(io_, [&] { timer.cancel(); });
  Run(wait(&timer, &error));
  EXPECT_EQ(error, asio::error::operation_aborted);
}

TEST_F(Awaiting, AFailingAllocationIsAnExceptionWhereverItHappens) {
  uint32_t failures = 0;
  for (uint32_t n = 1;; ++n) {
    ended_ = false;
    failure_ = nullptr;
    result_ = 0;
    support::FailingAllocation failing(n);
    bool begun = true;
    try {
      Run(Add(9));
    } catch (const std::bad_alloc&) {
      begun = false;
    }
    const bool failed = failing.Failed();
    failing.Disarm();
    io_.restart();
    if (!failed) break;
    ++failures;
    EXPECT_TRUE(!begun || (ended_ && failure_ != nullptr)) << n;
    EXPECT_EQ(result_, 0);
  }
  EXPECT_EQ(result_, 45);
  EXPECT_GE(failures, 3u);  // one for each coroutine at least
}

TEST_F(Awaiting, AWaitNeedsNoMemoryBesideItsFrame) {
  uint32_t count = 0;
  const auto wait = [](Awaiting* test, uint32_t* allocations) -> Awaitable<void> {
    asio::steady_timer timer(test->io_);
    for (int i = 0; i < 3; ++i) {
      timer.expires_after(std::chrono::milliseconds(1));
      if (i < 2) {
        co_await Operation([&](auto done) { timer.async_wait(std::move(done)); });
        continue;
      }
      support::FailingAllocation none(0);
      co_await Operation([&](auto done) { timer.async_wait(std::move(done)); });
      *allocations = none.Count();
    }
  };
  Run(wait(this, &count));
  EXPECT_EQ(Failure(), "");
  EXPECT_EQ(count, 0u);
}

TEST_F(Awaiting, WhatWaitsAtTheEndOfItsContextIsDestroyed) {
  struct Local {
    explicit Local(int& destroyed) : count(destroyed) {}
    ~Local() { ++count; }
    int& count;
  };
  int destroyed = 0;
  bool ended = false;
  {
    asio::io_context io;
    const auto inner = [](asio::io_context* context, int* count) -> Awaitable<void> {
      const Local local(*count);
      asio::steady_timer timer(*context);
      timer.expires_at(std::chrono::steady_clock::time_point::max());
      co_await Operation([&](auto done) { timer.async_wait(std::move(done)); });
    };
    const auto outer = [inner](asio::io_context* context, int* count) -> Awaitable<void> {
      const Local local(*count);
      co_await inner(context, count);
    };
    Spawn(outer(&io, &destroyed), [&](const std::exception_ptr&) { ended = true; });
    io.poll();
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 2);
  EXPECT_FALSE(ended);
}

}  // namespace
}  // namespace byod::lauthd
