// SPDX-License-Identifier: Apache-2.0
// Stands between the library and the platform's message container: counts its calls, makes chosen
// ones fail, and keeps account of every message made and destroyed. A test program that links this
// takes the container's place for the library, which reaches it through the dynamic linker.
#ifndef TESTS_SUPPORT_PLATFORM_FAULTS_H
#define TESTS_SUPPORT_PLATFORM_FAULTS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace support {

class PlatformFaults {
 public:
  enum Call { kCreate, kAppend, kDelete, kGetValue, kGetMsgLen, kFlush, kReceive, kCalls };

  /// While one lives, calls of this thread go straight through: they are the test's own.
  class Pause {
   public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
  };

  struct Flush {
    uint32_t message, mode, length;
    uintptr_t target;
  };
  struct Receive {
    uint32_t mode;
    uintptr_t source;
    uint32_t limit;
  };

  /// Forgets all accounts and failures.
  static void Reset();

  /// Makes the n-th call of a kind from now on, counted from 1, give this result instead of being
  /// carried out.
  static void Fail(Call call, int n, uint32_t result);

  /// Calls of a kind since Reset.
  static int Count(Call call);

  /// Handles that the library made, or got by receiving, and has not destroyed.
  static std::vector<uint32_t> Alive();
  static int Made();
  /// Destructions of handles that were not alive.
  static int WrongDestructions();
  /// Takes a handle out of the account: it has come to the test.
  static void Forget(uint32_t handle);

  static std::vector<Flush> Flushes();
  static std::vector<Receive> Receives();
};

}  // namespace support

#endif  // TESTS_SUPPORT_PLATFORM_FAULTS_H
