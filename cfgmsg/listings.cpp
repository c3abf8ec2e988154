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
  if (!Send(connection.get(), request.message.get())) return BYOD_ERR_FAILED;
  uint32_t code;
  do {
    const tlv::Message reply = Receive(connection.get());
    if (!reply) return BYOD_ERR_FAILED;
    code = BYOD_tlv_GetErrorCode(reply.get());
    if (code == 0 || code == BYOD_ERR_CONTINUE) walk(reply.get(), callback);
  } while (code == BYOD_ERR_CONTINUE);
  return code;
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
