// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/evidence_options.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <span>

#include "byodctl/text/display_text.h"

namespace byod::ctl {
namespace {

using evidence::Kind;
using evidence::Kinds;

std::string AllKinds() {
  std::string names;
  for (size_t kind = 0; kind < evidence::kKindCount; ++kind)
    names += (names.empty() ? "" : ", ") + std::string{NameOf(static_cast<Kind>(kind))};
  return names;
}

/// @return what is wrong with a list of kinds; empty = nothing
std::string FaultOfKinds(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (name == "off" && names.size() > 1) return "off stands alone";
    if (name != "off" && !evidence::KindNamed(name))
      return "\"" + name + "\" is not one of off, " + AllKinds();
  }
  return {};
}

Kinds KindsOf(const std::vector<std::string>& names) {
  if (names.empty()) return Kinds::All();
  Kinds kinds = Kinds::None();
  for (const std::string& name : names) {
    if (const auto kind = evidence::KindNamed(name)) kinds.Add(*kind);
  }
  return kinds;
}

evidence::Evidence Load(const Kinds& kinds, const EvidenceOptions& options,
                        const std::string& catalogue) {
  if (kinds.IsEmpty()) return {};
  rulefiles::Diagnostics diagnostics([](const rulefiles::Diagnostic& diagnostic) {
    std::cerr << Printable(ToString(diagnostic)) << '\n';
  });
  return evidence::Evidence::Load({catalogue, options.own_rules}, diagnostics);
}

}  // namespace

void EvidenceOptions::Declare(Parser& parser) {
  parser
      .AddTexts("--evidence", kinds,
                "What may fill fields that the rules leave open: off, or any of " + AllKinds() +
                    "; all by default")
      .ValueName("KINDS")
      .SeparatedBy(',');
  parser
      .AddText("--evidence-rules", own_rules,
               "Directory of rule files for evidence, which are tried before the installed ones")
      .ValueName("DIR")
      .Check(Directory());
}

std::string EvidenceOptions::Fault() const {
  const std::string fault = FaultOfKinds(kinds);
  return fault.empty() ? fault : "--evidence: " + fault;
}

EvidenceFiller::EvidenceFiller(const EvidenceOptions& options, const std::string& catalogue)
    : kinds_(KindsOf(options.kinds)), evidence_(Load(kinds_, options, catalogue)) {}

void EvidenceFiller::Fill(const ByodFingerPrint& fingerprint, std::string_view host_name,
                          std::string_view vendor_class, Answer& answer) const {
  const std::span mac(fingerprint.mac);
  evidence::Traces traces{
      {}, {fingerprint.options, fingerprint.option_length}, host_name, vendor_class};
  if (std::ranges::any_of(mac, [](uint8_t byte) { return byte != 0; })) traces.mac = mac;
  std::string* const fields[evidence::kFieldCount] = {&answer.vendor, &answer.category, &answer.os,
                                                      &answer.name};
  const evidence::Fillings filled =
      evidence_.Fill({answer.vendor, answer.category, answer.os, answer.name}, traces, kinds_);
  for (size_t field = 0; field < evidence::kFieldCount; ++field) {
    if (!filled[field].IsSet()) continue;
    *fields[field] = filled[field].value;
    answer.filled.push_back({static_cast<evidence::Field>(field), filled[field].kind,
                             filled[field].confidence, std::string{filled[field].rule}});
  }
}

}  // namespace byod::ctl
