// Many small pieces of memory, close together.
#ifndef BYOD_DATA_CONTAINERS_BLOCK_POOL_H
#define BYOD_DATA_CONTAINERS_BLOCK_POOL_H

#include <cstddef>

namespace byod::data {

/**
 * Cuts its pieces from slabs, so that an index lies dense in memory and searches in it meet few
 * pages: rules come from the heap one by one, between their device informations, and what came
 * from the heap with them would lie as far apart. What is given back is used again for pieces of
 * the same size; slabs are given back by Clear alone.
 */
class BlockPool {
 public:
  /// @return memory aligned for pointers and 64-bit numbers, or null
  void* Get(size_t size);

  /// Gives a piece back. @param size  as it was asked for
  void Put(void* piece, size_t size);

  /// Gives all slabs back. Pieces above kLargest are to be given back before, one by one.
  void Clear();

  static constexpr size_t kLargest = 512;

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
  Free* free_[kLargest / kUnit] = {};  // by size
};

}  // namespace byod::data

#endif  // BYOD_DATA_CONTAINERS_BLOCK_POOL_H
