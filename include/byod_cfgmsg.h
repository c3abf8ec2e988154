// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * The client of the daemon: what configuration front ends and callers of an identification ask it.
 *
 * Two ways of use. A configuration request opens its own connection and closes it before it
 * returns. An identification goes over a connection that the caller opens with BYOD_Init, uses as
 * often as needed, and closes with BYOD_Fini. The daemon doesn't close a connection that is merely
 * idle, unless it reaches its limit of connections.
 *
 * Place: the daemon is asked on a Unix socket, by default the one that the library was built with.
 * The environment variable LAUTHD_SOCKET names another one; it is ignored when it is empty, and in
 * a program that runs with more rights than its caller (setuid, setgid, capabilities).
 *
 * Rights: whoever may connect may ask. Only root, the daemon's own user and the members of its
 * administration group may set or undo.
 *
 * Time: a call waits for its answer without limit. A program that must not wait sets SO_RCVTIMEO
 * and SO_SNDTIMEO on a connection of BYOD_Init; after a timeout that connection has to be closed.
 *
 * Threads: no state is kept, so any thread may ask at any time; on one connection of BYOD_Init the
 * questions must follow one another. A callback may make requests itself.
 *
 * Results: 0, the code of the daemon's reply, or BYOD_ERR_FAILED when there is no reply. A request
 * that cannot be put together returns the container's results combined by bitwise OR. Pointers must
 * not be NULL unless said.
 *
 * errno: results alone do not say why a request failed; some are 0 in any case. Each
 * function that asks the daemon therefore sets errno, also when it succeeds:
 *
 *   0             the daemon answered, and all is well
 *   ENOENT, ECONNREFUSED, EACCES or another reason of socket() or connect()
 *                 no daemon, or it cannot be reached; ENAMETOOLONG: its path is too long
 *   ECONNABORTED  no answer: the connection ended or timed out, or what came is not a message
 *   ENODATA       the daemon does not know: nothing matches the terminal, there is no such rule
 *   EPERM         the daemon refused, since the caller may not change anything
 *   EREMOTEIO     the daemon refused for another reason; a configuration request returns its code
 *   EBADMSG       the answer does not decode, or does not fit the caller's buffer
 *   EINVAL        an argument is not valid; nothing was sent
 *   ENOMEM        no memory
 */
#ifndef BYOD_CFGMSG_H
#define BYOD_CFGMSG_H

#include <stdint.h>

#include "byod_data.h"
#include "byod_order.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** The longest reply that is read, in bytes. */
enum { BYOD_REPLY_MAX = 65534 };

/** The service number of the daemon on the device's own local transport. */
enum { BYOD_LAUTHD_SERVICE = 3230 };

/** The daemon's address on the device's own local transport, as the kernel reads it. */
typedef struct ByodLauthdAddr {
  uint8_t length;     /**< of this record: 16 */
  uint8_t family;     /**< 37 */
  uint8_t service[2]; /**< BYOD_LAUTHD_SERVICE, network order */
  uint8_t node[4];    /**< 0x80000000, network order */
  uint8_t reserved[8];
} ByodLauthdAddr;

BYOD_STATIC_ASSERT(sizeof(ByodLauthdAddr) == 16, "the kernel reads it as laid out");

/**
 * Gets one rule of a listing.
 *
 * @param rule  a ByodMacRule, ByodUserAgentRule or ByodDhcpOptionRule, as the listing's name says,
 *              with its information in configured; valid until the callback returns
 * @return ignored
 */
typedef uint32_t (*ByodRuleCallback)(const void* rule);

/* ------------------------------------------------------------------ connection */

/**
 * Connects to the daemon.
 *
 * @return a connected socket, owned by the caller, release with BYOD_Fini; negative on failure,
 * with errno of socket() or connect(), unchanged on success
 */
int BYOD_cfgmsg_ConnectToLauthd(void);

/** Opens a connection for identifications. @return as BYOD_cfgmsg_ConnectToLauthd */
int BYOD_Init(void);

/** Closes a connection; a negative one is left alone. */
void BYOD_Fini(int connection);

/* ------------------------------------------------------------------ identification */

/**
 * Distinguishes PC, mobile and tablet by words in the User-Agent alone, without a rule and without
 * the daemon.
 *
 * @param connection  not used, but a negative one fails
 * @param fp          the terminal
 * @param type        gets BYOD_TERMINAL_*; unchanged on failure
 * @return 0, or BYOD_ERR_FAILED for a negative connection or NULL
 */
uint32_t BYOD_GetDeviceTypeByFingerPrint(int connection, const ByodFingerPrint* fp, uint32_t* type);

/**
 * Asks the daemon for a terminal's vendor, as derived from its type string.
 *
 * @param connection  of BYOD_Init
 * @param fp          the terminal
 * @param size        of out, in bytes; a longer answer fails
 * @param out         gets the vendor; empty on failure
 * @return 0 or BYOD_ERR_FAILED, whatever code the daemon gave
 */
uint32_t BYOD_GetVendorByFingerPrint(int connection, const ByodFingerPrint* fp, uint32_t size,
                                     char* out);

/** Asks the daemon for a terminal's type string, the device name of a rule; otherwise as
 * BYOD_GetVendorByFingerPrint. */
uint32_t BYOD_GetDeviceNameByFingerPrint(int connection, const ByodFingerPrint* fp, uint32_t size,
                                         char* out);

/**
 * Asks the daemon for a terminal's vendor, category and OS.
 *
 * @param attr  cleared, then filled
 * @return 0 or BYOD_ERR_FAILED, also for a negative connection or NULL
 */
uint32_t BYOD_GetDeviceAttributeByFingerPrint(int connection, const ByodFingerPrint* fp,
                                              ByodDeviceAttribute* attr);

/** The exchanges behind the three functions above; only the last one checks its arguments, and none
 * clears its output, which keeps what it holds when the daemon does not answer or does not know. */
uint32_t BYOD_cfgmsg_GetDeviceVendor(int connection, const ByodFingerPrint* fp, uint32_t size,
                                     char* out);
uint32_t BYOD_cfgmsg_GetDeviceType(int connection, const ByodFingerPrint* fp, uint32_t size,
                                   char* out);
uint32_t BYOD_cfgmsg_GetDeviceAttribute(int connection, const ByodFingerPrint* fp,
                                        ByodDeviceAttribute* attr);

/* ------------------------------------------------------------------ setting and undoing */

/* add: not 0 = set, 0 = undo. Addresses and masks are 6 bytes, texts NUL-terminated. */

/**
 * Sets the order of identification, or goes back to the default.
 *
 * @param order  may be NULL in an undo, which does not look at it; else NULL is BYOD_ERR_FAILED
 */
uint32_t BYOD_cfgmsg_SetOrder(uint32_t add, const ByodOrder* order);

/** Set or undo a rule's device name; name may be NULL. Of rule only origin and key are sent. */
uint32_t BYOD_cfgmsg_SetMacRule(uint32_t add, const char* name, const ByodMacRule* rule);
uint32_t BYOD_cfgmsg_SetUserAgentRule(uint32_t add, const char* name,
                                      const ByodUserAgentRule* rule);
uint32_t BYOD_cfgmsg_SetDhcpOptionRule(uint32_t add, const char* name,
                                       const ByodDhcpOptionRule* rule);

/** Set or undo a rule without information. */
uint32_t BYOD_cfgmsg_SetMacValue(uint32_t add, const uint8_t* mac, const uint8_t* mask);
uint32_t BYOD_cfgmsg_SetUAValue(uint32_t add, const char* keyword);
uint32_t BYOD_cfgmsg_SetDhcpOptValue(uint32_t add, const char* text);

/** Set or undo the one attribute of a rule that kind (BYOD_ATTR_*) selects; its text stands in that
 * field of value. */
uint32_t BYOD_cfgmsg_SetMacDevAttr(uint32_t add, const uint8_t* mac, const uint8_t* mask,
                                   const ByodDeviceInfo* value, uint32_t kind);
uint32_t BYOD_cfgmsg_SetUADevAttr(uint32_t add, const char* keyword, const ByodDeviceInfo* value,
                                  uint32_t kind);
uint32_t BYOD_cfgmsg_SetDhcpOptDevAttr(uint32_t add, const char* text, const ByodDeviceInfo* value,
                                       uint32_t kind);

/* ------------------------------------------------------------------ asking */

/** Asks for the current order. Slots that the daemon does not name keep what order holds. */
uint32_t BYOD_cfgmsg_GetOrder(ByodOrder* order);

/**
 * Asks for the number of rules. An error in the reply is not looked at, and without a reply count
 * keeps what it holds; errno says which of them it was.
 *
 * @param kind  0 = DHCP option, 1 = User-Agent, others = MAC
 * @return 0, also without a reply; BYOD_ERR_FAILED when the request cannot be made
 */
uint32_t BYOD_cfgmsg_GetRulesCountByType(uint32_t kind, uint32_t* count);

/**
 * Ask for one rule.
 *
 * Page through MAC rules with BYOD_cfgmsg_GetMacRuleNetconf: address and mask of the rule before,
 * both zero for the first. BYOD_cfgmsg_GetMacRule sends no mask, and asks for the first rule with
 * an address of zeros: once more, and for ever, when the first rule has that address.
 *
 * @param operation  BYOD_OP_GET; the daemon refuses a query with another one
 * @param selector   which rule: 0 = this one, 1 = the next in table order, 2 = the next one
 *                   configured
 * @param selector2  what of it: 0 = the key, 1 = configured information, 2 = all, merged
 * @param code       the message kind: BYOD_MSG_MACRULE, passed on as it is
 * @return the rule with its information in configured, owned by the caller, release with
 *         BYOD_data_FreeMacRule and its like; NULL on any failure
 */
ByodMacRule* BYOD_cfgmsg_GetMacRule(const uint8_t* mac, uint32_t operation, uint32_t selector);
ByodMacRule* BYOD_cfgmsg_GetMacRuleNetconf(const uint8_t* mac, const uint8_t* mask,
                                           uint32_t operation, uint32_t code, uint32_t selector,
                                           uint32_t selector2);
ByodUserAgentRule* BYOD_cfgmsg_GetUserAgentRule(const char* keyword, uint32_t operation,
                                                uint32_t selector, uint32_t selector2);
ByodDhcpOptionRule* BYOD_cfgmsg_GetDhcpOptionRule(const char* text, uint32_t operation,
                                                  uint32_t selector);

/**
 * List all rules of a table. The callback may take its time: the daemon waits, goes on serving
 * others, and sends the rest when it is read; a rule that is set meanwhile may be in the listing or
 * not.
 *
 * @param callback  called for each rule, in the order of arrival
 * @return 0, also without a daemon, when the callback is never called; the daemon's code;
 *         BYOD_ERR_FAILED when the connection ends early, after the rules that had arrived
 */
uint32_t BYOD_cfgmsg_GetAndShowMacRules(ByodRuleCallback callback);
uint32_t BYOD_cfgmsg_GetAndShowUserAgentRules(ByodRuleCallback callback);
/** Kept: callers link by this spelling. */
uint32_t BYOD_cfgmsg_GetAndShowDhcpOtionRules(ByodRuleCallback callback);

/* ------------------------------------------------------------------ one exchange */

/* request: a message, still the caller's afterwards. */

/** Sends a request on its own connection. @return the reply, owned by the caller; 0 = none */
uint32_t Byod_SendAndGetReply(uint32_t request);

/** @return the code in the reply; BYOD_ERR_FAILED without one */
uint32_t Byod_SendAndGetResult(uint32_t request);

/** @return the rule in the reply, owned by the caller; NULL on any failure */
ByodMacRule* Byod_SendAndGetMacRule(uint32_t request);
ByodUserAgentRule* Byod_SendAndGetUserAgentRule(uint32_t request);
ByodDhcpOptionRule* Byod_SendAndGetDhcpOptionRule(uint32_t request);

/**
 * Make a rule from what one of the BYOD_tlv_Get*RuleAllInfo has decoded.
 *
 * @param origin  of the rule
 * @param word    its modified flag
 * @param rec     its information; the mask of a MAC rule, the text of the others
 * @param key     its address
 * @return the rule with its information in configured, owned by the caller; NULL without memory
 */
ByodMacRule* Byod_BuildMacRule(uint32_t origin, uint16_t word, const ByodMacRuleShowRec* rec,
                               const ByodMacRule* key);
ByodUserAgentRule* Byod_BuildUserAgentRule(uint32_t origin, uint16_t word,
                                           const ByodTextRuleShowRec* rec);
ByodDhcpOptionRule* Byod_BuildDhcpOptionRule(uint32_t origin, uint16_t word,
                                             const ByodTextRuleShowRec* rec);

/** Call callback for each rule in one reply of a listing. An element that is not a rule is passed
 * over. */
void Byod_WalkMacRuleReply(uint32_t reply, ByodRuleCallback callback);
void Byod_WalkUserAgentRuleReply(uint32_t reply, ByodRuleCallback callback);
void Byod_WalkDhcpOptionRuleReply(uint32_t reply, ByodRuleCallback callback);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* BYOD_CFGMSG_H */
