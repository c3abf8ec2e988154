// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/background_agents.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "data/internal.h"
#include "rulefiles/rule_file.h"
#include "rulefiles/text.h"

namespace byod::rulefiles {
namespace {

bool Matches(const BackgroundAgent& agent, const char* user_agent) {
  return byod_data_UserAgentMatch(user_agent, agent.expression.c_str()) == 1;
}

}  // namespace

std::vector<BackgroundAgent> ReadBackgroundAgents(const File& file, Diagnostics& diagnostics) {
  std::vector<BackgroundAgent> agents;
  std::unordered_map<std::string, Place> seen;
  ReadRows(file, {{"expression", Column::kKey}, {"purpose"}, {"example"}}, Others::kUnknown,
           diagnostics, [&](Row&& row) {
             TextRule checked;
             const std::string fault = MakeUserAgentRule(row.fields[0], {}, checked);
             if (!fault.empty()) return diagnostics.Report(Problem::kRow, row.place, fault);
             BackgroundAgent agent = {checked.text, row.fields[2], row.place};
             const auto [first, is_new] = seen.try_emplace(agent.expression, agent.place);
             if (!is_new) {
               return diagnostics.Report(
                   Problem::kConflict, agent.place,
                   Quoted(agent.expression) + " is also that of " + ToString(first->second),
                   first->second);
             }
             if (!agent.example.empty() && !Matches(agent, agent.example.c_str())) {
               return diagnostics.Report(Problem::kRow, agent.place,
                                         Quoted(agent.expression) + " does not match its example");
             }
             agents.push_back(std::move(agent));
           });
  return agents;
}

bool IsBackground(const std::vector<BackgroundAgent>& agents, const char* user_agent) {
  return std::ranges::any_of(
      agents, [=](const BackgroundAgent& agent) { return Matches(agent, user_agent); });
}

}  // namespace byod::rulefiles
