#include "lauthd/requests/dispatch.h"

#include "lauthd/requests/authorization_requests.h"
#include "lauthd/requests/backup_requests.h"
#include "lauthd/requests/bulk_requests.h"
#include "lauthd/requests/category_requests.h"
#include "lauthd/requests/identification.h"
#include "lauthd/requests/idle_requests.h"
#include "lauthd/requests/listing.h"
#include "lauthd/requests/order_requests.h"
#include "lauthd/requests/rule_changes.h"
#include "lauthd/requests/rule_queries.h"
#include "lauthd/requests/state_requests.h"
#include "lauthd/server/connection.h"

namespace byod::lauthd {
namespace {

enum Traits : uint32_t {
  kPlain = 0,
  kGuardedGet = 1,  // reading it is for those who may change, and not in the middle of a bulk
  kInBulk = 2       // its changes may be part of a bulk
};

struct Row {
  uint32_t kind;
  const char* name;
  Handler get;
  Handler change;  // set and undo
  uint32_t traits;
};

constexpr Row kRows[] = {
    {BYOD_MSG_DHCPOPTRULE, "DHCP option rule", QueryDhcpOptionRule, ChangeDhcpOptionRule, kInBulk},
    {BYOD_MSG_UARULE, "User-Agent rule", QueryUserAgentRule, ChangeUserAgentRule, kInBulk},
    {BYOD_MSG_MACRULE, "MAC rule", QueryMacRule, ChangeMacRule, kInBulk},
    {BYOD_MSG_DEVTYPE_BY_FP, "device name", TellDeviceName, nullptr, kPlain},
    {BYOD_MSG_DHCPOPT_COUNT, "DHCP option rule count", CountDhcpOptionRules, nullptr, kPlain},
    {BYOD_MSG_UA_COUNT, "User-Agent rule count", CountUserAgentRules, nullptr, kPlain},
    {BYOD_MSG_MAC_COUNT, "MAC rule count", CountMacRules, nullptr, kPlain},
    {BYOD_MSG_DHCPOPT_LIST, "DHCP option rule list", ListDhcpOptionRules, nullptr, kPlain},
    {BYOD_MSG_UA_LIST, "User-Agent rule list", ListUserAgentRules, nullptr, kPlain},
    {BYOD_MSG_MAC_LIST, "MAC rule list", ListMacRules, nullptr, kPlain},
    {BYOD_MSG_ORDER, "order", ShowOrder, ChangeOrder, kInBulk},
    {BYOD_MSG_VENDOR_BY_FP, "vendor", TellVendor, nullptr, kPlain},
    {BYOD_MSG_DEVATTR_BY_FP, "attributes", TellAttributes, nullptr, kPlain},
    {BYOD_MSG_DHCPOPT_VALUE, "DHCP option value", QueryDhcpOptionRule, ChangeDhcpOptionValue,
     kInBulk},
    {BYOD_MSG_UA_VALUE, "User-Agent value", QueryUserAgentRule, ChangeUserAgentValue, kInBulk},
    {BYOD_MSG_MAC_VALUE, "MAC value", QueryMacRule, ChangeMacValue, kInBulk},
    {BYOD_MSG_DHCPOPT_DEVATTR, "DHCP option attribute", QueryDhcpOptionRule,
     ChangeDhcpOptionAttribute, kInBulk},
    {BYOD_MSG_UA_DEVATTR, "User-Agent attribute", QueryUserAgentRule, ChangeUserAgentAttribute,
     kInBulk},
    {BYOD_MSG_MAC_DEVATTR, "MAC attribute", QueryMacRule, ChangeMacAttribute, kInBulk},
    {BYOD_EXT_MSG_EXPLAIN, "explanation", Explain, nullptr, kPlain},
    {BYOD_EXT_MSG_STATUS, "status", ShowStatus, nullptr, kPlain},
    {BYOD_EXT_MSG_UNKNOWN, "unknown fingerprints", ShowUnknowns, ForgetUnknowns, kPlain},
    {BYOD_EXT_MSG_WATCH, "watch", StartWatch, nullptr, kPlain},
    {BYOD_EXT_MSG_AUTHORIZATION, "authorization", ShowAuthorization, ChangeAuthorization, kInBulk},
    {BYOD_EXT_MSG_IDENTIFY, "identification", Identify, nullptr, kPlain},
    {BYOD_EXT_MSG_BACKUP, "backup", SendBackup, nullptr, kGuardedGet},
    {BYOD_EXT_MSG_RESTORE, "restore", nullptr, TakeRestore, kPlain},
    {BYOD_EXT_MSG_BULK, "bulk", nullptr, ChangeBulk, kPlain},
    {BYOD_EXT_MSG_IDLE_RULES, "rules not in effect", ListIdleRules, nullptr, kPlain},
    {BYOD_EXT_MSG_CATEGORIES, "categories", ListCategories, nullptr, kPlain},
    {BYOD_EXT_MSG_RELOAD, "reload", nullptr, ReloadRules, kPlain},
};

const Row* FindRow(uint32_t kind) {
  for (const Row& row : kRows) {
    if (row.kind == kind) return &row;
  }
  return nullptr;
}

/// Reads what is asked. @return null for what nobody answers
const Row* ReadKind(Exchange& exchange) {
  if (BYOD_tlv_GetOpType(exchange.request, &exchange.operation) != 0 ||
      BYOD_tlv_GetUINTValueByType(exchange.request, BYOD_TLV_MSGTYPE, &exchange.kind) != 0) {
    return nullptr;
  }
  return FindRow(exchange.kind);
}

bool IsChange(uint32_t operation) {
  return operation == BYOD_OP_SET || operation == BYOD_OP_UNDO;
}

/// Whether a number of a request has another size than its 4 bytes, and would be read as 0.
bool HasBadNumber(uint32_t request) {
  for (uintptr_t element = TLV_GetFirst(request); element != 0;
       element = TLV_GetNext(request, element)) {
    switch (TLV_GetTypeByIterator(request, element)) {
      case BYOD_TLV_OPTYPE:
      case BYOD_TLV_MSGTYPE:
      case BYOD_TLV_RULESRC:
      case BYOD_TLV_ORDER:
      case BYOD_TLV_ATTRKIND:
      case BYOD_TLV_QUERYARG:
      case BYOD_TLV_QUERYARG2:
      case BYOD_EXT_PHASE:
        if (TLV_GetLenByIterator(request, element) != sizeof(uint32_t)) return true;
        break;
      default:
        break;
    }
  }
  return false;
}

/// What holds a selector is a query, whatever operation the caller of the client library gave it.
bool IsQuery(uint32_t request) {
  return TLV_GetIteratorByType(request, BYOD_TLV_QUERYARG) != 0 ||
         TLV_GetIteratorByType(request, BYOD_TLV_QUERYARG2) != 0;
}

/// What is wrong with a request, whatever its kind.
Result CheckForm(const Exchange& exchange) {
  if (HasBadNumber(exchange.request)) {
    return Refused(BYOD_REFUSAL_MALFORMED, "a number has 4 bytes");
  }
  if (IsChange(exchange.operation) && IsQuery(exchange.request)) {
    return Refused(BYOD_REFUSAL_MALFORMED, "a query has the operation \"get\"");
  }
  return {};
}

Task Unknown() {
  return {nullptr, false, Refused(BYOD_REFUSAL_UNKNOWN_KIND, "unknown request")};
}

}  // namespace

Task FindTask(Exchange& exchange) {
  const Row* const row = ReadKind(exchange);
  if (Result form = CheckForm(exchange); !form.Ok()) return {nullptr, false, std::move(form)};
  if (row == nullptr) return Unknown();
  const bool change = IsChange(exchange.operation);
  if (!change && exchange.operation != BYOD_OP_GET) return Unknown();
  const Handler handler = change ? row->change : row->get;
  if (handler == nullptr) return Unknown();
  const bool guarded = change || (row->traits & kGuardedGet) != 0;
  if (guarded && !exchange.connection.peer().may_change) {
    return {nullptr, false,
            Refused(BYOD_REFUSAL_PERMISSION,
                    std::string("you may not change the configuration (") + row->name + ")")};
  }
  return {handler, guarded, {}};
}

Result ApplyInBulk(Exchange& exchange) {
  const Row* const row = ReadKind(exchange);
  if (row == nullptr || (row->traits & kInBulk) == 0 || !IsChange(exchange.operation)) {
    return Refused(BYOD_REFUSAL_UNKNOWN_KIND, "not a change that a bulk can hold");
  }
  if (Result form = CheckForm(exchange); !form.Ok()) return form;
  return row->change(exchange);
}

}  // namespace byod::lauthd
