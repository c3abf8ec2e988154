/* SPDX-License-Identifier: Apache-2.0
 * Preloaded into a daemon: one chosen allocation fails. FAILING_ALLOCATION names a file of two
 * numbers of 4 bytes in the machine's byte order, which the test shares: the allocation that fails,
 * counted from when the second number was set to 0, or 0 for none; and how many there have been. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

struct Shared {
  uint32_t fails_at;
  uint32_t count;
};

static volatile struct Shared* shared;

__attribute__((constructor)) static void open_shared(void) {
  const char* const name = getenv("FAILING_ALLOCATION");
  const int file = name != NULL ? open(name, O_RDWR | O_CLOEXEC) : -1;
  if (file < 0) return;
  void* const mapped = mmap(NULL, sizeof *shared, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (mapped != MAP_FAILED) shared = mapped;
}

static int fails(void) {
  if (shared == NULL || shared->fails_at == 0) return 0;
  if (++shared->count != shared->fails_at) return 0;
  errno = ENOMEM;
  return 1;
}

void* malloc(size_t size) {
  return fails() ? NULL : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  return fails() ? NULL : __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
  return fails() ? NULL : __libc_realloc(block, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
  return fails() ? NULL : __libc_memalign(alignment, size);
}

int posix_memalign(void** block, size_t alignment, size_t size) {
  if (fails()) return ENOMEM;
  *block = __libc_memalign(alignment, size);
  return *block != NULL ? 0 : ENOMEM;
}
