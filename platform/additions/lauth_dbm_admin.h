// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * What a program that owns configuration databases needs besides lauth_dbm.h: where they lie, why a
 * call failed, what is stored, backup and restore, and many changes under one flush.
 *
 * Threads, handles and results are as in lauth_dbm.h.
 */
#ifndef LAUTH_DBM_ADMIN_H
#define LAUTH_DBM_ADMIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** What a key names. */
enum { LAUTH_DB_LIST = 1, LAUTH_DB_VALUE = 2 };

/**
 * Sets the directory in which the process opens databases from now on. Without it they lie in the
 * directory that the environment variable LAUTH_STATE_DIR names, which a program that runs with
 * more rights than its caller ignores, or else in /var/lib/lauth.
 *
 * @param directory  copied; a relative one is taken from the current directory; NULL takes an
 * earlier setting back
 */
int32_t LAUTH_db_SetDirectory(const char* directory);

/**
 * @return why the calling thread's last failing database call failed, one line for a person, naming
 *         the file; "" when none has failed. Valid until the thread's next failing call
 */
const char* LAUTH_db_ErrorText(void);

/**
 * Gets one key. It may call every DBM function, on the same handle too; what it adds or removes
 * does not change which keys the walk still gives.
 *
 * @param key   key_length bytes; valid until the callback returns
 * @param kind  LAUTH_DB_LIST or LAUTH_DB_VALUE
 * @return 0 to go on; anything else ends the walk
 */
typedef int32_t (*LAUTH_db_KeyCallback)(void* context, const void* key, uint32_t key_length,
                                        uint32_t kind);

/**
 * Gives every key of a database, in the order of their bytes.
 *
 * @return 0, or what the callback ended the walk with, or a failure
 */
int32_t LAUTH_db_WalkKeys(int32_t handle, LAUTH_db_KeyCallback callback, void* context);

/**
 * Begins a reading: until LAUTH_db_EndReading the handle's calls see one state of the database,
 * whatever other processes change, and walking a list costs least. Changes by the handle are
 * refused meanwhile.
 *
 * @return 0; DBM_ERR_REFUSED when a reading or a bulk change is under way
 */
int32_t LAUTH_db_BeginReading(int32_t handle);

/**
 * @return the records that walks have given by this handle since it was opened, by which a caller
 *         whose walk is done elsewhere learns how many there were; below 0 on failure
 */
int64_t LAUTH_db_WalkCount(int32_t handle);

/** Ends a reading. Iterators keep their places. @return 0; DBM_ERR_REFUSED when there is none */
int32_t LAUTH_db_EndReading(int32_t handle);

/**
 * Begins a bulk change: the handle's changes from here to LAUTH_db_Commit are saved by one flush,
 * all or none. Other processes see none of them before and cannot change anything meanwhile. Each
 * call within still succeeds or fails as a whole.
 *
 * @return 0; DBM_ERR_REFUSED when one is under way
 */
int32_t LAUTH_db_Begin(int32_t handle);

/**
 * Saves the bulk change. Without success none of it is kept; either way it is over.
 *
 * After a call within was refused by the disk, the whole bulk change may be lost; then every
 * further call fails until this or LAUTH_db_Rollback, and this fails too.
 */
int32_t LAUTH_db_Commit(int32_t handle);

/** Withdraws the bulk change. @return 0; DBM_ERR_REFUSED when none is under way */
int32_t LAUTH_db_Rollback(int32_t handle);

/**
 * Writes a copy of the database as it is at one instant, while it stays in use. The file appears
 * under its name whole and flushed, with mode 0600.
 *
 * @param file  must not exist; nothing is overwritten
 * @return 0; DBM_ERR_REFUSED when the file exists or a bulk change is under way
 */
int32_t LAUTH_db_Backup(int32_t handle, const char* file);

/**
 * Checks one record or value of a backup.
 *
 * @return 0 if it may be restored
 */
typedef int32_t (*LAUTH_db_DataCallback)(void* context, const void* key, uint32_t key_length,
                                         uint32_t kind, const void* data, uint32_t length);

/**
 * Puts a backup in a database's place. The file is copied, the copy checked whole and flushed, and
 * then takes the place in one step, so a crash leaves the old database or the new one. The file
 * itself is only read.
 *
 * The database that was there is kept, under its file name with ".old" appended, until
 * LAUTH_db_EndRestore.
 *
 * A file in the database's place that DBM_Open would refuse is kept under the database's file name
 * with ".damaged" (or ".damaged.1", and so on) appended.
 *
 * @param name, owner, parameters  as for DBM_Open; the backup must be of such a database
 * @param file     what LAUTH_db_Backup wrote
 * @param check    is called for every record and value, or NULL; calls no database function
 * @param context  handed to check
 * @return 0; DBM_ERR_DAMAGED when the file is not a whole backup or check refused it; DBM_ERR_BUSY
 *         when anyone, this process included, has the database open. It stays on failure.
 */
int32_t LAUTH_db_Restore(const char* name, const char* owner, const void* parameters,
                         const char* file, LAUTH_db_DataCallback check, void* context);

/**
 * Puts the database back that the last restore replaced: whoever restored it cannot use the new
 * one.
 *
 * @return 0; DBM_ERR_NOTFOUND when there is none; DBM_ERR_BUSY when anyone has the database open
 */
int32_t LAUTH_db_UndoRestore(const char* name);

/**
 * Ends a restore: what it replaced is removed. Also for what a restore left that was interrupted,
 * as whoever opens the database next decides for the new one.
 *
 * @return 0, also when there is nothing
 */
int32_t LAUTH_db_EndRestore(const char* name);

/** @return the changes, bulk ones counted once, that this process has flushed to disk */
uint64_t LAUTH_db_FlushCount(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* LAUTH_DBM_ADMIN_H */
