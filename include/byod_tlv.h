// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * The configuration messages between front ends and the daemon: their elements, and the records put
 * into and taken out of them.
 *
 * A message is a handle of the platform's TLV container, 0 = none; its creator destroys it with
 * TLV_Destroy. Encoders append in a fixed order and return the container's results combined by
 * bitwise OR, 0 when all succeeded; they do not check texts against the receiver's limits. Decoders
 * read the elements in the order of arrival, so of several of one type the last counts (but see
 * BYOD_TLV_ORDER); elements that they do not know are passed over. A decoder that fails has stored
 * what stood before the fault; what a message lacks keeps what it holds, but for the AllInfo
 * decoders, which clear their records first. Unless said otherwise a failure is BYOD_ERR_FAILED;
 * only when the container cannot copy an address do the decoders return its own code. Pointers must
 * not be NULL unless said.
 *
 * Lengths that decoders take: a text from 1 byte to the size of its field, its last byte counting
 * as the NUL whatever it is; an address up to 6 bytes, fewer fill only the first. Texts and option
 * lists are sent with their length modulo 65536.
 *
 * Threads: no state; a message is used by one thread at a time.
 */
#ifndef BYOD_TLV_H
#define BYOD_TLV_H

#include <stdint.h>

#include "byod_data.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** Element types. */
enum {
  BYOD_TLV_OPTYPE = 1,    /**< number: BYOD_OP_* */
  BYOD_TLV_MSGTYPE = 2,   /**< number: BYOD_MSG_* */
  BYOD_TLV_RULESRC = 3,   /**< number: a rule's origin, 0 = predefined */
  BYOD_TLV_DHCPOPT = 4,   /**< text, 256: a DHCP option rule's text */
  BYOD_TLV_USERAGENT = 5, /**< text, 256: a User-Agent, or a User-Agent rule's keyword */
  BYOD_TLV_MAC = 6,       /**< address: of a terminal or a MAC rule */
  BYOD_TLV_MACMASK = 7,   /**< address: the mask of a MAC rule */
  BYOD_TLV_DEVNAME = 8,   /**< text, 128: device name */
  BYOD_TLV_ERRCODE = 12,  /**< number: the result in a reply */
  BYOD_TLV_COUNT = 13,    /**< number: of rules */
  BYOD_TLV_OPTION55 = 14, /**< bytes, 255: a fingerprint's DHCP option 55 */
  BYOD_TLV_ORDER = 15,    /**< number, repeated: one method per slot of an order */
  BYOD_TLV_VENDOR = 16,   /**< text, 64 */
  BYOD_TLV_OS = 17,       /**< text, 64 */
  BYOD_TLV_DEVTYPE = 18,  /**< text, 64: category */
  BYOD_TLV_ATTRKIND = 19, /**< number: BYOD_ATTR_* */
  BYOD_TLV_QUERYARG = 20, /**< number: first selector of a rule query */
  BYOD_TLV_RULEWORD = 21, /**< number of 16 bits: a rule's modified flag */
  BYOD_TLV_QUERYARG2 = 22 /**< number: second selector of a rule query */
};

/** Operations of a request. */
enum { BYOD_OP_UNDO = 0, BYOD_OP_SET = 1, BYOD_OP_GET = 2 };

/** Message kinds. */
enum {
  BYOD_MSG_DHCPOPTRULE = 0,
  BYOD_MSG_UARULE = 1,
  BYOD_MSG_MACRULE = 2,
  BYOD_MSG_DEVTYPE_BY_FP = 3,
  BYOD_MSG_DHCPOPT_COUNT = 4,
  BYOD_MSG_UA_COUNT = 5,
  BYOD_MSG_MAC_COUNT = 6,
  BYOD_MSG_DHCPOPT_LIST = 7,
  BYOD_MSG_UA_LIST = 8,
  BYOD_MSG_MAC_LIST = 9,
  BYOD_MSG_ORDER = 11,
  BYOD_MSG_VENDOR_BY_FP = 12,
  BYOD_MSG_DEVATTR_BY_FP = 13,
  BYOD_MSG_DHCPOPT_VALUE = 14,
  BYOD_MSG_UA_VALUE = 15,
  BYOD_MSG_MAC_VALUE = 16,
  BYOD_MSG_DHCPOPT_DEVATTR = 17,
  BYOD_MSG_UA_DEVATTR = 18,
  BYOD_MSG_MAC_DEVATTR = 19
};

/** A slot of an order that is not sent. */
#define BYOD_ORDER_NO_SLOT 0xFFFFFFFFu

/* ------------------------------------------------------------------ common fields */

/** Appends a result to a reply. */
uint32_t BYOD_tlv_EncapErrCode(uint32_t msg, uint32_t code);

/** @return the result in a reply; BYOD_ERR_FAILED when it has none */
uint32_t BYOD_tlv_GetErrorCode(uint32_t msg);

/** Reads the operation of a request into op, unchanged on failure. @return 0 or BYOD_ERR_FAILED */
uint32_t BYOD_tlv_GetOpType(uint32_t msg, uint32_t* op);

/** Reads the first number of a type into out, unchanged on failure. @return 0 or BYOD_ERR_FAILED */
uint32_t BYOD_tlv_GetUINTValueByType(uint32_t msg, uint16_t type, uint32_t* out);

/**
 * Reads the first text of a type.
 *
 * @param cap  of buf, in bytes; a longer text fails, an element without a byte too
 * @param buf  gets the text; its last byte is made a NUL
 * @return 0 or BYOD_ERR_FAILED
 */
uint32_t BYOD_tlv_GetStrValueByType(uint32_t msg, uint16_t type, uint32_t cap, char* buf);

/**
 * Reads the first element of a type as bytes.
 *
 * @param cap  of buf, in bytes; a longer element fails
 * @return 0, BYOD_ERR_FAILED, or the container's own code when the copy fails
 */
uint32_t BYOD_tlv_GetMacValueByType(uint32_t msg, uint16_t type, uint32_t cap, uint8_t* buf);

/** Appends the slots of an order but for those that hold BYOD_ORDER_NO_SLOT. */
uint32_t BYOD_tlv_EncapOrder(uint32_t msg, const uint32_t order[3]);

/**
 * Reads an order. The first three methods below 3 fill the slots; other values take no slot, and
 * slots not reached keep what they hold.
 *
 * @return 0, also for a message without slots
 */
uint32_t BYOD_tlv_GetOrder(uint32_t msg, uint32_t order[3]);

/* ------------------------------------------------------------------ nested messages */

/**
 * Appends a whole message as one element. sub stays the caller's.
 *
 * An element has at most 65535 bytes: of a longer message only its length modulo 65536 is sent,
 * from its start, and the result is 0 all the same. Callers keep to TLV_GetMsgLen below 65536.
 *
 * @return 0; BYOD_ERR_FAILED without memory or when sub cannot be written; else the container's
 * code
 */
uint32_t BYOD_tlv_PutSubTlv(uint32_t msg, uint16_t type, uint32_t sub);

/** @return the message nested in an element, owned by the caller; 0 when it holds none */
uint32_t BYOD_tlv_GetSubTlv(uint32_t msg, uintptr_t iterator);

/** Deletes every element. @return the last deletion's result, 0 for an empty message */
uint32_t BYOD_tlv_ClearTlv(uint32_t msg);

/* ------------------------------------------------------------------ encoding */

/** Of option_length the lower 16 bits count, and at most 255 bytes are sent.
 * @return a query of this kind for a terminal, owned by the caller; 0 on failure */
uint32_t BYOD_tlv_EncapFingerPrint(const ByodFingerPrint* fp, uint32_t kind);

/** Append origin and key of a rule, and a device name: NULL for none, empty is sent. */
uint32_t BYOD_tlv_EncapMacRule(uint32_t msg, const char* name, const ByodMacRule* rule);
uint32_t BYOD_tlv_EncapUserAgentRule(uint32_t msg, const char* name, const ByodUserAgentRule* rule);
uint32_t BYOD_tlv_EncapDhcpOptionRule(uint32_t msg, const char* name,
                                      const ByodDhcpOptionRule* rule);

/**
 * Append a rule with what it says of a device.
 *
 * @param mode  2 = its predefined information under its configured one, 1 = the configured one
 *              alone, others = origin, modified flag and key only
 */
uint32_t BYOD_tlv_EncapMacRuleAllInfo(uint32_t msg, const ByodMacRule* rule, uint32_t mode);
uint32_t BYOD_tlv_EncapUserAgentRuleAllInfo(uint32_t msg, const ByodUserAgentRule* rule,
                                            uint32_t mode);
uint32_t BYOD_tlv_EncapDhcpOptionRuleAllInfo(uint32_t msg, const ByodDhcpOptionRule* rule,
                                             uint32_t mode);

/** Appends each field of modified, or where it is empty of own; both may be NULL. */
uint32_t BYOD_tlv_EncapDevInfoMerged(uint32_t msg, const ByodDeviceInfo* own,
                                     const ByodDeviceInfo* modified);

/** Appends each field of info that is not empty; NULL has none. */
uint32_t BYOD_tlv_EncapDevInfoOnly(uint32_t msg, const ByodDeviceInfo* info);

/**
 * Appends the one attribute that kind (BYOD_ATTR_*) selects, also when it is empty.
 *
 * @return 0; BYOD_ERR_FAILED for another kind, without info, or when the append fails
 */
uint32_t BYOD_tlv_EncapDevAttr(uint32_t msg, uint32_t kind, const ByodDeviceInfo* info);

/* ------------------------------------------------------------------ decoding */

/** Reads a terminal. An option list that does not fit makes option_length 0 and is not a failure.
 */
uint32_t BYOD_tlv_GetFingerPrint(uint32_t msg, ByodFingerPrint* fp);

/** Reads address and mask into rule. NULL fails. */
uint32_t BYOD_tlv_GetMacAddrAndMask(uint32_t msg, ByodMacRule* rule);

/** Reads origin, the address into rule, mask and name into rec. NULL fails. */
uint32_t BYOD_tlv_GetMacRule(uint32_t msg, uint32_t* origin, ByodMacRuleShowRec* rec,
                             ByodMacRule* rule);

/**
 * Read origin and a text rule.
 *
 * @param buf  384 bytes: the rule's text in the first 256, the device name in the rest
 * @return 0 or BYOD_ERR_FAILED, also for NULL
 */
uint32_t BYOD_tlv_GetUserAgentRule(uint32_t msg, uint32_t* origin, char* buf);
uint32_t BYOD_tlv_GetDhcpOptionRule(uint32_t msg, uint32_t* origin, char* buf);

/** Read the text of a rule, into cap bytes, and an attribute kind. */
uint32_t BYOD_tlv_GetAgentDeviceAttr(uint32_t msg, uint32_t cap, char* text, uint32_t* kind);
uint32_t BYOD_tlv_GetDhcpDeviceAttr(uint32_t msg, uint32_t cap, char* text, uint32_t* kind);

/** Reads address and mask into rule, attributes into info, and an attribute kind. NULL fails. */
uint32_t BYOD_tlv_GetMacDevicetAttr(uint32_t msg, uint32_t* kind, ByodDeviceInfo* info,
                                    ByodMacRule* rule);

/** Reads vendor, category and OS into 192 bytes, 64 each in this order. NULL fails. */
uint32_t BYOD_tlv_GetDevAttri(uint32_t msg, char* attrs);

/**
 * Reads the first text of the attribute that kind (BYOD_ATTR_*) selects into its field of info.
 *
 * @return 0, also when there is none; BYOD_ERR_FAILED for another kind or NULL
 */
uint32_t BYOD_tlv_GetDevAttr(uint32_t msg, uint32_t kind, ByodDeviceInfo* info);

/**
 * Reads all of a MAC rule: the address into rule, mask and information into rec, which are both
 * cleared first.
 *
 * @param origin  NULL fails
 * @param word    gets the modified flag; not NULL
 * @param rec     not NULL
 * @param rule    NULL fails
 */
uint32_t BYOD_tlv_GetMacRuleAllInfo(uint32_t msg, uint32_t* origin, uint16_t* word,
                                    ByodMacRuleShowRec* rec, ByodMacRule* rule);

/** Read all of a text rule into rec, which is cleared first. NULL for origin or rec fails. */
uint32_t BYOD_tlv_GetUserAgentRuleAllInfo(uint32_t msg, uint32_t* origin, uint16_t* word,
                                          ByodTextRuleShowRec* rec);
uint32_t BYOD_tlv_GetDhcpOptionRuleAllInfo(uint32_t msg, uint32_t* origin, uint16_t* word,
                                           ByodTextRuleShowRec* rec);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* BYOD_TLV_H */
