// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * The configuration database: the rules and the order that an administrator made, and the
 * authorization attributes of user groups, kept over restarts.
 *
 * The process holds one handle, -1 while the database is closed. Adding, deleting and recovering
 * expect it open. At start the daemon opens it when the predefined rules are in their tables, walks
 * its keys, and hands each to the recovery function that its name calls for. Unless said otherwise
 * every failure of the database is BYOD_ERR_FAILED. Threads: no lock; callers serialise.
 *
 * Records: ByodMacRuleShowRec, sorted by the address as "001a-2b3c-4d5e", and ByodTextRuleShowRec,
 * sorted by the text; unused bytes are zero. Key lengths count the terminating NUL.
 */
#ifndef BYOD_DB_H
#define BYOD_DB_H

#include <stdint.h>

#include "byod_data.h"
#include "byod_order.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** Keys of the database. */
#define BYOD_DB_ORDER_KEY "BYOD_Order"
#define BYOD_DB_MAC_KEY "BYOD_MacRules"
#define BYOD_DB_USERAGENT_KEY "BYOD_UserAgentRules"
#define BYOD_DB_DHCPOPT_KEY "BYOD_DhcpOptionRules"
#define BYOD_DB_GROUP_PREFIX "BYOD_GroupAutz_" /**< and the name of a user group */

/** Numbers of the lists, passed when one is made and with every insertion. */
enum {
  BYOD_DB_DHCPOPT_LIST = 0,
  BYOD_DB_USERAGENT_LIST = 1,
  BYOD_DB_MAC_LIST = 2,
  BYOD_DB_GROUP_LIST = 3
};

/** Sizes in bytes. */
enum {
  BYOD_DB_ORDER_MAX = 512,     /**< of the stored order */
  BYOD_DB_DEVTYPE_SIZE = 128,  /**< of the device type at the start of an authorization record */
  BYOD_DB_AUTZ_MAX = 5888,     /**< of an authorization record that is read back whole */
  BYOD_DB_GROUP_KEY_SIZE = 129 /**< of the key of a group, with its NUL */
};

/* ------------------------------------------------------------------ the database */

/** Opens the database. It must be closed before: a second open loses the first handle, which then
 * stays open for the life of the process. @return 0; BYOD_ERR_FAILED, the handle left as it was */
uint32_t BYOD_db_OpenCfgDBM(void);

/** Closes the database if it is open. */
void BYOD_db_CloseCfgDBM(void);

/** @return the handle; -1 = closed */
int32_t BYOD_db_GetDBHandle(void);

/** Removes the whole database. @return the platform's own result, 0 for success */
int32_t BYOD_db_Delete(void);

/* ------------------------------------------------------------------ order */

/** Stores an order. @return 0, BYOD_ERR_FAILED, or the encoder's status */
uint32_t BYOD_db_SetOrder(const ByodOrder* order);

/** Makes the stored order the current one; one that cannot be read is passed over. */
void BYOD_db_ReCoverOrder(int32_t handle, const char* key, uint32_t key_length);

/* ------------------------------------------------------------------ rules */

/** Store a rule with its configured information, in place of a stored one with the same sort key.
 * @return 0 or BYOD_ERR_FAILED, also for NULL */
uint32_t BYOD_db_AddMacRule(const ByodMacRule* rule);
uint32_t BYOD_db_AddUserAgentRule(const ByodUserAgentRule* rule);
uint32_t BYOD_db_AddDhcpOptionRule(const ByodDhcpOptionRule* rule);

/** Store a record that is laid out already. @return 0 or BYOD_ERR_FAILED, also for NULL */
uint32_t BYOD_db_AddMacValue(const ByodMacRuleShowRec* record);
uint32_t BYOD_db_AddUAValue(const ByodTextRuleShowRec* record);
uint32_t BYOD_db_AddDhcpOptionValue(const ByodTextRuleShowRec* record);

/** Delete the stored record with the sort key of record; the rest of it is not looked at.
 * @return 0 or BYOD_ERR_FAILED, also when there is no such record */
uint32_t BYOD_db_DeleteMacRule(const ByodMacRuleShowRec* record);
uint32_t BYOD_db_DeleteUserAgentRule(const ByodTextRuleShowRec* record);
uint32_t BYOD_db_DeleteDhcpOptionRule(const ByodTextRuleShowRec* record);

/** Say whether a record is stored. For a process that does not hold the database open: they open
 * and close it, and leave it closed, also one that was open before. A database that is not there is
 * created. @return 1 or 0, 0 also when it cannot be opened */
uint32_t BYOD_db_IsMacExistInDb(const uint8_t* mac);
uint32_t BYOD_db_IsUAExistInDb(const char* keyword);
uint32_t BYOD_db_IsDhcpOptValueExistInDb(const char* text);

/**
 * Bring the stored rules back into their table: a rule that is missing is made as a custom one, the
 * stored information laid over it, and its modified flag set. A record whose rule cannot be made is
 * passed over.
 *
 * @param handle  of the open database
 * @param key     of the list, key_length bytes with its NUL
 * @return the result of releasing the database's iterator, 0 for success
 */
int32_t BYOD_db_RecoverMacRule(int32_t handle, const char* key, uint32_t key_length);
int32_t BYOD_db_RecoverUserAgentRule(int32_t handle, const char* key, uint32_t key_length);
int32_t BYOD_db_ReCoverDhcpOptionRule(int32_t handle, const char* key, uint32_t key_length);

/** Copies the texts of info to fields of 128, 64, 64 and 64 bytes. */
void AddDeviceInfoToDBRule(const ByodDeviceInfo* info, char* name, char* vendor, char* category,
                           char* os);

/** Puts a record into a list. @return 0 or BYOD_ERR_FAILED */
uint32_t AddToSortList(const char* key, uint32_t key_length, uint32_t record_size,
                       const void* record, uint32_t list);

/** Takes the record with the same sort key out of a list. @return 0 or BYOD_ERR_FAILED, also when
 * there is none */
uint32_t BYOD_db_RemoveFromSortList(const char* key, uint32_t key_length, uint32_t record_size,
                                    const void* record);

/** Make a list if it is not there. @return 1; 0 when it cannot be made */
uint32_t BYOD_db_EnsureMacList(void);
uint32_t BYOD_db_EnsureUserAgentList(void);
uint32_t BYOD_db_EnsureDhcpOptionList(void);

/* ------------------------------------------------------------------ authorization */

/**
 * Stores the attributes of a user group for a device type, in place of stored ones.
 *
 * @param group        the name of the group; its key is cut at 128 characters
 * @param device_type  up to 127 characters are kept
 * @param message      the attributes, still the caller's. Recovery reads 5760 bytes of them: more
 *                     is stored, but does not come back
 * @return 0 or BYOD_ERR_FAILED
 */
uint32_t BYOD_db_AddDeviceTypeAuthorAttr(const char* group, const char* device_type,
                                         uint32_t message);

/**
 * Deletes the attributes of a user group for a device type.
 *
 * @param device_type  a field of 128 bytes, all of which are read
 * @return 0, also when nothing was stored, or BYOD_ERR_FAILED
 */
uint32_t BYOD_db_DeleteDeviceTypeAuthorAttr(const char* group, const char* device_type);

/** Deletes all attributes of a user group. @return the platform's own result, 0 for success */
int32_t BYOD_db_DelDevAutzAttrByGrp(const char* group);

/** Hands the stored attributes of a user group to BYOD_lauthservice_AddDeviceAuthorAttr. The name
 * of the group comes back cut at 32 characters. A key that is not a group's is passed over. */
void BYOD_db_RecoverDeviceTypeAuthor(int32_t handle, const char* key, uint32_t key_length);

/**
 * Finds the stored record of a user group for a device type.
 *
 * @param device_type  a field of 128 bytes, all of which are read
 * @param length       gets the length of the record in bytes
 * @return 5888 bytes that begin with the record, owned by the caller, release with free(); NULL
 * when there is none
 */
void* BYOD_db_FindGroupAutzRecord(const char* group, const char* device_type, uint32_t* length);

/** Removes a record of a user group, found by its device type. @return 0 or BYOD_ERR_FAILED */
uint32_t BYOD_db_RemoveGroupAutzRecord(const char* group, uint32_t length, const void* record);

/**
 * Makes the database's key of a user group.
 *
 * @param key  gets the key, at most 129 bytes
 * @return the length of the key with its NUL
 */
uint32_t BYOD_db_MakeGroupAutzKey(const char* group, char* key);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* BYOD_DB_H */
