// SPDX-License-Identifier: Apache-2.0
// Whether the address or the thread sanitizer is built in, which both compilers say in their own
// way.
#ifndef BYOD_TESTS_SUPPORT_SANITIZED_H
#define BYOD_TESTS_SUPPORT_SANITIZED_H

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define BYOD_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define BYOD_SANITIZED 1
#endif
#endif
#ifndef BYOD_SANITIZED
#define BYOD_SANITIZED 0
#endif

#endif  // BYOD_TESTS_SUPPORT_SANITIZED_H
