// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/dispatch.h"

#include "lauthd/requests/backup_requests.h"
#include "lauthd/requests/bulk_requests.h"
#include "lauthd/requests/category_requests.h"
#include "lauthd/requests/configuration_rows.h"
#include "lauthd/requests/identification.h"
#include "lauthd/requests/idle_requests.h"
#include "lauthd/requests/rebind_requests.h"
#include "lauthd/requests/request_form.h"
#include "lauthd/requests/session.h"
#include "lauthd/requests/state_requests.h"
#include "lauthd/requests/station_requests.h"

namespace byod::lauthd {
namespace {

constexpr bool kGuarded = true;

constexpr Row kRows[] = {
    {BYOD_MSG_DEVTYPE_BY_FP, {"device name"}, QueryDeviceName, nullptr},
    {BYOD_MSG_VENDOR_BY_FP, {"vendor"}, QueryVendor, nullptr},
    {BYOD_MSG_DEVATTR_BY_FP, {"attributes"}, QueryAttributes, nullptr},
    {BYOD_EXT_MSG_IDENTIFY, {"identification"}, Identify, nullptr},
    {BYOD_EXT_MSG_EXPLAIN, {"explanation"}, Explain, nullptr},
    {BYOD_EXT_MSG_STATUS, {"status"}, ShowStatus, nullptr},
    {BYOD_EXT_MSG_UNKNOWN, {"unknown fingerprints"}, ShowUnknowns, ForgetUnknowns},
    {BYOD_EXT_MSG_WATCH, {"watch"}, StartWatch, nullptr},
    {BYOD_EXT_MSG_BACKUP, {"backup"}, SendBackup, nullptr, kGuarded},
    {BYOD_EXT_MSG_RESTORE, {"restore"}, nullptr, TakeRestore},
    {BYOD_EXT_MSG_BULK, {"bulk"}, nullptr, ChangeBulk},
    {BYOD_EXT_MSG_IDLE_RULES, {"rules not in effect"}, ListIdleRules, nullptr},
    {BYOD_EXT_MSG_CATEGORIES, {"categories"}, ListCategories, nullptr},
    {BYOD_EXT_MSG_RELOAD, {"reload"}, nullptr, ReloadRules},
    {BYOD_EXT_MSG_REBIND, {"modifications without a rule"}, ListBindings, Rebind},
    {BYOD_EXT_MSG_SIGHTING, {"sighting"}, TakeSighting, nullptr},
    {BYOD_EXT_MSG_STATION, {"station"}, ShowStation, nullptr},
    {BYOD_EXT_MSG_STATIONS, {"stations"}, ListStations, nullptr},
    {BYOD_EXT_MSG_WATCH_STATIONS, {"watch of stations"}, WatchStations, nullptr},
    {BYOD_EXT_MSG_FORGET_STATION, {"station"}, nullptr, ForgetStation},
    {BYOD_EXT_MSG_FEEDS, {"feeds"}, ListFeeds, nullptr},
};

const Row* FindAnyRow(uint32_t kind) {
  const Row* const row = FindRow(kRows, kind);
  return row != nullptr ? row : FindConfigurationRow(kind);
}

/// Whether a change of this kind may change what terminals are.
bool MayChangeAnswers(uint32_t kind) {
  return kind != BYOD_EXT_MSG_AUTHORIZATION && kind != BYOD_EXT_MSG_UNKNOWN &&
         kind != BYOD_EXT_MSG_FORGET_STATION;
}

Task Refuse(Result refusal) {
  return {nullptr, false, std::move(refusal)};
}

Task UnknownRequest() {
  return Refuse(Refused(BYOD_REFUSAL_UNKNOWN_KIND, "unknown request"));
}

}  // namespace

Task FindTask(Exchange& exchange) {
  const Row* const row = ReadKind(exchange) ? FindAnyRow(exchange.kind) : nullptr;
  if (Result form = CheckForm(exchange); !form.Ok()) return Refuse(std::move(form));
  if (row == nullptr) return UnknownRequest();
  const bool change = IsChange(exchange.operation);
  if (!change && exchange.operation != BYOD_OP_GET) return UnknownRequest();
  const Handler handler = change ? row->change : row->get;
  if (handler == nullptr) return UnknownRequest();
  const bool guarded = change || row->guarded_get;
  if (guarded && !exchange.session.peer().may_change) {
    return Refuse(Refused(BYOD_REFUSAL_PERMISSION, "you may not change the configuration (" +
                                                       row->subject.ToString() + ")"));
  }
  return {handler, guarded, {}};
}

Result Perform(Task& task, Exchange& exchange) {
  Result result = task.handler != nullptr ? task.handler(exchange) : std::move(task.refusal);
  exchange.state.Count(exchange.operation, result);
  if (result.Ok() && IsChange(exchange.operation) && MayChangeAnswers(exchange.kind)) {
    exchange.state.RulesChanged();
  }
  return result;
}

}  // namespace byod::lauthd
