// SPDX-License-Identifier: Apache-2.0
// Many small pieces of memory, close together.
#ifndef BYOD_DATA_CONTAINERS_BLOCK_POOL_H
#define BYOD_DATA_CONTAINERS_BLOCK_POOL_H

#include <cstddef>

namespace byod::data {

/**
 * Cuts its pieces from slabs, so that an index lies dense in memory and searches in it meet few
 * pages: rules come from the heap one by one, between their device info records, and pieces
 * from the heap would lie as far apart. A released piece is reused for pieces of the same size;
 * slabs are released by Clear alone.
 */
class BlockPool {
 public:
  /// @return memory aligned for pointers and 64-bit numbers, or null
  void* Get(size_t size);

  /// Releases a piece. @param size  as it was requested
  void Put(void* piece, size_t size);

  /// Releases all slabs. Pieces above kMaxPiece must be released before, one by one.
  void Clear();

  static constexpr size_t kMaxPiece = 512;

 private:
  static constexpr size_t kUnit = 16;

  struct Slab {
    Slab* next;
    size_t unused;  // keeps what follows aligned
  };
  struct Free {
    Free* next;
  };

  bool AddSlab();

  Slab* slabs_ = nullptr;
  size_t slab_size_ = 0;  // of the newest
  char* rest_ = nullptr;  // of the newest
  size_t rest_size_ = 0;
  Free* free_[kMaxPiece / kUnit] = {};  // by size
};

}  // namespace byod::data

#endif  // BYOD_DATA_CONTAINERS_BLOCK_POOL_H
