// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * What a query or a listing of rules asks for, in BYOD_TLV_QUERYARG and BYOD_TLV_QUERYARG2. For
 * C++.
 */
#ifndef BYOD_PROTOCOL_SELECTORS_H
#define BYOD_PROTOCOL_SELECTORS_H

#include <cstdint>

namespace byod::protocol {

/// BYOD_TLV_QUERYARG: the rule that the key names, or one behind it. A listing: all rules, or
/// kNextConfigured for those that an administrator made or modified.
enum class Which : uint32_t { kThis = 0, kNext = 1, kNextConfigured = 2 };

/// BYOD_TLV_QUERYARG2: what is sent of a rule's device info: nothing, the configured record alone,
/// or the configured record over the predefined one.
enum class Detail : uint32_t { kKey = 0, kConfigured = 1, kAll = 2 };

}  // namespace byod::protocol

#endif  // BYOD_PROTOCOL_SELECTORS_H
