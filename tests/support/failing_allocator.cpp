// SPDX-License-Identifier: Apache-2.0
#include "support/failing_allocator.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "support/sanitized.h"

// The allocator underneath. Under a sanitizer that is the sanitizer's own, which it also offers
// under other names for programs that take the usual ones.
extern "C" {
#if BYOD_SANITIZED
#define UNDERNEATH(name) __interceptor_##name
#else
#define UNDERNEATH(name) __libc_##name
#define UNDERNEATH_IS_LIBC 1
#endif
void* UNDERNEATH(malloc)(size_t size);
void* UNDERNEATH(calloc)(size_t count, size_t size);
void* UNDERNEATH(realloc)(void* old, size_t size);
void UNDERNEATH(free)(void* memory);
#ifdef UNDERNEATH_IS_LIBC
void* __libc_memalign(size_t alignment, size_t size);
#else
int __interceptor_posix_memalign(void** out, size_t alignment, size_t size);
#endif
}

// Sanitizers allocate before they are ready for calls out of instrumented functions.
#define UNINSTRUMENTED __attribute__((no_sanitize("address", "thread", "undefined")))

namespace {

// initial-exec, so that reaching them never allocates.
__attribute__((tls_model("initial-exec"))) thread_local uint32_t* counter = nullptr;
__attribute__((tls_model("initial-exec"))) thread_local uint32_t failing = 0;
__attribute__((tls_model("initial-exec"))) thread_local int64_t live = 0;

UNINSTRUMENTED void* Counted(void* memory) {
  live += memory != nullptr;
  return memory;
}

UNINSTRUMENTED bool Fails() {
  if (counter == nullptr || ++*counter != failing) return false;
  errno = ENOMEM;
  return true;
}

UNINSTRUMENTED void* AllocateAligned(size_t alignment, size_t size) {
#ifdef UNDERNEATH_IS_LIBC
  return __libc_memalign(alignment, size);
#else
  void* memory = nullptr;
  return __interceptor_posix_memalign(&memory, alignment, size) == 0 ? memory : nullptr;
#endif
}

}  // namespace

extern "C" {

UNINSTRUMENTED void* malloc(size_t size) {
  return Fails() ? nullptr : Counted(UNDERNEATH(malloc)(size));
}

UNINSTRUMENTED void* calloc(size_t count, size_t size) {
  return Fails() ? nullptr : Counted(UNDERNEATH(calloc)(count, size));
}

UNINSTRUMENTED void* realloc(void* old, size_t size) {
  if (Fails()) return nullptr;
  void* const memory = UNDERNEATH(realloc)(old, size);
  if (old == nullptr) return Counted(memory);
  if (memory == nullptr && size == 0) --live;
  return memory;
}

UNINSTRUMENTED void free(void* memory) {
  live -= memory != nullptr;
  UNDERNEATH(free)(memory);
}

UNINSTRUMENTED void* aligned_alloc(size_t alignment, size_t size) {
  return Fails() ? nullptr : Counted(AllocateAligned(alignment, size));
}

UNINSTRUMENTED int posix_memalign(void** out, size_t alignment, size_t size) {
  void* memory = Fails() ? nullptr : AllocateAligned(alignment, size);
  if (memory == nullptr) return ENOMEM;
  *out = Counted(memory);
  return 0;
}

}  // extern "C"

// Replaced, because a sanitizer's operator new does not come by malloc.
void* operator new(size_t size) {
  if (void* memory = malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

void* operator new[](size_t size) {
  return operator new(size);
}

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return malloc(size != 0 ? size : 1);
}

void* operator new[](size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}

namespace support {

FailingAllocation::FailingAllocation(uint32_t nth) : nth_(nth) {
  failing = nth;
  counter = &count_;
}

FailingAllocation::~FailingAllocation() {
  Disarm();
}

void FailingAllocation::Disarm() {
  if (!armed_) return;
  armed_ = false;
  counter = nullptr;
}

uint32_t FailingAllocation::Count() const {
  return count_;
}

bool FailingAllocation::Failed() const {
  return nth_ != 0 && count_ >= nth_;
}

int64_t LiveAllocations() {
  return live;
}

}  // namespace support
