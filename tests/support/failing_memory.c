/* SPDX-License-Identifier: Apache-2.0
 * Preloaded into a program: its allocations fail now and then. FAILING_MEMORY names a file of 4
 * bytes in the machine's byte order: of so many allocations one fails; 0 means none. The file may
 * be changed while the program runs. scripts/attack.py uses it. */
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

static const volatile uint32_t* period;
static uint64_t state = 88172645463325252u;

__attribute__((constructor)) static void open_period(void) {
  const char* const name = getenv("FAILING_MEMORY");
  const int file = name != NULL ? open(name, O_RDONLY | O_CLOEXEC) : -1;
  if (file < 0) return;
  void* const mapped = mmap(NULL, sizeof *period, PROT_READ, MAP_SHARED, file, 0);
  close(file);
  if (mapped != MAP_FAILED) period = mapped;
}

static int fails(void) {
  if (period == NULL || *period == 0) return 0;
  state ^= state << 13;
  state ^= state >> 7;
  state ^= state << 17;
  if (state % *period != 0) return 0;
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
