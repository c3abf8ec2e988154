// SPDX-License-Identifier: Apache-2.0
// Attacks the decoders of attributes: BYOD_tlv_GetAgentDeviceAttr, BYOD_tlv_GetDhcpDeviceAttr,
// BYOD_tlv_GetMacDevicetAttr, BYOD_tlv_GetDevAttri and BYOD_tlv_GetDevAttr.
//
// The input is a message without its header. Status and every byte of the outputs must equal those
// of a plain reading.
#include "fuzz/compare_decoders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::Input input(data, size);
  if (input.message == 0) return 0;
  fuzz::Compare(input, {"GetAgentDeviceAttr", "GetDhcpDeviceAttr", "GetMacDevicetAttr",
                        "GetDevAttri", "GetDevAttr"});
  return 0;
}
