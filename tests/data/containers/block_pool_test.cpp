// SPDX-License-Identifier: Apache-2.0
// Memory in small pieces: none overlap, what is given back is used again, and all of it goes back.
#include "data/containers/block_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <vector>

#include "support/failing_allocator.h"

namespace {

using byod::data::BlockPool;

TEST(BlockPool, PiecesAreAlignedAndDoNotOverlap) {
  BlockPool pool;
  std::mt19937 random(1);
  struct Piece {
    size_t size;
    uint8_t filling;
  };
  std::map<char*, Piece> pieces;
  for (int step = 0; step < 20000; ++step) {
    if (random() % 3 != 0 || pieces.empty()) {
      const size_t size = 1 + random() % (BlockPool::kMaxPiece + 20);
      auto* const memory = static_cast<char*>(pool.Get(size));
      ASSERT_NE(memory, nullptr);
      ASSERT_EQ(reinterpret_cast<uintptr_t>(memory) % alignof(uint64_t), 0u);
      const auto next = pieces.lower_bound(memory);
      if (next != pieces.end()) {
        ASSERT_LE(memory + size, next->first);
      }
      if (next != pieces.begin()) {
        const auto& [before, piece] = *std::prev(next);
        ASSERT_LE(before + piece.size, memory);
      }
      const auto filling = static_cast<uint8_t>(random());
      std::memset(memory, filling, size);
      pieces[memory] = {size, filling};
    } else {
      auto chosen = pieces.begin();
      std::advance(chosen, random() % std::min<size_t>(pieces.size(), 100));
      const auto [memory, piece] = *chosen;
      for (size_t i = 0; i < piece.size; ++i)
        ASSERT_EQ(static_cast<uint8_t>(memory[i]), piece.filling);
      pool.Put(memory, piece.size);
      pieces.erase(chosen);
    }
  }
  for (const auto& [memory, piece] : pieces) {
    if (piece.size > BlockPool::kMaxPiece) pool.Put(memory, piece.size);
  }
  pool.Clear();
}

TEST(BlockPool, GivesAPieceBackForTheSameSizeBeforeItCutsANewOne) {
  BlockPool pool;
  for (size_t size = 1; size <= BlockPool::kMaxPiece; ++size) {
    void* const piece = pool.Get(size);
    pool.Put(piece, size);
    EXPECT_EQ(pool.Get(size), piece) << size;
  }
  pool.Clear();
}

TEST(BlockPool, ClearingGivesEverythingBackThatIsNotTooLargeForIt) {
  for (size_t size = 1; size <= BlockPool::kMaxPiece + 1; ++size) {
    const int64_t before = support::LiveAllocations();
    BlockPool pool;
    void* pieces[3];
    for (void*& piece : pieces)
      piece = pool.Get(size);
    if (size > BlockPool::kMaxPiece) {
      EXPECT_EQ(support::LiveAllocations(), before + 3);
      for (void* const piece : pieces)
        pool.Put(piece, size);
    } else {
      pool.Put(pieces[1], size);
    }
    pool.Clear();
    EXPECT_EQ(support::LiveAllocations(), before) << size;
  }
}

TEST(BlockPool, ManyPiecesTakeFewAllocations) {
  BlockPool pool;
  const int64_t before = support::LiveAllocations();
  constexpr int kPieces = 100000;
  for (int i = 0; i < kPieces; ++i)
    ASSERT_NE(pool.Get(16), nullptr);
  // Slabs double from 4096 bytes to 65536.
  EXPECT_LE(support::LiveAllocations() - before, 5 + kPieces * 16 / (65536 - 16) + 1);
  pool.Clear();
}

TEST(BlockPool, WithoutMemoryThereIsNoPieceAndTheNextRequestTriesAgain) {
  BlockPool pool;
  {
    support::FailingAllocation allocation(1);
    EXPECT_EQ(pool.Get(16), nullptr);
  }
  EXPECT_NE(pool.Get(16), nullptr);
  {
    support::FailingAllocation allocation(1);
    EXPECT_EQ(pool.Get(BlockPool::kMaxPiece + 1), nullptr);
  }
  pool.Clear();
}

}  // namespace
