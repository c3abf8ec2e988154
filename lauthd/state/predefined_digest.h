// SPDX-License-Identifier: Apache-2.0
// Detects whether a reload changed the predefined rules.
#ifndef LAUTHD_STATE_PREDEFINED_DIGEST_H
#define LAUTHD_STATE_PREDEFINED_DIGEST_H

#include <cstdint>

namespace byod::lauthd {

/// @return a number that differs when a predefined rule, what it says, or the order in which
///         User-Agent rules are tried differs; an administrator's changes do not count
uint64_t DigestOfPredefined();

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_PREDEFINED_DIGEST_H
