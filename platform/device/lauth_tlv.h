// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * Messages: ordered lists of elements, each a 16-bit type and up to 65535 bytes, written to and
 * read from a socket or memory.
 *
 * Ownership: TLV_Create and TLV_CreateReceiveMsg give a message to the caller, who releases it
 * with TLV_Destroy. What is appended is copied in, what is read is copied out.
 *
 * Handles: a message is a number other than 0. A number that names no message, because it was
 * destroyed or never made, is refused by every call like 0; nothing is dereferenced. The handle of
 * a destroyed message comes back only after four million others (65536 times 64); sooner, but not
 * before 65535 others, when less than 64 of the 65535 possible messages are free or memory is
 * short.
 *
 * Iterators: an element is a number other than 0, valid in its own message until the element or the
 * message is deleted. Other elements may be deleted and appended meanwhile. Any other number is
 * refused. A message takes at least 2^31 elements in its life, those deleted since included;
 * further ones fail with TLV_ERR_LENGTH. A message that has become empty after 3 * 2^30 numbers
 * begins again with the first, and only then may the iterator of a deleted element name another
 * one.
 *
 * Threads: all calls may be made from any thread, also on one message, whose calls then wait for
 * each other; one that sends to a slow peer makes the others wait.
 *
 * Results are 0 for success and one of TLV_ERR_* otherwise, unless said. A call that fails leaves
 * the message unchanged.
 *
 * The form in which messages are written belongs to the library: integers are in network order, so
 * it is the same on every machine; a message begins with a mark and its own length, by which it is
 * distinguished from text and numbers.
 */
#ifndef LAUTH_TLV_H
#define LAUTH_TLV_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

#define TLV_ERR_HANDLE 0x544C0001u   /**< no such message */
#define TLV_ERR_ITERATOR 0x544C0002u /**< no such element in the message */
#define TLV_ERR_MEMORY 0x544C0004u   /**< no memory */
#define TLV_ERR_ARGUMENT 0x544C0008u /**< a NULL where bytes are needed */
/** Longer than the element, or the message would be too long, or it has had too many elements. */
#define TLV_ERR_LENGTH 0x544C0010u

#define TLV_MODE_SOCKET                                                                           \
  1u                       /**< source and target are the descriptor of a connected stream socket \
                            */
#define TLV_MODE_MEMORY 2u /**< source and target are an address, any alignment */

/** @return a new, empty message; 0 without memory, and with 65535 messages in use */
uint32_t TLV_Create(void);

/** Appends an element of 4 bytes that holds a number in network order. */
uint32_t TLV_Append_UINT(uint32_t msg, uint16_t type, uint32_t value);

/**
 * Appends an element.
 *
 * @param length  of the value in bytes; 0 makes an empty element
 * @param value   not read, and may be NULL, when length is 0
 */
uint32_t TLV_Append_Data(uint32_t msg, uint16_t type, uint16_t length, const void* value);

/** Removes an element; its iterator is refused from now on. */
uint32_t TLV_Delete_Data(uint32_t msg, uintptr_t iterator);

/** @return the first element; 0 in an empty message or without a message */
uintptr_t TLV_GetFirst(uint32_t msg);

/** @return the element after this one; 0 after the last, and when there is no such element */
uintptr_t TLV_GetNext(uint32_t msg, uintptr_t iterator);

/** @return the first element of a type; 0 when there is none */
uintptr_t TLV_GetIteratorByType(uint32_t msg, uint16_t type);

/** @return the element's type; 0 when there is no such element */
uint16_t TLV_GetTypeByIterator(uint32_t msg, uintptr_t iterator);

/** @return the bytes of the element's value; 0 when there is no such element */
uint16_t TLV_GetLenByIterator(uint32_t msg, uintptr_t iterator);

/**
 * Copies an element's value out.
 *
 * @param length  how many bytes from the value's start; TLV_ERR_LENGTH when it has fewer
 * @param out     gets exactly length bytes; left unchanged on failure
 */
uint32_t TLV_GetValueByIterator(uint32_t msg, uintptr_t iterator, uint16_t length, void* out);

/** @return the number in an element of 4 bytes; 0 when it has another length or does not exist */
uint32_t TLV_GetUINTByIterator(uint32_t msg, uintptr_t iterator);

/** @return the bytes that TLV_Flush writes in a mode; 0 without a message or for an unknown mode */
uint32_t TLV_GetMsgLen(uint32_t msg, uint32_t mode);

/**
 * Writes a message. It stays the caller's.
 *
 * A socket gets all of the message or the call fails, maybe after some of it went out; signals and
 * partial writes are survived, a non-blocking socket is waited for, within its SO_SNDTIMEO if one
 * is set. SIGPIPE is never raised.
 *
 * @param length  the most to write: of a memory target, its size
 * @return the bytes written, as TLV_GetMsgLen returns it; 0 when length is less than that, the
 * socket fails or times out, the address is NULL or the mode is unknown
 */
uint32_t TLV_Flush(uint32_t msg, uint32_t mode, uint32_t length, uintptr_t target);

/**
 * Reads one message.
 *
 * Out of a socket exactly the message's own bytes are taken, so that another one may follow. The
 * call waits for them, also on a non-blocking socket, for each portion within the socket's
 * SO_RCVTIMEO if one is set. In memory, bytes behind the message's own length are ignored.
 *
 * @param limit  the most bytes that the message may have: of a memory source, its size
 * @return the message, the caller's; 0 when the bytes are no whole, consistent message of at most
 *         limit bytes, the socket fails, times out or ends early, memory is short or the mode is
 *         unknown. How much was taken from the socket is then unknown.
 */
uint32_t TLV_CreateReceiveMsg(uint32_t mode, uintptr_t source, uint32_t limit);

/** Releases a message. */
uint32_t TLV_Destroy(uint32_t msg);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* LAUTH_TLV_H */
