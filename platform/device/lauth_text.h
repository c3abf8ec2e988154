// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * Text services of the device's support library. No state: any thread.
 */
#ifndef LAUTH_TEXT_H
#define LAUTH_TEXT_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/**
 * Turns the letters A to Z of a text into lower case, in place. Other bytes stay, those above 127
 * too, whatever the locale.
 *
 * @param text  NUL-terminated; NULL does nothing
 * @return text
 */
char* lowercase(char* text);

/**
 * Formats like snprintf, but returns the length written, not the length that the text would have
 * had.
 *
 * @param out   gets the text, cut if need be, and always a NUL
 * @param size  of out, in bytes; with 0 nothing is written
 * @return the characters written, without the NUL; 0 also when formatting fails
 */
int scnprintf(char* out, size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* LAUTH_TEXT_H */
