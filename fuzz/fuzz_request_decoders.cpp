// SPDX-License-Identifier: Apache-2.0
// Attacks what the daemon decodes requests with: BYOD_tlv_GetFingerPrint,
// BYOD_tlv_GetMacAddrAndMask, BYOD_tlv_GetMacRule, BYOD_tlv_GetUserAgentRule and
// BYOD_tlv_GetDhcpOptionRule.
//
// The input is a message without its header. Status and every byte of the outputs must equal those
// of a plain reading.
#include "fuzz/compare_decoders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::Input input(data, size);
  if (input.message == 0) return 0;
  fuzz::Compare(input, {"GetFingerPrint", "GetMacAddrAndMask", "GetMacRule", "GetUserAgentRule",
                        "GetDhcpOptionRule"});
  return 0;
}
