// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/identifier_options.h"

#include <filesystem>
#include <iostream>

#include "byodctl/identification/daemon_identifier.h"
#include "byodctl/identification/offline_identifier.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/order_text.h"

namespace byod::ctl {
namespace {

/// Those default directories that exist: a machine may lack either.
rulefiles::Sources SourcesThatAreThere(rulefiles::Sources sources) {
  for (std::string* directory : {&sources.rules_directory, &sources.registry_directory}) {
    if (directory->empty() || std::filesystem::is_directory(*directory)) continue;
    std::cerr << "byodctl: no such directory: " << Printable(*directory)
              << ", continuing without it\n";
    directory->clear();
  }
  return sources;
}

std::unique_ptr<Identifier> MakeOfflineIdentifier(const IdentifierOptions& options) {
  rulefiles::Diagnostics diagnostics([](const rulefiles::Diagnostic& diagnostic) {
    std::cerr << Printable(ToString(diagnostic)) << '\n';
  });
  OfflineIdentifier::Settings settings;
  settings.sources = SourcesThatAreThere(options.sources);
  if (!options.order.empty()) settings.order = OrderOf(options.order);
  settings.explains = options.explains;
  return std::make_unique<OfflineIdentifier>(settings, diagnostics);
}

class PatientIdentifier : public Identifier {
 public:
  PatientIdentifier(const IdentifierOptions& options, const Settings& settings)
      : options_(options), settings_(settings) {
    Connected();
  }

  Answer Identify(const ByodFingerPrint& fingerprint) override {
    return Connected()->Identify(fingerprint);
  }

 private:
  std::unique_ptr<Identifier> Connected() const { return MakeIdentifier(options_, settings_); }

  const IdentifierOptions& options_;
  const Settings settings_;
};

/// @return why a directory that was given cannot be used; empty = it can, or none was given
std::string FaultOfDirectory(const char* name, const Option& option, const std::string& directory) {
  if (!option.IsGiven() || directory.empty() || std::filesystem::is_directory(directory)) return {};
  return std::string{name} + ": no such directory: " + directory;
}

}  // namespace

Option IdentifierOptions::Declare(Parser& parser) {
  const Option offline_flag =
      parser.AddFlag("--offline", offline, "Identify without the daemon, with the rules of files");
  const Option rules =
      parser.AddText("--rules", sources.rules_directory, "Directory of rule files; empty for none")
          .ValueName("DIR")
          .Needs(offline_flag)
          .ShowDefault();
  const Option registry = parser
                              .AddText("--ieee", sources.registry_directory,
                                       "Directory of the registry of MAC prefixes; empty for none")
                              .ValueName("DIR")
                              .Needs(offline_flag)
                              .ShowDefault();
  parser.AddTexts("--order", order, "Order of the methods, such as dhcp,user-agent,mac")
      .ValueName("METHODS")
      .Needs(offline_flag)
      .SeparatedBy(',');
  evidence.Declare(parser);
  parser.CheckAll([this, rules, registry] {
    const std::string fault = FaultOfOrder(order);
    if (!fault.empty()) return "--order: " + fault;
    const std::string no_rules = FaultOfDirectory("--rules", rules, sources.rules_directory);
    if (!no_rules.empty()) return no_rules;
    if (const std::string bad_kinds = evidence.Fault(); !bad_kinds.empty()) return bad_kinds;
    return FaultOfDirectory("--ieee", registry, sources.registry_directory);
  });
  return offline_flag;
}

// The daemon's own directory is not known here: it is the installed one unless it was given
// another.
EvidenceFiller MakeEvidenceFiller(const IdentifierOptions& options) {
  return {options.evidence, options.sources.rules_directory};
}

std::unique_ptr<Identifier> MakeIdentifier(const IdentifierOptions& options,
                                           const Settings& settings) {
  if (options.offline) return MakeOfflineIdentifier(options);
  return std::make_unique<DaemonIdentifier>(settings, options.group, options.explains,
                                            options.remembers);
}

std::unique_ptr<Identifier> MakePatientIdentifier(const IdentifierOptions& options,
                                                  const Settings& settings) {
  if (options.offline) return MakeOfflineIdentifier(options);
  return std::make_unique<PatientIdentifier>(options, settings);
}

}  // namespace byod::ctl
