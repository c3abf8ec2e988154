// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * Services of the daemon that code inside the library, or another module of the daemon, calls.
 *
 * The daemon installs its functions with BYOD_lauthservice_SetService before it recovers the
 * database, and removes them at shutdown. No entry point tests its slot: a call while the table
 * is reset is the caller's fault. Threads: no lock; callers serialise.
 */
#ifndef BYOD_LAUTHSERVICE_H
#define BYOD_LAUTHSERVICE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/**
 * What the arguments and the result of slots 0 to 5 mean is the daemon's; they pass unchanged.
 * There are up to six, each an integer or a pointer; a daemon's function that takes fewer is
 * installed with a cast, where the calling convention lets a function ignore arguments, and 0 is
 * passed for those that it lacks. Numbers of floating point and records by value cannot be passed.
 */
typedef uintptr_t (*ByodServiceFunction)(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                         uintptr_t e, uintptr_t f);

/**
 * Takes a stored authorization record back.
 *
 * @param record   its first 128 bytes are the device type; valid until the function returns
 * @param group    the name of the user group; valid until the function returns
 * @param message  the attributes; destroyed by the caller when the function has returned
 * @return 0 or a code of the daemon's
 */
typedef uint32_t (*ByodAddDeviceAuthorAttrFunction)(const void* record, const char* group,
                                                    uint32_t message);

/** The daemon's functions, by slot. */
typedef struct ByodServiceTable {
  ByodServiceFunction send_real_sync_msg;
  ByodServiceFunction send_batch_sync_msg;
  ByodServiceFunction add_epoll;
  ByodServiceFunction del_epoll;
  ByodServiceFunction add_byod_tlv_head;
  ByodServiceFunction del_byod_tlv_head;
  ByodAddDeviceAuthorAttrFunction add_device_author_attr;
  ByodServiceFunction reserved[2]; /**< kept and cleared, never called */
} ByodServiceTable;

/** Copies all slots; table need not outlive the call. */
void BYOD_lauthservice_SetService(const ByodServiceTable* table);

/** Clears all slots. */
void BYOD_lauthservice_ResetService(void);

/** Each calls its slot with the arguments unchanged. @return the slot's result */
uintptr_t BYOD_lauthservice_SendRealSyncMsg(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                            uintptr_t e, uintptr_t f);
uintptr_t BYOD_lauthservice_SendBatchSyncMsg(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                             uintptr_t e, uintptr_t f);
uintptr_t BYOD_lauthservice_AddEpoll(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                     uintptr_t e, uintptr_t f);
uintptr_t BYOD_lauthservice_DelEpoll(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                     uintptr_t e, uintptr_t f);
uintptr_t BYOD_lauthservice_AddByodTlvHead(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                           uintptr_t e, uintptr_t f);
uintptr_t BYOD_lauthservice_DelByodTlvHead(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                           uintptr_t e, uintptr_t f);

/**
 * Hands a stored authorization record to the daemon. The slot takes the record first, this entry
 * point the group.
 *
 * @param group    the name of the user group
 * @param record   the stored record
 * @param message  its attributes, still the caller's
 * @return the slot's result
 */
uint32_t BYOD_lauthservice_AddDeviceAuthorAttr(const char* group, const void* record,
                                               uint32_t message);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* BYOD_LAUTHSERVICE_H */
