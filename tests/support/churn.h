// SPDX-License-Identifier: Apache-2.0
// Long runs of changes at every small size. A search that never ends, or a place that is lost,
// shows in small containers that change a lot, and hardly in large ones.
#ifndef BYOD_TESTS_SUPPORT_CHURN_H
#define BYOD_TESTS_SUPPORT_CHURN_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/emulation.h"

namespace support {

/// How many changes there are at each size: a tenth of 300,000, or what the environment's
/// BYOD_CHURN says.
inline int ChangesAtEachSize() {
  const char* const wanted = std::getenv("BYOD_CHURN");
  return wanted != nullptr ? std::atoi(wanted) : StepsHere(30000);
}

/**
 * Keeps up to a number of elements live, mostly nearly as many, and at times empties most of it.
 *
 * @param model  Add() takes in an element; size(); Remove(n) takes out the n-th, in the model's own
 *               order; Look() looks for what is there and what is not. All expect what a plain
 * model holds.
 */
template <typename Model>
void Churn(Model& model, size_t max_live, int changes, std::mt19937& random) {
  bool draining = false;
  for (int change = 0; change < changes; ++change) {
    if (model.size() == 0) draining = false;
    if (random() % 256 == 0) draining = true;
    const bool full = model.size() >= max_live;
    if (!full && !draining && (model.size() == 0 || random() % 4 != 0)) {
      model.Add();
    } else if (model.size() > 0) {
      model.Remove(random() % model.size());
    }
    model.Look();
    if (testing::Test::HasFailure()) {
      FAIL() << "at change " << change << " of up to " << max_live << " elements";
    }
  }
}

/// A run for each size. @param make  () -> a fresh model
template <typename Make>
void ChurnEverySize(size_t first, size_t last, Make make) {
  const int changes = ChangesAtEachSize();
  std::mt19937 random(static_cast<uint32_t>(first + last));
  for (size_t max_live = first; max_live <= last; ++max_live) {
    auto model = make();
    ASSERT_NO_FATAL_FAILURE(Churn(model, max_live, changes, random));
  }
}

/// Takes the n-th element out of a vector whose order does not count.
template <typename T>
T TakeOut(std::vector<T>& elements, size_t n) {
  std::swap(elements[n], elements.back());
  T taken = std::move(elements.back());
  elements.pop_back();
  return taken;
}

}  // namespace support

#endif  // BYOD_TESTS_SUPPORT_CHURN_H
