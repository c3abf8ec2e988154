// SPDX-License-Identifier: Apache-2.0
#include "support/container_faults.h"

#include <dlfcn.h>

#include "lauth_avl.h"
#include "lauth_hash.h"

namespace byod::test {

ContainerFaults& Containers() {
  static ContainerFaults faults;
  return faults;
}

namespace {

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace
}  // namespace byod::test

using byod::test::Containers;
using byod::test::Real;

extern "C" {

void* AVL_Init(int (*compare)(const void*, const void*), uint32_t zero, void (*release)(void*)) {
  static auto* const real = Real<decltype(AVL_Init)>("AVL_Init");
  Containers().tree_option = zero;
  if (Containers().avl_init.Enter()) return Containers().avl_init.failure;
  return real(compare, zero, release);
}

void AVL_Fini(void* tree) {
  static auto* const real = Real<decltype(AVL_Fini)>("AVL_Fini");
  ++Containers().trees_destroyed;
  real(tree);
}

uint32_t AVL_Insert(void* tree, void* record) {
  static auto* const real = Real<decltype(AVL_Insert)>("AVL_Insert");
  if (Containers().avl_insert.Enter()) return Containers().avl_insert.failure;
  return real(tree, record);
}

uint32_t AVL_Remove(void* tree, void* record) {
  static auto* const real = Real<decltype(AVL_Remove)>("AVL_Remove");
  const uint32_t result = real(tree, record);
  return Containers().avl_remove.Enter() ? Containers().avl_remove.failure : result;
}

void* AVL_Get(void* tree, const void* probe, int (*compare)(const void*, const void*)) {
  static auto* const real = Real<decltype(AVL_Get)>("AVL_Get");
  if (Containers().avl_get.Enter()) return Containers().avl_get.failure;
  return real(tree, probe, compare);
}

void* AVL_GetNext(void* tree, void* record) {
  static auto* const real = Real<decltype(AVL_GetNext)>("AVL_GetNext");
  if (record != nullptr) return real(tree, record);
  const uint32_t asked = Containers().asked_after_null++;
  const auto& answers = Containers().after_null;
  return asked < answers.size() ? answers[asked] : nullptr;
}

void* AVL_Walk_Init(void* tree) {
  static auto* const real = Real<decltype(AVL_Walk_Init)>("AVL_Walk_Init");
  if (Containers().avl_walk_init.Enter()) return Containers().avl_walk_init.failure;
  return real(tree);
}

void AVL_Walk_Fini(void* walk) {
  static auto* const real = Real<decltype(AVL_Walk_Fini)>("AVL_Walk_Fini");
  ++Containers().walks_ended;
  real(walk);
}

HASH_Table* HASH_Create(uint32_t buckets, uint32_t (*hash)(const char*)) {
  static auto* const real = Real<decltype(HASH_Create)>("HASH_Create");
  if (Containers().hash_create.Enter()) return nullptr;
  HASH_Table* const table = real(buckets, hash);
  Containers().tables_made.push_back(table);
  return table;
}

void HASH_Destroy(HASH_Table* table, void (*release)(void*)) {
  static auto* const real = Real<decltype(HASH_Destroy)>("HASH_Destroy");
  Containers().tables_destroyed.push_back(table);
  real(table, release);
}

}  // extern "C"
