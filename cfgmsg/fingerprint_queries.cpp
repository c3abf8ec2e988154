// SPDX-License-Identifier: Apache-2.0
// Questions about a terminal, on a connection that the caller keeps.
#include "byod_tlv.h"
#include "cfgmsg/connection.h"

namespace byod::cfgmsg {
namespace {

/**
 * Asks about a terminal and has the answer decoded.
 *
 * @param decode  (reply) -> 0 or a code
 * @return what decode returns; BYOD_ERR_FAILED for anything that goes wrong before. The daemon's
 * own code is not passed on, unlike that of the other requests.
 */
template <typename Decode>
uint32_t Ask(int connection, const ByodFingerPrint* fp, uint32_t kind, Decode decode) {
  tlv::Message reply;
  {
    const tlv::Message request(BYOD_tlv_EncapFingerPrint(fp, kind));
    errno = request ? kNoAnswer : ENOMEM;
    if (!request || !Send(connection, request.get())) return BYOD_ERR_FAILED;
    reply = Receive(connection);
  }
  if (!reply) {
    errno = kNoAnswer;
    return BYOD_ERR_FAILED;
  }
  if (ReadCode(reply.get()) != 0) return BYOD_ERR_FAILED;
  const uint32_t result = decode(reply.get());
  errno = result == 0 ? 0 : kBadAnswer;
  return result;
}

/// Asks for one text.
uint32_t AskText(int connection, const ByodFingerPrint* fp, uint32_t kind, uint16_t type,
                 uint32_t size, char* out) {
  bool is_there = true;
  const uint32_t result = Ask(connection, fp, kind, [&](uint32_t reply) {
    is_there = TLV_GetIteratorByType(reply, type) != 0;
    return BYOD_tlv_GetStrValueByType(reply, type, size, out);
  });
  if (!is_there) errno = kUnknown;
  return result;
}

}  // namespace
}  // namespace byod::cfgmsg

uint32_t BYOD_cfgmsg_GetDeviceType(int connection, const ByodFingerPrint* fp, uint32_t size,
                                   char* out) {
  return byod::cfgmsg::AskText(connection, fp, BYOD_MSG_DEVTYPE_BY_FP, BYOD_TLV_DEVNAME, size, out);
}

uint32_t BYOD_cfgmsg_GetDeviceVendor(int connection, const ByodFingerPrint* fp, uint32_t size,
                                     char* out) {
  return byod::cfgmsg::AskText(connection, fp, BYOD_MSG_VENDOR_BY_FP, BYOD_TLV_VENDOR, size, out);
}

uint32_t BYOD_cfgmsg_GetDeviceAttribute(int connection, const ByodFingerPrint* fp,
                                        ByodDeviceAttribute* attr) {
  if (connection < 0 || fp == nullptr || attr == nullptr) {
    errno = EINVAL;
    return BYOD_ERR_FAILED;
  }
  return byod::cfgmsg::Ask(connection, fp, BYOD_MSG_DEVATTR_BY_FP, [=](uint32_t reply) {
    return BYOD_tlv_GetDevAttri(reply, reinterpret_cast<char*>(attr));
  });
}
