// SPDX-License-Identifier: Apache-2.0
// Stands between the library and the platform's trees and hash tables: counts its calls and makes
// chosen ones fail. A test program that links container_faults.cpp takes the containers' place for
// the library, which reaches them through the dynamic linker; what is not asked to fail is handed
// on. One thread.
#ifndef BYOD_TESTS_SUPPORT_CONTAINER_FAULTS_H
#define BYOD_TESTS_SUPPORT_CONTAINER_FAULTS_H

#include <cstdint>
#include <vector>

namespace byod::test {

/// One platform call.
template <typename Result>
struct WatchedCall {
  uint32_t calls = 0;
  uint32_t fails_at = 0;  // the call, from 1, that gives `failure`; 0 = none
  bool fails_always = false;
  Result failure = {};

  /// Counts a call. @return whether it is to fail
  bool Enter() { return ++calls == fails_at || fails_always; }
};

struct ContainerFaults {
  WatchedCall<void*> avl_init;
  WatchedCall<void*> avl_get;
  WatchedCall<void*> avl_walk_init;
  WatchedCall<void*> hash_create;
  WatchedCall<uint32_t> avl_insert;
  /// A call that fails has taken the record out all the same.
  WatchedCall<uint32_t> avl_remove;

  uint32_t tree_option = UINT32_MAX;  // the number that the last tree was asked for with
  uint32_t walks_ended = 0;
  uint32_t trees_destroyed = 0;
  std::vector<void*> tables_made;
  std::vector<void*> tables_destroyed;

  /// What AVL_GetNext of a null node gives, call by call; null when used up.
  std::vector<void*> after_null;
  uint32_t asked_after_null = 0;
};

/// What the containers of this program do.
ContainerFaults& Containers();

/// Lets the containers work as ever, at both ends of a scope.
struct ContainerFaultScope {
  ContainerFaultScope() { Containers() = {}; }
  ~ContainerFaultScope() { Containers() = {}; }
  ContainerFaultScope(const ContainerFaultScope&) = delete;
  ContainerFaultScope& operator=(const ContainerFaultScope&) = delete;
};

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_CONTAINER_FAULTS_H
