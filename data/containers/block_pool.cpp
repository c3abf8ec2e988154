// SPDX-License-Identifier: Apache-2.0
#include "data/containers/block_pool.h"

#include <cstdlib>
#include <new>

#include "data/containers/steps.h"

namespace byod::data {

namespace {
constexpr size_t kFirstSlab = 4096;
constexpr size_t kMaxSlab = 65536;
}  // namespace

bool BlockPool::AddSlab() {
  const size_t size = slab_size_ == 0         ? kFirstSlab
                      : slab_size_ < kMaxSlab ? slab_size_ * 2
                                              : slab_size_;
  void* const memory = std::malloc(size);
  if (memory == nullptr) return false;
  // What is left of the last slab is a piece, too.
  if (rest_size_ > 0) Put(rest_, rest_size_);
  slabs_ = new (memory) Slab{slabs_, 0};
  slab_size_ = size;
  rest_ = static_cast<char*>(memory) + kUnit;
  rest_size_ = size - kUnit;
  return true;
}

void* BlockPool::Get(size_t size) {
  CountStep();
  static_assert(sizeof(Slab) <= kUnit && alignof(Slab) <= kUnit);
  if (size > kMaxPiece) return std::malloc(size);
  const size_t units = (size + kUnit - 1) / kUnit;
  Free*& free = free_[units - 1];
  if (free != nullptr) {
    void* const piece = free;
    free = free->next;
    return piece;
  }
  if (rest_size_ < units * kUnit && !AddSlab()) return nullptr;
  void* const piece = rest_;
  rest_ += units * kUnit;
  rest_size_ -= units * kUnit;
  return piece;
}

void BlockPool::Put(void* piece, size_t size) {
  if (size > kMaxPiece) return std::free(piece);
  Free*& free = free_[(size + kUnit - 1) / kUnit - 1];
  free = new (piece) Free{free};
}

void BlockPool::Clear() {
  while (slabs_ != nullptr) {
    Slab* const slab = slabs_;
    slabs_ = slab->next;
    std::free(slab);
  }
  *this = {};
}

}  // namespace byod::data
