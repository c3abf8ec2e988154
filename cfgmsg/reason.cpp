// SPDX-License-Identifier: Apache-2.0
#include "cfgmsg/reason.h"

#include "byod_tlv.h"

namespace byod::cfgmsg {
namespace {

/// The daemon says more than a code in an element behind it, which other daemons need not send.
constexpr uint16_t kRefusalType = 1000;
enum Refusal : uint32_t { kNone = 0, kPermission = 2, kNotFound = 3, kUnidentified = 10 };

int ReasonOf(uint32_t refusal) {
  switch (refusal) {
    case kPermission:
      return EPERM;
    case kNotFound:
    case kUnidentified:
      return kUnknown;
    default:
      return EREMOTEIO;
  }
}

}  // namespace

uint32_t ReadCode(uint32_t reply) {
  const uint32_t code = BYOD_tlv_GetErrorCode(reply);
  uint32_t refusal = kNone;
  if (code != 0) BYOD_tlv_GetUINTValueByType(reply, kRefusalType, &refusal);
  errno = code != 0 ? ReasonOf(refusal) : 0;
  return code;
}

}  // namespace byod::cfgmsg
