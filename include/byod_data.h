// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * The identification core: what is known of a terminal, the rules that say what it is, and the
 * search for an answer.
 *
 * The process holds one rule store of three tables (MAC address, HTTP User-Agent, DHCP option 55).
 * BYOD_data_GlobalInfoInit makes it and BYOD_data_GlobalInfoFini releases it.
 *
 * Threads: the store is one global without a lock; callers serialise every use of this header.
 * Ownership: a rule that stands in a table belongs to the table. It owns both of its device
 * infos. A pointer to it is borrowed until the rule is deleted or the store released.
 * Text is NUL-terminated; a text field whose first byte is NUL is absent.
 * Pointers are not NULL unless a description says what NULL does.
 *
 * While a rule is in a table, its key and its links, and the lists, chains and counts of the table,
 * are for reading only: the indexes beside them would not notice a change. To change a key, delete
 * the rule and add another one. origin stays as it is, too; modified, predefined and configured may
 * be changed.
 */
#ifndef BYOD_DATA_H
#define BYOD_DATA_H

#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus)
#define BYOD_STATIC_ASSERT(condition, reason) static_assert(condition, reason)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define BYOD_STATIC_ASSERT(condition, reason) _Static_assert(condition, reason)
#else /* C99 has no assertion at compile time */
#define BYOD_STATIC_ASSERT(condition, reason) struct ByodStaticAssert
#endif

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ------------------------------------------------------------------ results and limits */

/** Results of every operation that can fail, besides 0 for success. */
enum {
  BYOD_ERR_RULE_LIMIT = 0x2001000C, /**< the custom rules of all tables already reach the limit */
  BYOD_ERR_FAILED = 0x40010001,     /**< bad argument, no memory, nothing found, no room */
  BYOD_ERR_NOCHANGE = 0x40010006,   /**< the value set is the current one */
  BYOD_ERR_CONTINUE = 0x40010009    /**< one reply of a batch; more replies follow */
};

/** Sizes in bytes; those of texts count the terminating NUL. */
enum {
  BYOD_DEVNAME_SIZE = 128,
  BYOD_ATTR_SIZE = 64,
  BYOD_USERAGENT_SIZE = 256,
  BYOD_RULETEXT_SIZE = 256, /**< a User-Agent expression or the text of an option list */
  BYOD_OPTION55_MAX = 255,  /**< option numbers in a fingerprint */
  BYOD_MAC_SIZE = 6,
  BYOD_MACTEXT_SIZE = 15, /**< "0011-2233-4455" and its NUL */
  BYOD_HASH_BUCKETS = 1024
};

/** The custom rule limit that means: none. */
#define BYOD_NO_RULE_LIMIT 0xFFFFFFFFu

/** Identification methods, as they stand in the slots of a ByodOrder. */
enum {
  BYOD_METHOD_DHCP = 0,
  BYOD_METHOD_USERAGENT = 1,
  BYOD_METHOD_MAC = 2,
  BYOD_METHOD_COUNT = 3 /**< this and every greater value ends an order */
};

/** Attribute kinds: which field of a ByodDeviceInfo is meant. */
enum { BYOD_ATTR_VENDOR = 1, BYOD_ATTR_CATEGORY = 2, BYOD_ATTR_OS = 3 };

/** Where a rule comes from. */
enum {
  BYOD_RULE_PREDEFINED = 0, /**< built in; an administrator may lay a modification over it */
  BYOD_RULE_CUSTOM = 1      /**< added by an administrator; counts against the custom rule limit */
};

/** Terminal types that BYOD_GetDeviceTypeByFingerPrint returns. */
enum {
  BYOD_TERMINAL_PC = 1,
  BYOD_TERMINAL_MOBILE = 2,
  BYOD_TERMINAL_TABLET = 3,
  BYOD_TERMINAL_UNKNOWN = 4
};

/* ------------------------------------------------------------------ records */

/** What is known of one terminal. Packed: it is copied whole between daemon and library. */
typedef struct __attribute__((packed)) ByodFingerPrint {
  uint32_t option_length;               /**< valid bytes of options; 0 = no DHCP fingerprint */
  uint8_t options[BYOD_OPTION55_MAX];   /**< DHCP option 55 as received, a number per byte */
  char user_agent[BYOD_USERAGENT_SIZE]; /**< HTTP User-Agent; empty = none */
  uint8_t mac[BYOD_MAC_SIZE];           /**< network order; all zero = none */
} ByodFingerPrint;

/** What a rule says of a device. On the heap; release with free(). */
typedef struct ByodDeviceInfo {
  char name[BYOD_DEVNAME_SIZE]; /**< the terminal type string */
  char vendor[BYOD_ATTR_SIZE];
  char category[BYOD_ATTR_SIZE];
  char os[BYOD_ATTR_SIZE];
} ByodDeviceInfo;

/** What an identification found. Owned by the caller, who clears it first. */
typedef struct ByodDeviceAttribute {
  char vendor[BYOD_ATTR_SIZE];
  char category[BYOD_ATTR_SIZE];
  char os[BYOD_ATTR_SIZE];
} ByodDeviceAttribute;

/**
 * A link of a rule in a list or hash chain. A list head and each next point at the link inside the
 * next rule, not at the rule.
 */
typedef struct ByodLink {
  struct ByodLink* next;
  struct ByodLink** prev; /**< the previous link's next, or the head; NULL = not in the list */
} ByodLink;

/** A rule for the addresses that agree with mac on every bit set in mask. */
typedef struct ByodMacRule {
  uintptr_t node[3];           /**< of the tree; written by the tree only */
  uint32_t origin;             /**< BYOD_RULE_PREDEFINED or BYOD_RULE_CUSTOM */
  uint16_t modified;           /**< 1 = predefined and modified by an administrator */
  uint8_t mac[BYOD_MAC_SIZE];  /**< network order */
  uint8_t mask[BYOD_MAC_SIZE]; /**< FF:FF:FF:00:00:00 for a vendor prefix */
  ByodDeviceInfo* predefined;  /**< owned; NULL in a custom rule */
  ByodDeviceInfo* configured;  /**< owned; a custom rule's own, or a modification; may be NULL */
} ByodMacRule;

/** A rule for the User-Agents that an expression such as "iPhone&&Mobile||iPad" matches. */
typedef struct ByodUserAgentRule {
  ByodLink hash_link;
  ByodLink list_link;  /**< the list in byte order of keywords */
  ByodLink match_link; /**< the list in the order of trying: longest keyword first */
  uint32_t origin;
  uint16_t modified;
  char keyword[BYOD_RULETEXT_SIZE];
  ByodDeviceInfo* predefined;
  ByodDeviceInfo* configured;
} ByodUserAgentRule;

/** A rule for one DHCP option 55 list, written as text such as "1,3,6,15". */
typedef struct ByodDhcpOptionRule {
  ByodLink hash_link;
  ByodLink list_link; /**< the list in byte order of texts */
  uint32_t origin;
  uint16_t modified;
  char text[BYOD_RULETEXT_SIZE];
  ByodDeviceInfo* predefined;
  ByodDeviceInfo* configured;
} ByodDhcpOptionRule;

/** A MAC rule as it is stored and shown. */
typedef struct ByodMacRuleShowRec {
  char mac_text[BYOD_MACTEXT_SIZE]; /**< "0011-2233-4455" */
  uint8_t mask[BYOD_MAC_SIZE];
  ByodDeviceInfo info;
} ByodMacRuleShowRec;

/** A User-Agent or DHCP option rule as it is stored and shown. */
typedef struct ByodTextRuleShowRec {
  char text[BYOD_RULETEXT_SIZE];
  ByodDeviceInfo info;
} ByodTextRuleShowRec;

/** The DHCP option rules. */
typedef struct ByodDhcpOptionTable {
  uint32_t rule_count;
  uint32_t custom_count;
  void* hash;     /**< HASH_* table; NULL = none */
  ByodLink* list; /**< through ByodDhcpOptionRule::list_link */
} ByodDhcpOptionTable;

/** The User-Agent rules. */
typedef struct ByodUserAgentTable {
  uint32_t rule_count;
  uint32_t custom_count;
  void* hash;
  ByodLink* list;       /**< through ByodUserAgentRule::list_link */
  ByodLink* match_list; /**< through ByodUserAgentRule::match_link */
} ByodUserAgentTable;

/** The MAC rules. */
typedef struct ByodMacTable {
  uint32_t rule_count;
  uint32_t custom_count;
  void* tree; /**< AVL_* tree; NULL = none */
} ByodMacTable;

BYOD_STATIC_ASSERT(sizeof(ByodFingerPrint) == 521, "copied whole between daemon and library");
BYOD_STATIC_ASSERT(sizeof(ByodDeviceInfo) == 320, "stored and sent by its fields' widths");
BYOD_STATIC_ASSERT(sizeof(ByodDeviceAttribute) == 192, "the attributes of ByodDeviceInfo alone");
BYOD_STATIC_ASSERT(sizeof(ByodMacRuleShowRec) == 341, "the stored record");
BYOD_STATIC_ASSERT(sizeof(ByodTextRuleShowRec) == 576, "the stored record");
BYOD_STATIC_ASSERT(offsetof(ByodMacRule, origin) == 3 * sizeof(void*), "the tree's node is first");
BYOD_STATIC_ASSERT(offsetof(ByodUserAgentRule, origin) == 6 * sizeof(void*), "three links first");
BYOD_STATIC_ASSERT(offsetof(ByodDhcpOptionRule, origin) == 4 * sizeof(void*), "two links first");

/* ------------------------------------------------------------------ the store */

/**
 * Makes the empty rule store. Called once before everything else, and once per Fini: in a second
 * call without Fini the old containers and rules are lost, not released, and the counts of the MAC
 * rules go on from where they were.
 *
 * @param limit  the most custom rules that the three tables may hold together;
 *               BYOD_NO_RULE_LIMIT = any number. Kept even when the call fails.
 * @return 0, or BYOD_ERR_FAILED when a container could not be made; what was made is kept
 */
uint32_t BYOD_data_GlobalInfoInit(uint32_t limit);

/** Releases every rule and the store, and lifts the limit. Harmless when there is no store. */
void BYOD_data_GlobalInfoFini(void);

/** @return the table; always there, its containers only between Init and Fini */
ByodDhcpOptionTable* BYOD_data_GetDhcpOptionRuleTbl(void);
/** @return the table; always there, its containers only between Init and Fini */
ByodUserAgentTable* BYOD_data_GetUserAgentRuleTbl(void);
/** @return the table; always there, its tree only between Init and Fini */
ByodMacTable* BYOD_data_GetMacRuleTbl(void);

/** @return where the head of the DHCP option rules in byte order of texts stands */
ByodLink** BYOD_data_GetDhcpOptionRuleList(void);
/** @return where the head of the User-Agent rules in byte order of keywords stands */
ByodLink** BYOD_data_GetUserAgentRuleList(void);
/** @return where the head of the User-Agent rules in the order of trying stands */
ByodLink** BYOD_data_GetUserAgentRuleMatchList(void);

/** @return the number of DHCP option rules */
uint32_t BYOD_data_GetDhcpOptionRuleCount(void);
/** @return the number of User-Agent rules */
uint32_t BYOD_data_GetUserAgentRuleCount(void);
/** @return the number of MAC rules */
uint32_t BYOD_data_GetMacRuleCount(void);
/** @return the number of custom rules in all three tables */
uint32_t Byod_GetCustomRuleCount(void);

/* ------------------------------------------------------------------ device information */

/**
 * Makes a device info.
 *
 * @param name      up to 127 characters are kept; not NULL, empty = absent, as are the others
 * @param vendor    up to 63 characters are kept
 * @param category  up to 63 characters are kept
 * @param os        up to 63 characters are kept
 * @return the info, owned by the caller, release with free(); NULL without memory
 */
ByodDeviceInfo* BYOD_data_CreateDeviceInfo(const char* name, const char* vendor,
                                           const char* category, const char* os);

/**
 * Copies one attribute from one device info to another, also if it is absent.
 *
 * @param kind  BYOD_ATTR_VENDOR, BYOD_ATTR_CATEGORY or BYOD_ATTR_OS; nothing happens for others
 * @param src   read; nothing happens when it is NULL
 * @param dst   changed; nothing happens when it is NULL
 */
void BYOD_data_AddDeviceAttr(uint32_t kind, const ByodDeviceInfo* src, ByodDeviceInfo* dst);

/** @return 1 if info has a vendor, category or OS; 0 if not, or if it is NULL */
uint32_t BYOD_data_IsDeviceAttriExist(const ByodDeviceInfo* info);

/** @return 1 if info, which is not NULL, has a name, vendor, category or OS; else 0 */
uint32_t BYOD_data_IsDeviceInfoExist(const ByodDeviceInfo* info);

/**
 * Checks whether a rule is a predefined one that carries an administrator's modification.
 *
 * @param origin  of the rule
 * @param info    its configured info; may be NULL
 * @return 1 or 0
 */
uint32_t BYOD_data_IsPredefinedRuleModify(uint32_t origin, const ByodDeviceInfo* info);

/* ------------------------------------------------------------------ MAC rules */

/** @return a zero-filled rule in no table, owned by the caller; NULL without memory */
ByodMacRule* BYOD_data_AllocMacRule(void);

/** Releases a rule that is in no table, with both device infos. NULL does nothing. */
void BYOD_data_FreeMacRule(ByodMacRule* rule);

/**
 * Finds the rule that covers an address.
 *
 * The table's order, and with it every search, is reliable for masks of prefixes: ones, then zeros.
 * With other masks a rule may be missed, or an overlap not be noticed.
 *
 * @param probe  mac and mask are read, 6 bytes each; the full mask (MAC_BroadcastAddr) asks about
 *               one terminal
 * @return the rule that agrees with the probe on every bit both masks keep, of several any; NULL if
 *         there is none; borrowed
 * @see BYOD_data_SetFindMacRule for the very same address and mask
 */
ByodMacRule* BYOD_data_FindMacRule(const ByodMacRule* probe);

/**
 * Finds the rule with this very mask, and this address as far as the mask keeps it: bits outside
 * the mask do not count.
 *
 * @param probe  mac and mask are read
 * @return the rule, or NULL; borrowed
 */
ByodMacRule* BYOD_data_SetFindMacRule(const ByodMacRule* probe);

/**
 * Puts a filled rule into the table.
 *
 * @param rule  in no table, its node zero; taken on success; still the caller's, and nothing
 *              changed, on failure
 * @return 0; BYOD_ERR_RULE_LIMIT for a custom rule at the limit; else the tree's own result:
 *         AVL_ERR_EXISTS (0x41560002) for a rule that overlaps one in the table, AVL_ERR_LINKED
 *         (0x41560003) for one that is in a table, AVL_ERR_ARGUMENT (0x41560001) before Init
 */
uint32_t Byod_AddMacRule(ByodMacRule* rule);

/**
 * Finds a rule as BYOD_data_SetFindMacRule does, or makes one without a device info.
 *
 * @param probe    mac and mask are read; a rule that is made keeps all bits of mac
 * @param origin   of a rule that is made; a rule that is found keeps its own
 * @param created  gets 1 if the rule was made, else 0
 * @param err      gets 0, BYOD_ERR_FAILED without memory, or the result of Byod_AddMacRule, the
 *                 tree's included
 * @return the rule, borrowed; NULL on failure
 */
ByodMacRule* BYOD_data_FindOrNewMacRule(const ByodMacRule* probe, uint32_t origin,
                                        uint16_t* created, uint32_t* err);

/**
 * Adds one predefined rule. A rule that the table refuses, as it overlaps another, and one for
 * which there is no memory are dropped silently.
 *
 * @param probe  mac and mask are read
 * @param info   copied
 */
void BYOD_data_AddFileMacRule(const ByodMacRule* probe, const ByodDeviceInfo* info);

/**
 * Lays stored texts over a rule's configured info, which is made if there is none. Empty texts
 * leave their field as it is.
 *
 * @param record  its info is read
 * @param rule    changed; left unchanged on failure
 * @return 0, also when all texts are empty; BYOD_ERR_FAILED for NULL or without memory
 */
uint32_t BYOD_data_UpdateMacRule(const ByodMacRuleShowRec* record, ByodMacRule* rule);

/**
 * Deletes what an administrator made: a custom rule, or the modification of a predefined rule,
 * which itself stays. Takes the rule that covers the probe, as BYOD_data_FindMacRule does.
 *
 * @param probe  mac and mask are read; nothing happens when no rule covers it
 */
void BYOD_data_DelMacRule(const ByodMacRule* probe);

/**
 * Deletes the name or the attributes of a rule's configured info.
 *
 * A modification in which nothing remains is dropped. A custom rule in which nothing remains is
 * deleted when remove or mode is 1, and else kept without an info.
 *
 * @param mode    0 = the device name, 1 = vendor, category and OS
 * @param remove  1 = delete a custom rule in which nothing remains
 * @param probe   mac and mask are read, as by BYOD_data_DelMacRule
 */
void BYOD_data_DelDeviceInfoFromMacRule(uint32_t mode, uint16_t remove, const ByodMacRule* probe);

/** Takes a rule that is in the table out of it and releases it. NULL does nothing. */
void BYOD_DeleteMacRule(ByodMacRule* rule);

/** @return the rule before one of the table in its order, or NULL, also for NULL; borrowed */
ByodMacRule* BYOD_FindRuleFromMacAvlPre(ByodMacRule* rule);

/**
 * Pages through the table. The rule that a page ended with must still be there: an address that no
 * rule covers leads back to the table's first rule, wherever it lies.
 *
 * @param probe  mac and mask of the rule last seen; both all zero ask for the first
 * @return the rule behind the one that covers the probe, or NULL at the end; borrowed
 */
ByodMacRule* BYOD_FindRuleFromMacAvlNext(const ByodMacRule* probe);

/**
 * Finds the next rule of the running configuration: a custom or a modified one.
 *
 * @param probe  only mac is read; rules are passed over up to the first of a greater address, with
 *               all bits compared, those outside of masks as well
 * @return the rule; NULL at the end, and without memory for the walk; borrowed
 */
ByodMacRule* BYOD_ProcGetNextMacByConfig(const ByodMacRule* probe);

/* ------------------------------------------------------------------ User-Agent rules */

/** @return a zero-filled rule in no table, owned by the caller; NULL without memory */
ByodUserAgentRule* BYOD_data_AllocUserAgentRule(void);

/** Releases a rule that is in no table, with both device infos. NULL does nothing. */
void BYOD_data_FreeUserAgentRule(ByodUserAgentRule* rule);

/**
 * Finds a rule by its keyword.
 *
 * @param keyword  the whole expression; case does not count; none has more than 255 characters
 * @return of several such rules the newest, or NULL; borrowed
 */
ByodUserAgentRule* BYOD_data_FindUserAgentRule(const char* keyword);

/**
 * Puts a filled rule into the table. A second rule with the same keyword is not refused.
 *
 * @param rule  in no table; taken on success; still the caller's, and nothing changed, on failure
 * @return 0; BYOD_ERR_RULE_LIMIT for a custom rule at the limit; BYOD_ERR_FAILED without memory,
 * for a keyword without a NUL, and before Init
 */
uint32_t BYOD_AddUserAgentRule(ByodUserAgentRule* rule);

/**
 * Finds a rule by its keyword, or makes one without a device info.
 *
 * @param keyword  up to 255 characters are kept; a longer one finds no rule, so each call with it
 *                 makes another
 * @param origin   of a rule that is made; a rule that is found keeps its own
 * @param created  gets 1 if the rule was made, else 0
 * @param err      gets 0, BYOD_ERR_RULE_LIMIT, or BYOD_ERR_FAILED without memory and before Init
 * @return the rule, borrowed; NULL on failure
 */
ByodUserAgentRule* BYOD_data_FindOrNewUserAgentRule(const char* keyword, uint32_t origin,
                                                    uint16_t* created, uint32_t* err);

/**
 * Adds one predefined rule, without looking for another of the same keyword. One for which there is
 * no memory is dropped silently.
 *
 * @param keyword  up to 255 characters are kept
 * @param info     copied
 */
void BYOD_data_AddFileAgentRule(const char* keyword, const ByodDeviceInfo* info);

/** As BYOD_data_UpdateMacRule. */
uint32_t BYOD_data_UpdateUserAgentRule(const ByodTextRuleShowRec* record, ByodUserAgentRule* rule);

/** As BYOD_data_DelMacRule, for the rule that BYOD_data_FindUserAgentRule finds. */
void BYOD_data_DelUserAgentRule(const char* keyword);

/** As BYOD_data_DelDeviceInfoFromMacRule, for the rule that BYOD_data_FindUserAgentRule finds. */
void BYOD_data_DelDeviceInfoFromAgentRule(uint32_t mode, uint16_t remove, const char* keyword);

/** Takes a rule that is in the table out of it and releases it. NULL does nothing. */
void BYOD_DeleteUserAgent(ByodUserAgentRule* rule);

/**
 * Pages through the table in byte order of keywords. Of several rules with the very same keyword
 * some may be passed over or come again: the next one is the one behind that which a search meets.
 *
 * @param keyword  of the rule last seen, in its very case, which need not be there any more; ""
 * asks for the first
 * @return the next rule, or NULL at the end; borrowed
 */
ByodUserAgentRule* BYOD_data_GetNextUserAgentRule(const char* keyword);

/**
 * Pages through the table as BYOD_data_GetNextUserAgentRule, but takes the place of a rule that is
 * there without regard to case.
 */
ByodUserAgentRule* BYOD_data_GetNextUARule(const char* keyword);

/* ------------------------------------------------------------------ DHCP option rules */

/** @return a zero-filled rule in no table, owned by the caller; NULL without memory */
ByodDhcpOptionRule* BYOD_data_AllocDhcpOptionRule(void);

/** Releases a rule that is in no table, with both device infos. NULL does nothing. */
void BYOD_data_FreeDhcpOptionRule(ByodDhcpOptionRule* rule);

/** @return the newest rule whose text equals text without regard to case, or NULL; borrowed */
ByodDhcpOptionRule* BYOD_data_FindDhcpOptionRule(const char* text);

/** As BYOD_AddUserAgentRule. */
uint32_t BYOD_AddDhcpOptionRule(ByodDhcpOptionRule* rule);

/** As BYOD_data_FindOrNewUserAgentRule. */
ByodDhcpOptionRule* BYOD_data_FindOrNewDhcpOptionRule(const char* text, uint32_t origin,
                                                      uint16_t* created, uint32_t* err);

/** As BYOD_data_AddFileAgentRule. */
void BYOD_data_AddFileDhcpOptionRule(const char* text, const ByodDeviceInfo* info);

/** As BYOD_data_UpdateMacRule. */
uint32_t BYOD_data_UpdateDhcpOptionRule(const ByodTextRuleShowRec* record,
                                        ByodDhcpOptionRule* rule);

/** As BYOD_data_DelMacRule, for the rule that BYOD_data_FindDhcpOptionRule finds. */
void BYOD_data_DelDhcpOptionRule(const char* text);

/** As BYOD_data_DelDeviceInfoFromMacRule, for the rule that BYOD_data_FindDhcpOptionRule finds. */
void BYOD_data_DelDeviceInfoFromDhcpoptRule(uint32_t mode, uint16_t remove, const char* text);

/** Takes a rule that is in the table out of it and releases it. NULL does nothing. */
void BYOD_DeleteDhcpOption(ByodDhcpOptionRule* rule);

/** As BYOD_data_GetNextUserAgentRule. */
ByodDhcpOptionRule* BYOD_data_GetNextDhcpOptionRule(const char* text);

/* ------------------------------------------------------------------ identification */

/**
 * Finds a terminal's vendor, category and OS by the methods of the current order. A method fills
 * what those before it left empty.
 *
 * @param fp    the terminal
 * @param attr  only empty fields are filled; the caller clears it first
 * @return 0 if any field of attr is set at the end; else BYOD_ERR_FAILED, also for NULL
 */
uint32_t BYOD_data_GetDeviceAttributeByFingerPrint(const ByodFingerPrint* fp,
                                                   ByodDeviceAttribute* attr);

/**
 * Finds a terminal's type string: the device name of the first rule in the current order that has
 * one which fits. A method whose rule has no name, or one that does not fit, is passed over.
 *
 * @param fp    the terminal
 * @param size  of out, in bytes; a name is never cut
 * @param out   gets the name; empty on failure
 * @return 0, or BYOD_ERR_FAILED, also for NULL
 */
uint32_t BYOD_data_GetDeviceTypeByFingerPrint(const ByodFingerPrint* fp, uint32_t size, char* out);

/**
 * Derives a vendor from a terminal's type string by built-in keywords. The vendor that rules name
 * does not count here.
 *
 * @param fp    the terminal
 * @param size  of out, in bytes; a longer vendor is cut
 * @param out   gets the vendor, "unknown" if no keyword occurs; empty on failure
 * @return 0; BYOD_ERR_FAILED when the type is not found, and for NULL
 */
uint32_t BYOD_data_GetDeviceVendorByFingerPrint(const ByodFingerPrint* fp, uint32_t size,
                                                char* out);

/** Fills the empty fields of attr from the first rule that matches a User-Agent. @return 0, also if
 * the rule says nothing; BYOD_ERR_FAILED, with attr left unchanged, if no rule matches */
uint32_t BYOD_data_GetDevAttriByUserAgent(const char* ua, ByodDeviceAttribute* attr);

/** Fills the empty fields of attr from the rule that covers a 6-byte address. @return 0, also if
 * the rule says nothing; BYOD_ERR_FAILED, with attr left unchanged, if no rule does */
uint32_t BYOD_data_GetDevAttriByMac(const uint8_t* mac, ByodDeviceAttribute* attr);

/** Copies the device name of the first rule that matches a User-Agent to out, size bytes. @return
 * 0; BYOD_ERR_FAILED, with out left unchanged without a rule, and empty without a name or room for
 * it */
uint32_t BYOD_data_GetDevTypeByUserAgent(const char* ua, uint32_t size, char* out);

/** Copies the device name of the rule that covers a 6-byte address to out. @return as
 * BYOD_data_GetDevTypeByUserAgent */
uint32_t BYOD_data_GetDevTypeByMac(const uint8_t* mac, uint32_t size, char* out);

/** Copies the device name of the rule with this option text to out. @return as
 * BYOD_data_GetDevTypeByUserAgent */
uint32_t BYOD_data_GetDevTypeByDhcpOption(const char* text, uint32_t size, char* out);

/**
 * Writes an option list as text: 1, 3, 6, 15 as "1,3,6,15".
 *
 * @param count  of the option numbers in bytes; with 0 neither bytes nor out is looked at
 * @param bytes  the option numbers
 * @param size   of out, in bytes
 * @param out    gets the text; on failure as much of it as fits, but nothing at all if size is less
 *               than count
 * @return 0, or BYOD_ERR_FAILED when the text with a comma after each number does not fit
 */
uint32_t BYOD_data_GetDhcpOption55String(uint32_t count, const uint8_t* bytes, uint32_t size,
                                         char* out);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* BYOD_DATA_H */
