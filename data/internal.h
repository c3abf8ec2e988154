// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * The helpers of the identification core that are exported, but not meant for callers of the
 * library: no installed header declares them.
 */
#ifndef BYOD_DATA_INTERNAL_H
#define BYOD_DATA_INTERNAL_H

#include "byod_data.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @return the bucket, 0 to 1023, of a text: 32-bit FNV-1 without regard to case */
uint32_t byod_data_HashString(const char* text);

/**
 * The order of the MAC tree: compares what both masks keep. A probe with the full mask equals every
 * rule that covers it.
 *
 * @return negative, 0 or positive
 */
int byod_data_MacRuleCompare(const void* a, const void* b);
/** The same, for searches. */
int byod_data_MacRuleMatch(const void* a, const void* b);
/** Compares each address under its own mask. @return negative, 0 or positive */
int byod_data_MacRuleCompareExact(const void* a, const void* b);
/** Takes a rule out of the MAC tree and, if it was in it, releases it. */
void byod_data_MacRuleRelease(void* rule);

/**
 * Finds a keyword, or its place, in the User-Agent rules in byte order of keywords.
 *
 * @param count  of the rules searched, from the head
 * @param name   the keyword, case counts
 * @param cmp    gets how name compares with the rule returned: 0 = found, less = it belongs before,
 *               greater = behind; left unchanged when none is returned
 * @return the last rule compared; NULL when there is none, or count reaches past the list's end
 */
ByodUserAgentRule* byod_data_SearchUserAgentRuleList(uint32_t count, const char* name, int* cmp);

/**
 * Clears the name (mode 0) or the attributes (mode 1) if the other remains.
 *
 * @param info  may be NULL
 * @return 0 = cleared, something remains; 1 = nothing would remain, nothing was cleared
 */
uint32_t byod_data_StripDeviceInfo(uint32_t mode, ByodDeviceInfo* info);
/** The same for an info that is not NULL. @return 1 = cleared; 0 = nothing was cleared */
uint32_t byod_data_StripDeviceInfoPart(uint32_t mode, ByodDeviceInfo* info);

/** Drops a custom rule, or its device info alone, when nothing of it remains. */
void byod_data_DelDeviceInfoFromCfgDhcpoptRule(ByodDhcpOptionRule* rule, uint32_t mode,
                                               uint16_t remove);

/** Fills the empty fields of attr, each from configured, else from predefined; both may be NULL. */
void byod_data_MergeDeviceInfo(const ByodDeviceInfo* predefined, const ByodDeviceInfo* configured,
                               ByodDeviceAttribute* attr);
/** Copies the device name of configured, else of predefined. @return 0, or BYOD_ERR_FAILED and an
 * empty out when there is none or it does not fit */
uint32_t byod_data_SelectDeviceName(const ByodDeviceInfo* predefined,
                                    const ByodDeviceInfo* configured, uint32_t size, char* out);

/**
 * Whether an expression matches a User-Agent: alternatives between '|', terms between '&',
 * each term a substring, case counts. An expression or alternative without terms matches
 * everything.
 *
 * @return 1 or 0
 */
uint32_t byod_data_UserAgentMatch(const char* ua, const char* expression);

/* The methods of identification. Those for attributes set complete to 1 when they succeed and
 * vendor, category and OS are all known, else to 0. Each returns 0, or BYOD_ERR_FAILED, and logs
 * its success. */
uint32_t byod_data_AttriByDhcpFingerPrint(const ByodFingerPrint* fp, ByodDeviceAttribute* attr,
                                          uint16_t* complete);
uint32_t byod_data_AttriByUserAgentFingerPrint(const ByodFingerPrint* fp, ByodDeviceAttribute* attr,
                                               uint16_t* complete);
uint32_t byod_data_AttriByMacFingerPrint(const ByodFingerPrint* fp, ByodDeviceAttribute* attr,
                                         uint16_t* complete);
uint32_t byod_data_TypeByDhcpFingerPrint(const ByodFingerPrint* fp, uint32_t size, char* out);
uint32_t byod_data_TypeByUserAgentFingerPrint(const ByodFingerPrint* fp, uint32_t size, char* out);
uint32_t byod_data_TypeByMacFingerPrint(const ByodFingerPrint* fp, uint32_t size, char* out);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* BYOD_DATA_INTERNAL_H */
