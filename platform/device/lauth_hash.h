// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * Hash table with chains of the caller's records, linked through a link at the start of each
 * record.
 *
 * Ownership: the table owns its bucket array and never the records, until HASH_Destroy hands each
 * record to the release callback.
 *
 * The table is a visible record: there is no call for adding or removing, the user links records
 * himself. The bucket of a key is buckets[hash(key)]. It is a chain whose newest record comes
 * first:
 *
 *     HASH_Link** bucket = &table->buckets[table->hash(key)];
 *     link->next = *bucket;
 *     link->prev = bucket;
 *     if (*bucket != NULL) (*bucket)->prev = &link->next;
 *     *bucket = link;
 *
 * and out of the chain again:
 *
 *     *link->prev = link->next;
 *     if (link->next != NULL) link->next->prev = link->prev;
 *
 * Threads: a table has no lock. Different tables may be used from different threads; the caller
 * serialises the use of one.
 *
 * Callbacks must not throw.
 */
#ifndef LAUTH_HASH_H
#define LAUTH_HASH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** What a record begins with. */
typedef struct HASH_Link {
  struct HASH_Link* next;  /**< NULL in the last record of a chain */
  struct HASH_Link** prev; /**< the previous link's next, or the bucket */
} HASH_Link;

/** A table; made by HASH_Create only. The members are read, the buckets' contents also written. */
typedef struct HASH_Table {
  HASH_Link** buckets;           /**< bucket_count heads, NULL for an empty chain */
  uint32_t bucket_count;         /**< above 0 */
  uint32_t (*hash)(const char*); /**< gives a key's bucket, 0 to bucket_count - 1 */
} HASH_Table;

/**
 * Makes a table of empty buckets.
 *
 * @param buckets  how many, above 0
 * @param hash     gives the bucket of a key
 * @return the table, destroyed with HASH_Destroy; NULL without memory, buckets or hash function
 */
HASH_Table* HASH_Create(uint32_t buckets, uint32_t (*hash)(const char*));

/**
 * Finds the newest record with a key.
 *
 * @param key      handed to the hash function and to compare
 * @param compare  called as compare(record, key) along the key's chain; 0 is a match
 * @return the first match from the head of the chain, or NULL; also NULL for a NULL table or
 *         compare, and for a key whose hash is not a bucket
 */
void* HASH_Find(HASH_Table* table, const void* key,
                int (*compare)(const void* record, const void* key));

/**
 * Destroys a table, after handing every record to the release callback, buckets in ascending
 * order, each from its head.
 *
 * A record is out of its chain when the callback gets it. The callback may free it, and may also
 * unlink it as shown above.
 *
 * @param table    NULL does nothing
 * @param release  NULL leaves the records to their owner
 */
void HASH_Destroy(HASH_Table* table, void (*release)(void* record));

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* LAUTH_HASH_H */
