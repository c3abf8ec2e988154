// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * Finding the messages of lauth_tlv.h in a stream of bytes, for programs that read sockets on
 * their own terms: read TLV_STREAM_HEADER bytes, ask for the length, read the rest, and hand the
 * whole to TLV_CreateReceiveMsg as memory.
 *
 * No state: any thread.
 */
#ifndef LAUTH_TLV_STREAM_H
#define LAUTH_TLV_STREAM_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

#define TLV_STREAM_HEADER 8 /**< bytes from which a message's length is known */

/**
 * Finds the length of the message that begins here.
 *
 * @param bytes  what has arrived so far; may be NULL when count is 0
 * @param count  how many; those behind the header are not looked at
 * @return the length of the whole message with its header, at least TLV_STREAM_HEADER; 0 when more
 *         bytes are needed; -1 when no message begins like this, as soon as that is known
 */
int64_t TLV_Stream_MessageLength(const void* bytes, size_t count);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* LAUTH_TLV_STREAM_H */
