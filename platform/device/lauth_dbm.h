// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * The configuration database of the device's support library: sort lists, which are ordered sets of
 * records, and binary values, both under keys.
 *
 * What a caller may rely on:
 *
 * - A change whose call returned success survives SIGKILL, a crash and a loss of power at any later
 *   instant.
 * - A change whose call did not return left the old state or the new one, nothing between.
 * - A change whose call failed left the old state. One gap: when the disk refuses to flush the
 *   change and then refuses to flush its withdrawal too, a crash before the next change may bring
 *   it back; the error text says so.
 * - A change of a database whose file was taken away while it is open fails, until it is back.
 * - A file that is torn, truncated or not ours is refused by DBM_Open with a text that names it and
 *   the reason, and is not written to, not even by a clean-up.
 *
 * Several processes may have a database open at once; each sees what the others saved, and a change
 * waits its turn for ten seconds before it fails with DBM_ERR_BUSY.
 *
 * Handles: opaque numbers. 0 and those below -1 are as good as any; only -1 never names a database.
 * A handle that is closed, invented, or inherited through fork is refused. A process that forked
 * while a database was open can open none in the child until it has called exec.
 *
 * Threads: any. Calls on one handle wait for each other, so one thread at a time uses it.
 *
 * Results are 0 for success unless said, and a code below for failure. LAUTH_db_ErrorText
 * (lauth_dbm_admin.h) says, for people, why the calling thread's last failing call failed.
 */
#ifndef LAUTH_DBM_H
#define LAUTH_DBM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** Results. All failures are below zero. */
enum {
  DBM_OK = 0,
  DBM_ERR_FAILED = -1,   /**< the system or the disk refused */
  DBM_ERR_NOTFOUND = -2, /**< there is no such database, key or record */
  DBM_ERR_REFUSED = -3,  /**< a bad handle or argument, or one that differs from what is stored */
  DBM_ERR_BUSY = -4,     /**< others kept the database occupied for too long */
  DBM_ERR_FULL = -5,     /**< the disk is full */
  DBM_ERR_DAMAGED = -6,  /**< the file is torn, truncated or not such a database */
  DBM_ERR_MEMORY = -7    /**< memory ran out */
};

/** Limits. */
enum {
  DBM_MODE = 7,                   /**< the only mode of DBM_Open */
  DBM_COMPARE_TEXT = 6,           /**< byte-wise up to the first NUL; the only comparison */
  DBM_MAX_NAME = 64,              /**< bytes of a database's or an owner's name */
  DBM_MAX_KEY = 4096,             /**< bytes of a key, and of a sort key */
  DBM_MAX_DATA = 16 * 1024 * 1024 /**< bytes of a record or value */
};

/** What DBM_Open's parameters point at. All of it is kept with the database. */
typedef struct DBM_Parameters {
  uint32_t words[4]; /**< codes of the caller's, in machine order */
  char store[16];    /**< the store's name, NUL-padded */
} DBM_Parameters;

/**
 * Opens a database and creates it when it is not there, and the directory too if only its last part
 * is missing. The directory gets mode 0700 and the files 0600, whatever the umask. The whole file
 * is checked first.
 *
 * @param name        1 to DBM_MAX_NAME bytes; "eBYOD" lies in the file eBYOD.db, and bytes other
 *                    than letters, digits, '_' and '-' are written as %XX
 * @param owner       1 to DBM_MAX_NAME bytes; must be what the database was created with
 * @param mode        DBM_MODE
 * @param parameters  a DBM_Parameters; must be what the database was created with
 * @param handle      gets the handle; left unchanged on failure
 */
int32_t DBM_Open(const char* name, const char* owner, uint32_t mode, const void* parameters,
                 int32_t* handle);

/** Closes a database. Its iterators go, and a bulk change that is not committed is withdrawn. */
int32_t DBM_Close(int32_t handle);

/**
 * Removes a database with everything in it.
 *
 * @return 0; DBM_ERR_NOTFOUND when there is none; DBM_ERR_BUSY when anyone, this process included,
 *         has it open; DBM_ERR_DAMAGED when the file is not such a database. It stays on failure.
 */
int32_t DBM_Delete(const char* name);

/**
 * Stores a value, in place of any that the key has.
 *
 * @param key         key_length bytes, 1 to DBM_MAX_KEY, any bytes
 * @param area, form  codes of the caller's, kept with the value; a value that is there must have
 *                    the same
 * @param data        length bytes, at most DBM_MAX_DATA; may be null when length is 0
 * @return 0; DBM_ERR_REFUSED when the key names a sort list
 */
int32_t DBM_SetBinary(int32_t handle, const void* key, uint32_t key_length, uint32_t area,
                      uint32_t length, const void* data, uint32_t form);

/**
 * Reads a value.
 *
 * @param area  as it was stored with
 * @param data  gets the first size bytes of the value, or all when it is shorter; the rest stays
 * @return the length of the stored value, also when it exceeds size; DBM_ERR_NOTFOUND when the key
 *         has no value
 */
int32_t DBM_GetBinary(int32_t handle, const void* key, uint32_t key_length, uint32_t area,
                      uint32_t size, void* data);

/** @return 1 when the key names a sort list or a value, 0 when not, below 0 on failure */
int32_t DBM_IsKeyExist(int32_t handle, const void* key, uint32_t key_length);

/**
 * Creates a sort list. The record's bytes from offset on, up to the first NUL but at most length of
 * them, are its sort key.
 *
 * @param descriptor  offset, length (1 to DBM_MAX_KEY), DBM_COMPARE_TEXT, 0
 * @param count       1, the number of descriptors
 * @param list        a number of the caller's, kept with the list
 * @return 0, also when the very same list is there; DBM_ERR_REFUSED when another one or a value is
 */
int32_t DBM_CreateSortList(int32_t handle, const void* key, uint32_t key_length,
                           const uint32_t descriptor[4], uint32_t count, uint32_t list);

/**
 * Stores a record, in place of the one with its sort key if there is one. Records of one list may
 * differ in size.
 *
 * @param size  of the record; it holds the sort key's bytes and at most DBM_MAX_DATA
 * @param list  the number that the list was created with
 * @return 0; DBM_ERR_NOTFOUND when the key names no sort list
 */
int32_t DBM_InsertSortList(int32_t handle, const void* key, uint32_t key_length, uint32_t size,
                           const void* record, uint32_t list);

/**
 * Removes the record with a sort key. Nothing of the given record counts but its sort key.
 *
 * @return 0; DBM_ERR_NOTFOUND when there is no such list or record
 */
int32_t DBM_RemoveSortList(int32_t handle, const void* key, uint32_t key_length, uint32_t size,
                           const void* record);

/**
 * Reads the record with a sort key.
 *
 * @param size    of the buffer; it holds the sort key's bytes
 * @param record  holds the sort key; gets the first size bytes of the record, or all when it is
 *                shorter. Left unchanged when there is none
 * @return the bytes copied; 0 when there is no such list or record; below 0 on failure
 */
int32_t DBM_GetSortList(int32_t handle, const void* key, uint32_t key_length, uint32_t size,
                        void* record);

/**
 * Reads a sort list in the order of its sort keys, byte by byte, a key before its continuations.
 *
 * The place is held by key: records may be inserted and removed between the steps, and the next
 * step gives the first record behind the last one that was read.
 *
 * @param iterator           0 at the start; release with DBM_FreeIterator
 * @param reserved, unused   0
 * @param size               of the buffer
 * @param record             gets the first size bytes of the record, or all when it is shorter
 * @return the bytes copied; 0 at the end or when there is no such list; below 0 on failure
 */
int32_t DBM_GetNextSortList(int32_t handle, const void* key, uint32_t key_length,
                            uintptr_t* iterator, uint32_t reserved, uint32_t unused, uint32_t size,
                            void* record);

/**
 * Releases an iterator and makes the variable 0.
 *
 * @return 0, also for a variable that is 0; DBM_ERR_REFUSED for a handle or an iterator that is not
 *         one, the variable being 0 all the same
 */
int32_t DBM_FreeIterator(int32_t handle, uintptr_t* iterator);

/**
 * Removes a value, or a sort list with its records.
 *
 * @return 0; DBM_ERR_NOTFOUND when there is no such key
 */
int32_t DBM_DeleteKey(int32_t handle, const void* key, uint32_t key_length);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* LAUTH_DBM_H */
