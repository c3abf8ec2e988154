// SPDX-License-Identifier: Apache-2.0
// lauthd: identifies terminals for this device, and keeps its rules.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include "byod_order.h"
#include "lauthd/options.h"
#include "lauthd/server/access.h"
#include "lauthd/server/server.h"
#include "lauthd/state/authorization.h"
#include "lauthd/state/rule_source.h"
#include "lauthd/state/store.h"

namespace byod::lauthd {
namespace {

using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// Loads the rules that were read and recovers an existing database, as a start does.
void PrintLoadingTimes(const Options& options, const PredefinedRules& rules, double read) {
  BYOD_data_GlobalInfoInit(options.rule_limit);
  BYOD_order_Init();
  const auto loading = Clock::now();
  LoadPredefined({rules.set, {}, {}}, false);
  const double loaded = MillisecondsSince(loading);
  std::printf("read in %.1f ms, loaded in %.1f ms\n", read, loaded);

  IdleRules idle;
  Authorization authorization;
  Store store(options.state_dir, options.no_database, idle, authorization);
  if (store.Exists()) {
    InstallService(authorization);
    const auto recovering = Clock::now();
    if (store.Open()) {
      std::printf("recovered %u custom rules from the database in %.1f ms\n",
                  Byod_GetCustomRuleCount(), MillisecondsSince(recovering));
    }
    store.Close();
    RemoveService();
  }
  BYOD_order_Fini();
  BYOD_data_GlobalInfoFini();
}

/// Reads everything that a start reads. @return the exit status
int Check(const Options& options) {
  FindGroup(options.socket_group);
  FindGroup(options.admin_group);
  const auto start = Clock::now();
  const PredefinedRules rules = RuleSource(options).Read();
  if (!rules.insecure.empty()) throw std::runtime_error(rules.insecure);
  const double read = MillisecondsSince(start);
  for (const rulefiles::Diagnostic& fault : rules.faults)
    std::fprintf(stderr, "%s\n", rulefiles::ToString(fault).c_str());
  const auto errors = static_cast<size_t>(std::ranges::count_if(rules.faults, &IsError));
  std::printf("%zu MAC, %zu User-Agent and %zu DHCP option rules, %zu faults, %zu warnings\n",
              rules.set.mac.size(), rules.set.user_agent.size(), rules.set.dhcp_option.size(),
              errors, rules.faults.size() - errors);
  if (options.timing) PrintLoadingTimes(options, rules, read);
  return errors == 0 ? 0 : 1;
}

int Serve(const Options& options) {
  Server server(options);
  server.Listen();
  server.Load();
  server.Run();
  return 0;
}

}  // namespace
}  // namespace byod::lauthd

int main(int argc, char** argv) {
  using byod::lauthd::Log;
  using byod::lauthd::Severity;
  byod::lauthd::Options options;
  if (const auto status = byod::lauthd::ReadOptions(argc, argv, options)) return *status;
  byod::lauthd::SetLogLevel(options.log_level);
  try {
    return options.check ? byod::lauthd::Check(options) : byod::lauthd::Serve(options);
  } catch (const std::exception& error) {
    Log(Severity::kError, "%s", error.what());
    return 1;
  }
}
