// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * The version of this library, for programs that are built against more than one.
 *
 * A later 1.x has everything that an earlier one has; docs/abi.md says what that includes.
 */
#ifndef BYOD_VERSION_H
#define BYOD_VERSION_H

/** The parts of the version. */
#define BYOD_VERSION_MAJOR 1
#define BYOD_VERSION_MINOR 1
#define BYOD_VERSION_PATCH 0

/** The version as a text. */
#define BYOD_VERSION_TEXT "1.1.0"

/** A version as a number that can be compared: 1.2.3 is 10203. */
#define BYOD_VERSION_NUMBER_OF(major, minor, patch) ((major) * 10000 + (minor) * 100 + (patch))

/** The version of these headers as a number. */
#define BYOD_VERSION_NUMBER \
  BYOD_VERSION_NUMBER_OF(BYOD_VERSION_MAJOR, BYOD_VERSION_MINOR, BYOD_VERSION_PATCH)

#endif /* BYOD_VERSION_H */
