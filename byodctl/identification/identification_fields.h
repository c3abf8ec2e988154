// SPDX-License-Identifier: Apache-2.0
// Fingerprints, answers and authorization sets in messages.
#ifndef BYODCTL_IDENTIFICATION_IDENTIFICATION_FIELDS_H
#define BYODCTL_IDENTIFICATION_IDENTIFICATION_FIELDS_H

#include <cstdint>
#include <string>

#include "byodctl/daemon/client.h"
#include "byodctl/text/answer.h"
#include "byodctl/text/fingerprint_text.h"

namespace byod::ctl {

/// The fingerprint in a message.
FingerprintText FingerprintIn(const Fields& fields);

/// Vendor, category, OS and name in a message.
Answer AnswerIn(const Fields& fields);

/// The authorization set in a message.
AuthorizationSet AuthorizationIn(const Fields& fields);

/// "2026-02-28T12:34:56.789Z" from microseconds since 1970.
std::string TimeText(uint64_t microseconds);

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_IDENTIFICATION_FIELDS_H
