// SPDX-License-Identifier: Apache-2.0
#include "lint/lint.h"

#include <algorithm>
#include <string_view>
#include <tuple>

#include "evidence/evidence.h"
#include "lint/numbered_store.h"
#include "lint/rule_lint.h"

namespace byod::lint {
namespace {

Finding FindingOf(const rulefiles::Diagnostic& diagnostic) {
  Finding finding{SeverityOf(diagnostic.problem),
                  NameOf(diagnostic.problem),
                  diagnostic.place,
                  {},
                  diagnostic.reason};
  if (diagnostic.other) finding.other = Other{*diagnostic.other, {}};
  return finding;
}

/// Checks the files for evidence. @return the number of their rules
size_t CheckEvidence(const std::string& directory, rulefiles::Diagnostics& diagnostics,
                     std::vector<Finding>& findings) {
  using evidence::Kind;
  const evidence::Evidence evidence = evidence::Evidence::Load({directory}, diagnostics);
  for (const evidence::FailedExample& it : evidence.FailedExamples())
    findings.push_back({Severity::kError, "example", it.place, it.rule, it.reason});
  return evidence.Count(Kind::kHostName) + evidence.Count(Kind::kVendorClass) +
         evidence.Count(Kind::kBrand) + evidence.Count(Kind::kDhcpClient);
}

}  // namespace

Report Check(const rulefiles::Sources& sources) {
  Report report;
  rulefiles::Diagnostics diagnostics([&](const rulefiles::Diagnostic& diagnostic) {
    report.findings.push_back(FindingOf(diagnostic));
  });
  report.rules = rulefiles::ReadRuleSet(sources, diagnostics);
  const NumberedStore store(report.rules, diagnostics);
  CheckUserAgentRules(report.rules.user_agent, store, report.findings);
  CheckDhcpOptionRules(report.rules.dhcp_option, store, report.findings);
  CheckMacRules(report.rules.mac, store, report.findings);
  report.evidence = CheckEvidence(sources.rules_directory, diagnostics, report.findings);
  CheckSuccessors(report.rules, !sources.registry_directory.empty(), report.findings);
  std::ranges::sort(report.findings, {}, [](const Finding& finding) {
    return std::tuple(std::string_view{*finding.place.file}, finding.place.line,
                      std::string_view{finding.reason});
  });
  return report;
}

}  // namespace byod::lint
