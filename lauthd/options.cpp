#include "lauthd/options.h"

#include <CLI/CLI.hpp>
#include <map>

namespace byod::lauthd {
namespace {

const std::map<std::string, Severity> kSeverities = {{"error", Severity::kError},
                                                     {"warning", Severity::kWarning},
                                                     {"notice", Severity::kNotice},
                                                     {"info", Severity::kInfo},
                                                     {"debug", Severity::kDebug}};

/// A number of custom rules, or "none" for any number.
std::string ReadRuleLimit(const std::string& text, uint32_t& limit) {
  if (text == "none") {
    limit = BYOD_NO_RULE_LIMIT;
    return {};
  }
  if (!CLI::detail::lexical_cast(text, limit) || limit == BYOD_NO_RULE_LIMIT || text[0] == '-') {
    return "--rule-limit: a number or \"none\", not \"" + text + "\"";
  }
  return {};
}

}  // namespace

std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
  CLI::App app("Identifies the terminals that connect to this device, and keeps the rules for it.",
               "lauthd");
  app.set_version_flag("--version", "lauthd " BYOD_VERSION);
  app.set_config("--config", "/etc/lauth/lauthd.conf", "Read options from this file");
  app.allow_config_extras(false);

  options.socket = BYOD_LAUTHD_SOCKET;
  options.state_dir = "/var/lib/lauth";
  app.add_option("--socket", options.socket, "Listen here")->capture_default_str();
  app.add_option("--socket-group", options.socket_group, "Whose members may connect");
  app.add_option("--admin-group", options.admin_group,
                 "Whose members may change the configuration");
  app.add_option("--rules", options.rules, "Directory of the predefined rules")
      ->check(CLI::ExistingDirectory);
  app.add_option("--ieee", options.ieee, "The IEEE registry of address prefixes")
      ->check(CLI::ExistingPath);
  auto* const state =
      app.add_option("--state-dir", options.state_dir, "Directory of the configuration database")
          ->capture_default_str();
  app.add_flag("--no-database", options.no_database, "Keep no changes over a restart")
      ->excludes(state);
  std::string limit = "none";
  app.add_option("--rule-limit", limit, "Custom rules allowed")->capture_default_str();
  app.add_option("--max-connections", options.max_connections, "Clients served at once")
      ->check(CLI::Range(1u, 65536u))
      ->capture_default_str();
  app.add_option("--idle-timeout", options.idle_timeout,
                 "Seconds after which a client that does nothing is dropped")
      ->check(CLI::Range(1u, 86400u))
      ->capture_default_str();
  std::string level = "notice";
  app.add_option("--log-level", level, "error, warning, notice, info or debug")
      ->check([](const std::string& name) {
        return kSeverities.count(name) == 1 ? std::string() : "there is no level " + name;
      })
      ->capture_default_str();
  app.add_flag("--check", options.check, "Check options and rule files, then exit");
  app.add_flag("--timing", options.timing, "Tell how long loading took");

  try {
    app.parse(argc, argv);
    if (const std::string wrong = ReadRuleLimit(limit, options.rule_limit); !wrong.empty()) {
      throw CLI::ValidationError(wrong);
    }
    options.log_level = kSeverities.at(level);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  return std::nullopt;
}

}  // namespace byod::lauthd
