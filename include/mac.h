// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * MAC addresses as text. An address is 6 bytes in network order. No state: any thread. Pointers are
 * not NULL unless a description says what NULL does.
 */
#ifndef BYOD_MAC_H
#define BYOD_MAC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** Sets all 6 bytes of mac to 0xFF, the mask that keeps every bit. */
void MAC_BroadcastAddr(uint8_t* mac);

/**
 * Writes the name of an address prefix: "byod-mac-" and the hexadecimal digits of the address up to
 * its last digit other than 0. 00:11:22:00:00:00 is "byod-mac-001122", the zero address
 * "byod-mac-0".
 *
 * @param mac   6 bytes; nothing happens when it is NULL
 * @param size  of out, in bytes; a longer name is cut
 * @param out   gets the name; nothing happens when it is NULL
 */
void MAC_ToStringForMode(const uint8_t* mac, uint32_t size, char* out);

/**
 * Reads the digits of a prefix name (without "byod-mac-") back into an address.
 *
 * @param text  up to 12 hexadecimal digits, which may be followed by anything; with an odd number
 * of characters it gets a 0 behind its last one, or behind the twelfth
 * @param size  of mac, in bytes; all of it is cleared first
 * @param mac   gets the address, as much of it as size has room for
 * @return the number of bytes read from text, 0 to 6, also if size is less; 0 for a text that does
 *         not begin with a digit, -1 for an empty one
 */
int BYOD_GetMacAddrByMode(const char* text, uint32_t size, uint8_t* mac);

/**
 * Reads an address such as "0011-2233-4455".
 *
 * @param text  three groups of four hexadecimal digits, which may be followed by anything
 * @param mac   gets 6 bytes; those that the text stops before are 0
 * @return the number of bytes read, 6 for a whole address; 0 for a text that does not begin with a
 *         digit, -1 for an empty one
 */
int MacStringtoMacaddr(const char* text, uint8_t* mac);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* BYOD_MAC_H */
