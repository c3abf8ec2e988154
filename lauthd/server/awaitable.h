// SPDX-License-Identifier: Apache-2.0
// Coroutines of the event loop.
//
// Asio's own awaitable starts an operation where no exception may pass, so that the process would
// end without memory for one. An Awaitable carries the exception to whoever awaits it. The memory
// of the operation that it waits for is part of its frame.
#ifndef LAUTHD_SERVER_AWAITABLE_H
#define LAUTHD_SERVER_AWAITABLE_H

#include <asio/error_code.hpp>
#include <coroutine>
#include <cstddef>
#include <exception>
#include <new>
#include <optional>
#include <utility>

namespace byod::lauthd {

class Promise {
 public:
  std::suspend_always initial_suspend() const noexcept { return {}; }

  /// Resumes the caller, which destroys the frame: nothing of it is used afterwards.
  auto final_suspend() const noexcept {
    struct ResumeCaller {
      Promise* caller;

      bool await_ready() const noexcept { return false; }
      void await_suspend(std::coroutine_handle<>) const noexcept {
        if (caller != nullptr) caller->frame_.resume();
      }
      void await_resume() const noexcept {}
    };
    return ResumeCaller{caller_};
  }

  void unhandled_exception() noexcept { failure_ = std::current_exception(); }
  void RethrowFailure() const {
    if (failure_) std::rethrow_exception(failure_);
  }

  /// Destroys this coroutine and those that wait for it.
  void Abandon() {
    Promise* outermost = this;
    while (outermost->caller_ != nullptr)
      outermost = outermost->caller_;
    outermost->frame_.destroy();
  }

  void Resume() { frame_.resume(); }
  void set_caller(Promise* caller) { caller_ = caller; }

 protected:
  explicit Promise(std::coroutine_handle<> frame) : frame_(frame) {}

 private:
  std::coroutine_handle<> frame_;
  Promise* caller_ = nullptr;  // which waits for the end; none before this one has to wait
  std::exception_ptr failure_;
};

template <typename T>
class PromiseOf : public Promise {
 public:
  using Promise::Promise;

  void return_value(T value) { value_ = std::move(value); }
  T TakeResult() {
    RethrowFailure();
    return std::move(*value_);
  }

 private:
  std::optional<T> value_;
};

template <>
class PromiseOf<void> : public Promise {
 public:
  using Promise::Promise;

  void return_void() const {}
  void TakeResult() const { RethrowFailure(); }
};

/// A coroutine that runs when it is awaited, on the stack of the caller until it has to wait.
template <typename T = void>
class [[nodiscard]] Awaitable {
 public:
  class promise_type : public PromiseOf<T> {
   public:
    promise_type() : PromiseOf<T>(std::coroutine_handle<promise_type>::from_promise(*this)) {}
    Awaitable get_return_object() { return Awaitable(*this); }
  };

  Awaitable(Awaitable&& other) noexcept : promise_(std::exchange(other.promise_, nullptr)) {}
  ~Awaitable() {
    if (promise_ != nullptr) Frame().destroy();
  }
  Awaitable& operator=(const Awaitable&) = delete;

  bool await_ready() const {
    promise_->Resume();
    return Frame().done();
  }
  template <typename Caller>
  void await_suspend(std::coroutine_handle<Caller> caller) const noexcept {
    promise_->set_caller(&caller.promise());
  }
  T await_resume() const { return promise_->TakeResult(); }

 private:
  explicit Awaitable(promise_type& promise) : promise_(&promise) {}
  std::coroutine_handle<promise_type> Frame() const {
    return std::coroutine_handle<promise_type>::from_promise(*promise_);
  }

  promise_type* promise_;
};

/**
 * An operation of Asio that an Awaitable waits for:
 *
 *     const asio::error_code error = co_await Operation([&](auto done) {
 *       timer.async_wait(std::move(done));
 *     });
 *
 * When the operation is destroyed instead of completed, as at the end of its io_context, the
 * coroutine is destroyed too.
 */
template <typename Start>
class Operation {
 public:
  explicit Operation(Start start) : start_(std::move(start)) {}
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  /// The memory of the one operation under way. What does not fit comes from the heap.
  template <typename T>
  class Allocator {
   public:
    using value_type = T;

    explicit Allocator(Operation* operation) : operation_(operation) {}
    template <typename Other>
    Allocator(const Allocator<Other>& other)  // NOLINT(google-explicit-constructor): converts
        : operation_(other.operation_) {}

    T* allocate(size_t count) const {
      const size_t size = count * sizeof(T);
      if (size > sizeof operation_->memory_ || std::exchange(operation_->is_taken_, true)) {
        return static_cast<T*>(::operator new(size));
      }
      return reinterpret_cast<T*>(operation_->memory_);
    }
    void deallocate(T* memory, size_t) const {
      if (reinterpret_cast<std::byte*>(memory) != operation_->memory_) {
        return ::operator delete(memory);
      }
      operation_->is_taken_ = false;
    }
    template <typename Other>
    bool operator==(const Allocator<Other>& other) const {
      return operation_ == other.operation_;
    }

   private:
    template <typename Other>
    friend class Allocator;
    static_assert(alignof(T) <= alignof(std::max_align_t));

    Operation* operation_;
  };

  /// What Asio calls at the end.
  class Handler {
   public:
    using allocator_type = Allocator<void*>;

    explicit Handler(Operation* operation) : allocator_(operation), operation_(operation) {}
    Handler(Handler&& other) noexcept
        : allocator_(other.allocator_), operation_(std::exchange(other.operation_, nullptr)) {}
    ~Handler() {
      if (operation_ != nullptr && operation_->waiting_) operation_->waiting_->Abandon();
    }
    Handler& operator=(const Handler&) = delete;

    allocator_type get_allocator() const { return allocator_; }

    void operator()() { (*this)(asio::error_code()); }
    template <typename... More>
    void operator()(asio::error_code error, const More&...) {
      Operation& operation = *std::exchange(operation_, nullptr);
      operation.error_ = error;
      std::exchange(operation.waiting_, nullptr)->Resume();
    }

   private:
    allocator_type allocator_;  // which Asio asks a handler for after it has been moved, too
    Operation* operation_;
  };

  bool await_ready() const noexcept { return false; }

  template <typename Caller>
  bool await_suspend(std::coroutine_handle<Caller> caller) noexcept {
    try {
      start_(Handler(this));
    } catch (...) {
      failure_ = std::current_exception();
      return false;
    }
    waiting_ = &caller.promise();
    return true;
  }

  asio::error_code await_resume() const {
    if (failure_) std::rethrow_exception(failure_);
    return error_;
  }

 private:
  static constexpr size_t kMemory = 320;

  Start start_;
  Promise* waiting_ = nullptr;
  asio::error_code error_;
  std::exception_ptr failure_;
  bool is_taken_ = false;
  alignas(std::max_align_t) std::byte memory_[kMemory];
};

/// The outermost coroutine, which nothing waits for. It destroys itself.
struct Detached {
  class promise_type : public Promise {
   public:
    promise_type() : Promise(std::coroutine_handle<promise_type>::from_promise(*this)) {}
    Detached get_return_object() const { return {}; }
    std::suspend_never initial_suspend() const noexcept { return {}; }
    std::suspend_never final_suspend() const noexcept { return {}; }
    void return_void() const {}
    void unhandled_exception() const noexcept { std::terminate(); }
  };
};

/// Runs a task by itself.
/// @param at_end  (what it failed with, or null); throws nothing
template <typename AtEnd>
Detached Spawn(Awaitable<void> task, AtEnd at_end) {
  std::exception_ptr failure;
  try {
    co_await task;
  } catch (...) {
    failure = std::current_exception();
  }
  at_end(failure);
}

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_AWAITABLE_H
