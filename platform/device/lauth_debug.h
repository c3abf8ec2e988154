// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * Debug log: leveled, formatted messages, handed to a sink.
 *
 * Levels: 1 is the most important, higher numbers are more detailed. A message goes out when its
 * level is at most the level that is set. The level is 0 at the start, and with 0 nothing goes out.
 *
 * Threads: all calls may be made from any thread. A sink may be called by several threads at once,
 * and for a moment after it was replaced.
 *
 * errno is left unchanged, and no failure is reported.
 */
#ifndef LAUTH_DEBUG_H
#define LAUTH_DEBUG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

#define LAUTH_DBG_TEXT_MAX 1023 /**< characters of a message; the rest is cut off */

/**
 * Takes the messages that go out.
 *
 * @param context  as given to LAUTH_dbg_SetSink
 * @param level    the message's
 * @param text     the formatted message without a newline at its end; valid until the sink returns
 */
typedef void (*LAUTH_dbg_Sink)(void* context, uint32_t level, const char* text);

/**
 * Logs a message, at once when its level is off.
 *
 * @param level   the message's
 * @param format  as for printf, with the flags, widths, precisions and sizes of the conversions
 *                d i u x X o c s p e E f F g G a A and %%; besides "%M" takes a pointer to the 6
 *                bytes of a MAC address, const uint8_t*, and prints it as 00:11:22:33:44:55, in
 *                lower case. "%s" and "%M" print a NULL as (null). An unknown conversion is printed
 *                as it stands and takes no argument; "%n" and "%ls" are printed as they stand and
 *                skip theirs. One newline at the end is dropped. NULL logs nothing.
 */
void LAUTH_dbg_PrintDbgInfo(uint32_t level, const char* format, ...);

/** Sets the highest level that goes out; 0 turns the log off. */
void LAUTH_dbg_SetLevel(uint32_t level);

/** @return the highest level that goes out */
uint32_t LAUTH_dbg_GetLevel(void);

/**
 * Sets where messages go.
 *
 * @param sink     NULL for the one of the start, which writes each message as a line to standard
 *                 error
 * @param context  handed to the sink; borrowed until another one is set
 */
void LAUTH_dbg_SetSink(LAUTH_dbg_Sink sink, void* context);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* LAUTH_DEBUG_H */
