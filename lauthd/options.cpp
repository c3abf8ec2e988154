// SPDX-License-Identifier: Apache-2.0
#include "lauthd/options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>

#include "lauthd/config_file.h"
#include "rulefiles/installed_sources.h"
#include "text/nearest_word.h"

namespace byod::lauthd {
namespace {

constexpr int kBadUsage = 2;

const std::vector<std::pair<std::string, Severity>> kSeverities = {{"error", Severity::kError},
                                                                   {"warning", Severity::kWarning},
                                                                   {"notice", Severity::kNotice},
                                                                   {"info", Severity::kInfo},
                                                                   {"debug", Severity::kDebug}};

const std::vector<std::pair<std::string, rulefiles::ModuleMakers>> kModuleMakers = {
    {"mark", rulefiles::ModuleMakers::kMarked},
    {"name", rulefiles::ModuleMakers::kNamed},
    {"open", rulefiles::ModuleMakers::kOpen}};

/// @return a check that a word is one of a list; its report calls it by what it is
template <typename Value>
auto OneOf(const std::vector<std::pair<std::string, Value>>& words, const char* what) {
  return [&words, what](const std::string& word) -> std::string {
    std::vector<std::string> known;
    for (const auto& [name, value] : words)
      known.push_back(name);
    if (std::find(known.begin(), known.end(), word) != known.end()) return {};
    return std::string{"unknown "} + what + " \"" + word + "\"" + text::DidYouMean(word, known);
  };
}

/// @param word  one of the list
template <typename Value>
Value ValueOf(const std::vector<std::pair<std::string, Value>>& words, const std::string& word) {
  return std::find_if(words.begin(), words.end(),
                      [&](const auto& known) { return known.first == word; })
      ->second;
}

/// A number of custom rules, or "none" for any number.
bool ReadRuleLimit(const std::string& text, uint32_t& limit) {
  if (text == "none") {
    limit = BYOD_NO_RULE_LIMIT;
    return true;
  }
  return CLI::detail::lexical_cast(text, limit) && limit != BYOD_NO_RULE_LIMIT && text[0] != '-';
}

std::string CheckRuleLimit(const std::string& text) {
  uint32_t limit = 0;
  if (ReadRuleLimit(text, limit)) return {};
  return "expected a number or \"none\", not \"" + text + "\"";
}

const std::vector<std::pair<std::string, StationMemory>> kStationMemories = {
    {"none", StationMemory::kNone},
    {"memory", StationMemory::kMemory},
    {"disk", StationMemory::kDisk}};

std::string CheckAgents(const std::string& name) {
  if (name == "all" || name == "matched") return {};
  return "expected all or matched, not \"" + name + "\"";
}

std::string CheckFeed(const std::string& text) {
  FeedTrust ignored;
  return ReadFeedTrust(text, ignored);
}

/// A directory that is there, or none.
std::string CheckDirectory(const std::string& name) {
  return name.empty() ? std::string() : CLI::ExistingDirectory(name);
}

/// @return a check of a number within limits
auto NumberFrom(uint32_t least, uint32_t most) {
  return [=](const std::string& text) -> std::string {
    uint32_t number = 0;
    const bool read = CLI::detail::lexical_cast(text, number) && text[0] != '-';
    if (read && number >= least && number <= most) return {};
    return "expected a number from " + std::to_string(least) + " to " + std::to_string(most) +
           ", not \"" + text + "\"";
  };
}

/// The command line, and the configuration file that it names.
class CommandLine {
 public:
  explicit CommandLine(Options& options) : options_(options) { Describe(); }

  /// @throws CLI::ParseError
  void Parse(int argc, char** argv);

  /// @return what is wrong with one line of a configuration file; empty when nothing is
  static std::string CheckSetting(const std::string& name, const std::string& value);

  /// The long names of the options, with their dashes; those of the configuration file without.
  std::vector<std::string> Names() const;
  std::vector<std::string> SettingNames() const;

  CLI::App& app() { return app_; }
  std::string config_file() const { return app_.get_config_ptr()->as<std::string>(); }

 private:
  class File;

  void Describe();
  void TakeStations();

  CLI::App app_{"Identifies the terminals that connect to this device, and keeps the rules for it.",
                "lauthd"};
  Options& options_;
  std::string limit_ = "none";
  std::string level_ = "notice";
  std::string module_makers_ = "mark";
  std::string stations_ = "disk";
  std::string agents_ = "all";
  uint32_t retention_days_ = 30;
  uint32_t local_retention_hours_ = 24;
  std::vector<std::string> feeds_;
};

/// How CLI11 gets what a configuration file holds.
class CommandLine::File : public CLI::Config {
 public:
  explicit File(const CommandLine& owner) : owner_(owner) {}

  std::string to_config(const CLI::App*, bool, bool, std::string) const override { return {}; }

  /// @throws CLI::ConfigError that names every line at fault
  std::vector<CLI::ConfigItem> from_config(std::istream& input) const override {
    std::string faults;
    const auto fault = [&](unsigned line, const std::string& reason) {
      if (!faults.empty()) faults += "\n";
      faults += owner_.config_file() + ":" + std::to_string(line) + ": " + reason;
    };
    std::vector<CLI::ConfigItem> read;
    std::map<std::string, unsigned> lines;
    for (const Setting& setting : ReadSettings(input, fault)) {
      const auto [first, is_new] = lines.emplace(setting.name, setting.line);
      std::string reason = Check(setting);
      if (reason.empty() && !is_new) {
        reason = "\"" + setting.name + "\" is already set on line " + std::to_string(first->second);
      }
      if (!reason.empty()) fault(setting.line, reason);
      read.push_back({{}, setting.name, {setting.value}});
    }
    if (!faults.empty()) throw CLI::ConfigError(faults, CLI::ExitCodes::ConfigError);
    return read;
  }

 private:
  std::string Check(const Setting& setting) const {
    const std::vector<std::string> names = owner_.SettingNames();
    if (std::find(names.begin(), names.end(), setting.name) == names.end()) {
      return "unknown option \"" + setting.name + "\"" + text::DidYouMean(setting.name, names);
    }
    if (setting.value.empty()) {
      const bool means_none =
          setting.name == "rules" || setting.name == "ieee" || setting.name == "sightings";
      return means_none ? std::string() : setting.name + ": the value is missing";
    }
    return CheckSetting(setting.name, setting.value);
  }

  const CommandLine& owner_;
};

void CommandLine::Describe() {
  app_.set_version_flag("--version", "lauthd " BYOD_VERSION);
  app_.set_config("--config", "/etc/lauth/lauthd.conf", "Read options from this file");
  app_.config_formatter(std::make_shared<File>(*this));

  options_.socket = BYOD_LAUTHD_SOCKET;
  options_.state_dir = "/var/lib/lauth";
  const rulefiles::Sources installed = rulefiles::InstalledSources();
  options_.rules = installed.rules_directory;
  options_.ieee = installed.registry_directory;
  app_.add_option("--socket", options_.socket, "Listen here")->capture_default_str();
  app_.add_option("--socket-group", options_.socket_group, "Group whose members may connect");
  app_.add_option("--admin-group", options_.admin_group,
                  "Group whose members may change the configuration");
  app_.add_option("--rules", options_.rules, "Directory of the predefined rules; empty for none")
      ->type_name("DIR")
      ->check(CheckDirectory)
      ->capture_default_str();
  app_.add_option("--ieee", options_.ieee,
                  "Directory of the IEEE registry of address prefixes; empty for none")
      ->type_name("DIR")
      ->check(CheckDirectory)
      ->capture_default_str();
  app_.add_option("--module-makers", module_makers_,
                  "Vendors of address blocks that only make the radio module: mark, name, or open")
      ->check(OneOf(kModuleMakers, "way to report makers of modules"))
      ->capture_default_str();
  auto* const state =
      app_.add_option("--state-dir", options_.state_dir, "Directory of the configuration database")
          ->capture_default_str();
  app_.add_flag("--no-database", options_.no_database, "Keep changes only until the daemon stops")
      ->excludes(state);
  app_.add_option("--rule-limit", limit_, "Custom rules allowed, or \"none\" for no limit")
      ->check(CheckRuleLimit)
      ->capture_default_str();
  app_.add_option("--carved-limit", options_.carved_limit,
                  "MAC rules allowed within the blocks of others")
      ->check(NumberFrom(0, 65536))
      ->capture_default_str();
  app_.add_option("--max-connections", options_.max_connections, "Clients served at once")
      ->check(NumberFrom(1, 65536))
      ->capture_default_str();
  app_.add_option("--user-share", options_.user_share,
                  "Percent of the connections, and of the watches, that one user may have")
      ->check(NumberFrom(1, 100))
      ->capture_default_str();
  app_.add_option("--idle-timeout", options_.idle_timeout,
                  "Seconds that a client may take to finish a request or to read a reply")
      ->check(NumberFrom(1, 86400))
      ->capture_default_str();
  app_.add_option("--bulk-timeout", options_.bulk_timeout,
                  "Seconds that a client may keep the changes of others waiting with a bulk")
      ->check(NumberFrom(1, 3600))
      ->capture_default_str();
  app_.add_option("--stop-timeout", options_.stop_timeout,
                  "Seconds after which a daemon that was asked to stop ends in any case")
      ->check(NumberFrom(1, 3600))
      ->capture_default_str();
  app_.add_option("--stations", stations_,
                  "Remember terminals: none, memory (until the daemon stops) or disk")
      ->check(OneOf(kStationMemories, "place"))
      ->capture_default_str();
  app_.add_option("--stations-limit", options_.station_limits.stations,
                  "Terminals that are remembered")
      ->check(NumberFrom(64, 1048576))
      ->capture_default_str();
  app_.add_option("--stations-retention", retention_days_,
                  "Days after which a terminal is forgotten that is not seen")
      ->check(NumberFrom(1, 3650))
      ->capture_default_str();
  app_.add_option("--stations-local-retention", local_retention_hours_,
                  "The same for locally administered addresses, in hours")
      ->check(NumberFrom(1, 87600))
      ->capture_default_str();
  app_.add_option("--stations-user-agents", agents_,
                  "What is kept of User-Agents: all, or matched for what a rule looked for")
      ->check(CheckAgents)
      ->capture_default_str();
  app_.add_option("--sightings", options_.sightings,
                  "Socket on which programs report terminals; empty for none");
  app_.add_option("--feed-group", options_.feed_group, "Group whose members may report terminals");
  app_.add_option("--feed", feeds_, "Trust in a feed: NAME=TRUST, 0 to 100, or NAME=TRUST:SECONDS")
      ->type_name("FEED")
      ->delimiter(',')
      ->check(CheckFeed);
  app_.add_option("--log-level", level_, "error, warning, notice, info or debug")
      ->check(OneOf(kSeverities, "level"))
      ->capture_default_str();
  app_.add_flag("--insecure", options_.insecure,
                "Use rule files and a state directory that others may write; for tests");
  app_.add_flag("--check", options_.check, "Check options and rule files, then exit");
  app_.add_flag("--timing", options_.timing, "Report how long loading took");
}

void CommandLine::Parse(int argc, char** argv) {
  app_.parse(argc, argv);
  // A file that is not there is fine unless it was asked for; one that cannot be read is not.
  const std::string file = config_file();
  if (access(file.c_str(), F_OK) == 0 && access(file.c_str(), R_OK) != 0) {
    throw CLI::FileError(file);
  }
  ReadRuleLimit(limit_, options_.rule_limit);
  options_.log_level = ValueOf(kSeverities, level_);
  options_.module_makers = ValueOf(kModuleMakers, module_makers_);
  TakeStations();
}

void CommandLine::TakeStations() {
  options_.stations = ValueOf(kStationMemories, stations_);
  if (options_.no_database && options_.stations == StationMemory::kDisk) {
    options_.stations = StationMemory::kMemory;
  }
  options_.station_limits.retention = retention_days_ * 86400;
  options_.station_limits.local_retention = local_retention_hours_ * 3600;
  options_.station_limits.only_matched_agents = agents_ == "matched";
  for (const std::string& feed : feeds_)
    ReadFeedTrust(feed, options_.feeds.emplace_back());
}

std::string CommandLine::CheckSetting(const std::string& name, const std::string& value) {
  Options scratch;
  CommandLine alone(scratch);
  try {
    // No file: this one line is all that counts.
    alone.app_.set_config();
    alone.app_.parse(std::vector<std::string>{"--" + name + "=" + value});
    return {};
  } catch (const CLI::ConversionError&) {
    return name + ": expected true or false, not \"" + value + "\"";
  } catch (const CLI::ParseError& error) {
    const std::string reason = error.what();
    return reason.starts_with("--") ? reason.substr(2) : reason;
  }
}

std::vector<std::string> CommandLine::Names() const {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app_.get_options())
    names.push_back("--" + option->get_lnames().front());
  return names;
}

std::vector<std::string> CommandLine::SettingNames() const {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app_.get_options()) {
    if (option->get_configurable()) names.push_back(option->get_lnames().front());
  }
  return names;
}

std::string WhyUnreadable(const std::string& file) {
  const bool readable = access(file.c_str(), R_OK) == 0;
  return "cannot read " + file + ": " + (readable ? "not a file" : std::strerror(errno));
}

std::string Explain(CommandLine& line, const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    const std::vector<std::string> extras = line.app().remaining();
    const auto option = std::find_if(extras.begin(), extras.end(),
                                     [](const auto& word) { return word.starts_with('-'); });
    if (option == extras.end()) return "unexpected argument \"" + extras.front() + "\"";
    const std::string name = option->substr(0, option->find('='));
    return "unknown option \"" + name + "\"" + text::DidYouMean(name, line.Names());
  }
  if (dynamic_cast<const CLI::FileError*>(&error) != nullptr) {
    return WhyUnreadable(line.config_file());
  }
  return error.what();
}

/// Writes each line of a message as one of the daemon's.
void Report(const std::string& message) {
  std::istringstream lines(message);
  for (std::string line; std::getline(lines, line);)
    std::fprintf(stderr, "lauthd: %s\n", line.c_str());
}

}  // namespace

std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
  CommandLine line(options);
  try {
    line.Parse(argc, argv);
  } catch (const CLI::Success& help_or_version) {
    return line.app().exit(help_or_version);
  } catch (const CLI::ParseError& error) {
    Report(Explain(line, error));
    if (dynamic_cast<const CLI::ConfigError*>(&error) == nullptr) {
      Report("\"lauthd --help\" lists the options");
    }
    return kBadUsage;
  }
  return std::nullopt;
}

}  // namespace byod::lauthd
