#include "byodctl/identification/identifier_options.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>

#include "byodctl/identification/daemon_identifier.h"
#include "byodctl/identification/offline_identifier.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/order_text.h"

namespace byod::ctl {
namespace {

/// Of the default places those that are there: a machine may do without either.
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
  const Settings& settings_;
};

}  // namespace

CLI::Option* IdentifierOptions::Declare(CLI::App& app) {
  auto* const offline_flag =
      app.add_flag("--offline", offline, "Identify without the daemon, with the rules of files");
  app.add_option("--rules", sources.rules_directory, "Directory of rule files; empty for none")
      ->type_name("DIR")
      ->needs(offline_flag)
      ->capture_default_str();
  app.add_option("--ieee", sources.registry_directory,
                 "Directory of the registry of MAC prefixes; empty for none")
      ->type_name("DIR")
      ->needs(offline_flag)
      ->capture_default_str();
  app.add_option("--order", order, "Order of the methods, such as dhcp,user-agent,mac")
      ->type_name("METHODS")
      ->needs(offline_flag)
      ->delimiter(',');
  return offline_flag;
}

void IdentifierOptions::Validate(const CLI::App& app) const {
  const std::string fault = FaultOfOrder(order);
  if (!fault.empty()) throw CLI::ValidationError("--order: " + fault);
  for (const char* name : {"--rules", "--ieee"}) {
    const auto* const given = app.get_option(name);
    const std::string directory = given->as<std::string>();
    if (given->count() == 0 || directory.empty()) continue;
    if (!std::filesystem::is_directory(directory)) {
      throw CLI::ValidationError(std::string{name} + ": no such directory: " + directory);
    }
  }
}

std::unique_ptr<Identifier> MakeIdentifier(const IdentifierOptions& options,
                                           const Settings& settings) {
  if (options.offline) return MakeOfflineIdentifier(options);
  return std::make_unique<DaemonIdentifier>(settings, options.group, options.explains);
}

std::unique_ptr<Identifier> MakePatientIdentifier(const IdentifierOptions& options,
                                                  const Settings& settings) {
  if (options.offline) return MakeOfflineIdentifier(options);
  return std::make_unique<PatientIdentifier>(options, settings);
}

}  // namespace byod::ctl
