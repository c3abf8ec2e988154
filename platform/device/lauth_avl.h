// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * Balanced tree over records of the caller, linked through a node at the start of each record.
 *
 * Ownership: the tree owns its own bookkeeping and never the records, until AVL_Fini hands each
 * record to the release callback. A record is linked in at most one tree at a time. Its node is
 * zero when the record is made; from then on the tree alone writes to it, and zeroes it again when
 * the record leaves the tree, so a record with a zero node is in no tree.
 *
 * Order: the tree knows nothing of keys; it asks a compare. Every compare of this header is called
 * as compare(record, probe), where record is linked in the tree and probe is the argument of the
 * call, and says by its sign whether record comes before (negative), is equal to (0) or comes
 * after (positive) the probe. A compare need not be consistent: with one that contradicts itself
 * the order of the records is arbitrary and a search may miss, but every record that was inserted
 * is walked exactly once and can be removed.
 *
 * Cost: a search asks the compare at most once for each level, and there are at most 1.45 log2(n)
 * of them. Insert, remove and the step to a neighbour take O(log n) and allocate nothing.
 *
 * Threads: a tree has no lock. Different trees may be used from different threads; the caller
 * serialises the use of one.
 *
 * Callbacks must not throw. A compare must not change the tree.
 */
#ifndef LAUTH_AVL_H
#define LAUTH_AVL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

#define AVL_ERR_ARGUMENT 0x41560001u  /**< the tree or the record is NULL */
#define AVL_ERR_EXISTS 0x41560002u    /**< an equal record is in the tree */
#define AVL_ERR_LINKED 0x41560003u    /**< the record's node is not zero: it is in a tree */
#define AVL_ERR_NOT_FOUND 0x41560004u /**< the record is not in this tree */
#define AVL_ERR_CLOSING 0x41560005u   /**< AVL_Fini is at work on this tree */

/** What a record begins with: three words that only the tree reads and writes. */
typedef struct AVL_Node {
  void* words[3];
} AVL_Node;

/**
 * Makes an empty tree.
 *
 * @param compare  orders the records; called as compare(record in the tree, new record)
 * @param zero     0
 * @param release  gets every record that is still in the tree at AVL_Fini; may be NULL
 * @return the tree, destroyed with AVL_Fini; NULL without memory or without a compare
 */
void* AVL_Init(int (*compare)(const void*, const void*), uint32_t zero, void (*release)(void*));

/**
 * Destroys a tree, after handing each record, in order, to the release callback.
 *
 * A record has left the tree when the callback gets it. The callback is expected to call
 * AVL_Remove on the record, which reports success this once, and to free it; it may as well free
 * it at once, keep it, or remove other records of the tree. An AVL_Insert is refused meanwhile.
 * Open walks end; AVL_Walk_Fini is still called for each.
 *
 * @param tree  NULL does nothing, and so does a call out of the release callback
 */
void AVL_Fini(void* tree);

/**
 * Links a record into a tree.
 *
 * @param record  its node is zero; borrowed until it is removed
 * @return 0; AVL_ERR_EXISTS, AVL_ERR_LINKED, AVL_ERR_CLOSING or AVL_ERR_ARGUMENT, with tree and
 *         record left unchanged
 */
uint32_t AVL_Insert(void* tree, void* record);

/**
 * Takes a record out of a tree and zeroes its node. Asks no compare.
 *
 * @return 0; AVL_ERR_NOT_FOUND when the record is not in this tree, AVL_ERR_ARGUMENT
 */
uint32_t AVL_Remove(void* tree, void* record);

/**
 * Searches with a compare of the caller's, which may be another one than the tree's.
 *
 * @param probe    handed to compare as its second argument, not looked into otherwise
 * @param compare  called as compare(record, probe)
 * @return the first record met on the way down for which compare gives 0, or NULL; also NULL for a
 *         NULL tree or compare
 */
void* AVL_Get(void* tree, const void* probe, int (*compare)(const void*, const void*));

/** @return the record after this one in order; NULL after the last, for NULL, and for a record in
 *          no tree */
void* AVL_GetNext(void* tree, void* record);

/** @return the record before this one in order; NULL before the first, for NULL, and for a record
 *          in no tree */
void* AVL_GetPrev(void* tree, void* record);

/** @return the first record in order; NULL for an empty tree and for NULL */
void* AVL_GetLeftMost(void* tree);

/**
 * Starts a walk over all records in order. The tree may change meanwhile: a record removed before
 * the walk comes to it is left out, whichever it is.
 *
 * @return the walk, released with AVL_Walk_Fini; NULL without memory or for a NULL tree
 */
void* AVL_Walk_Init(void* tree);

/** @return the next record of the walk; NULL at the end, for NULL, and when the tree is gone */
void* AVL_WalkNode(void* walk);

/** Ends a walk, before or after the end of the records; NULL does nothing. */
void AVL_Walk_Fini(void* walk);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* LAUTH_AVL_H */
