// SPDX-License-Identifier: Apache-2.0
// Listings: one request, and replies until one is the last.
#include "cfgmsg/connection.h"
#include "cfgmsg/request.h"

namespace byod::cfgmsg {
namespace {

using Walk = void (*)(uint32_t reply, ByodRuleCallback callback);

uint32_t List(uint32_t kind, Walk walk, ByodRuleCallback callback) {
  Request request = MakeRequestOf(BYOD_OP_GET, kind);
  if (!request.Ready()) {
    // Kept: a listing that cannot be asked for leaves its request behind.
    request.message.release();
    return request.status;
  }
  const Connection connection;
  // Kept: without a daemon there is nothing to list, and that is a success.
  if (!connection) return 0;
  const bool is_sent = Send(connection.get(), request.message.get());
  for (;;) {
    const tlv::Message reply = is_sent ? Receive(connection.get()) : tlv::Message();
    if (!reply) {
      errno = kNoAnswer;
      return BYOD_ERR_FAILED;
    }
    const uint32_t code = ReadCode(reply.get());
    if (code != 0 && code != BYOD_ERR_CONTINUE) return code;
    walk(reply.get(), callback);
    errno = 0;  // whatever the callback left there
    if (code == 0) return 0;
  }
}

}  // namespace
}  // namespace byod::cfgmsg

uint32_t BYOD_cfgmsg_GetAndShowMacRules(ByodRuleCallback callback) {
  return byod::cfgmsg::List(BYOD_MSG_MAC_LIST, Byod_WalkMacRuleReply, callback);
}

uint32_t BYOD_cfgmsg_GetAndShowUserAgentRules(ByodRuleCallback callback) {
  return byod::cfgmsg::List(BYOD_MSG_UA_LIST, Byod_WalkUserAgentRuleReply, callback);
}

uint32_t BYOD_cfgmsg_GetAndShowDhcpOtionRules(ByodRuleCallback callback) {
  return byod::cfgmsg::List(BYOD_MSG_DHCPOPT_LIST, Byod_WalkDhcpOptionRuleReply, callback);
}
