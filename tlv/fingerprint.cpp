// SPDX-License-Identifier: Apache-2.0
// A terminal's fingerprint: the query that carries it, and reading it out of one.
#include <algorithm>

#include "byod_tlv.h"
#include "tlv/append.h"
#include "tlv/message.h"
#include "tlv/scan.h"

using byod::tlv::Address;
using byod::tlv::Appender;
using byod::tlv::Field;
using byod::tlv::OptionList;
using byod::tlv::Scan;
using byod::tlv::Text;

uint32_t BYOD_tlv_EncapFingerPrint(const ByodFingerPrint* fp, uint32_t kind) {
  byod::tlv::Message msg(TLV_Create());
  if (!msg) return 0;
  Appender append(msg.get());
  append.Number(BYOD_TLV_OPTYPE, BYOD_OP_GET).Number(BYOD_TLV_MSGTYPE, kind);
  if (fp->option_length != 0) {
    // The length is cut to 16 bits first, so 65536 is sent as an empty list.
    const uint32_t length = fp->option_length & 0xFFFF;
    append.Bytes(BYOD_TLV_OPTION55, std::min<uint32_t>(length, BYOD_OPTION55_MAX), fp->options);
  }
  append.PresentText(BYOD_TLV_USERAGENT, fp->user_agent).Address(BYOD_TLV_MAC, fp->mac);
  return append.status() == 0 ? msg.release() : 0;
}

uint32_t BYOD_tlv_GetFingerPrint(uint32_t msg, ByodFingerPrint* fp) {
  const Field fields[] = {
      OptionList(BYOD_TLV_OPTION55, fp),
      Text(BYOD_TLV_USERAGENT, fp->user_agent),
      Address(BYOD_TLV_MAC, fp->mac),
  };
  return Scan(msg, fields);
}
