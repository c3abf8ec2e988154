// SPDX-License-Identifier: Apache-2.0
// Where a run against a model takes its decisions from: a seed, or a fuzzer's input.
#ifndef BYOD_TESTS_SUPPORT_CHOICES_H
#define BYOD_TESTS_SUPPORT_CHOICES_H

#include <cstddef>
#include <cstdint>
#include <random>

namespace byod::test {

class Choices {
 public:
  explicit Choices(uint32_t seed) : random_(seed) {}
  /// The bytes must outlive this. Behind them everything is 0.
  Choices(const uint8_t* bytes, size_t size) : from_input_(true), bytes_(bytes), left_(size) {}

  /// Whether an input is used up; a seed never is.
  bool Spent() const { return from_input_ && left_ == 0; }

  /// A number below a bound that is not 0. Takes one byte of an input for bounds up to 256, so that
  /// a fuzzer finds out soon which byte decides what.
  size_t Below(size_t bound) {
    if (!from_input_) return random_() % bound;
    size_t number = 0;
    for (size_t reach = 1; reach < bound; reach *= 256)
      number = number << 8 | Byte();
    return number % bound;
  }

  uint32_t Number() { return static_cast<uint32_t>(Below(size_t{1} << 16) << 16 | Below(1 << 16)); }

 private:
  uint8_t Byte() {
    if (left_ == 0) return 0;
    --left_;
    return *bytes_++;
  }

  std::mt19937 random_;
  bool from_input_ = false;
  const uint8_t* bytes_ = nullptr;
  size_t left_ = 0;
};

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_CHOICES_H
