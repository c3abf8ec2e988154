// SPDX-License-Identifier: Apache-2.0
#include "lauth_hash.h"

#include <cstdlib>
#include <new>

HASH_Table* HASH_Create(uint32_t buckets, uint32_t (*hash)(const char*)) {
  if (buckets == 0 || hash == nullptr) return nullptr;
  auto** heads = static_cast<HASH_Link**>(std::calloc(buckets, sizeof(HASH_Link*)));
  if (heads == nullptr) return nullptr;
  void* memory = std::malloc(sizeof(HASH_Table));
  if (memory == nullptr) {
    std::free(heads);
    return nullptr;
  }
  return new (memory) HASH_Table{heads, buckets, hash};
}

void* HASH_Find(HASH_Table* table, const void* key, int (*compare)(const void*, const void*)) {
  if (table == nullptr || compare == nullptr) return nullptr;
  const uint32_t bucket = table->hash(static_cast<const char*>(key));
  if (bucket >= table->bucket_count) return nullptr;
  for (HASH_Link* link = table->buckets[bucket]; link != nullptr; link = link->next) {
    if (compare(link, key) == 0) return link;
  }
  return nullptr;
}

void HASH_Destroy(HASH_Table* table, void (*release)(void*)) {
  if (table == nullptr) return;
  for (uint32_t bucket = 0; release != nullptr && bucket < table->bucket_count; ++bucket) {
    HASH_Link** head = &table->buckets[bucket];
    while (HASH_Link* link = *head) {
      // Unlinked beforehand, in the very way in which the callback may unlink it once more.
      *head = link->next;
      if (link->next != nullptr) link->next->prev = head;
      link->prev = head;
      release(link);
    }
  }
  std::free(table->buckets);
  std::free(table);
}
