// SPDX-License-Identifier: Apache-2.0
// byodctl watch
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/command_line/option_checks.h"
#include "byodctl/daemon/client.h"
#include "byodctl/identification/identification_fields.h"
#include "byodctl/identification/station_fields.h"
#include "byodctl/text/answer_item.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/event_text.h"
#ifdef BYOD_CAPTURE
#include "byodctl/commands/watch_interface.h"
#endif
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string what = "identifications";
  std::optional<uint64_t> count;  ///< exits after this many
  bool json = false;

  bool watches_stations() const { return what == "stations"; }
#ifdef BYOD_CAPTURE
  std::string interface;  ///< empty = the daemon's identifications
  IdentifierOptions identifier;
#endif
};

const char* QuestionName(uint32_t kind) {
  switch (kind) {
    case BYOD_MSG_DEVTYPE_BY_FP:
      return "name";
    case BYOD_MSG_VENDOR_BY_FP:
      return "vendor";
    case BYOD_MSG_DEVATTR_BY_FP:
      return "attributes";
    case BYOD_EXT_MSG_EXPLAIN:
      return "explain";
    default:
      return "identify";
  }
}

/// @param lost  identifications that were left out before this one
Item ItemOf(const Fields& event, uint64_t lost) {
  const FingerprintText text = FingerprintIn(event);
  Answer answer = AnswerIn(event);
  if (answer.vendor.empty()) answer.vendor = event.Text(BYOD_EXT_DERIVED_VENDOR);
  Item item = {{"time", TimeText(event.Counter(BYOD_EXT_TIME))},
               {"user_id", event.Number(BYOD_EXT_CLIENT)},
               {"question", QuestionName(event.Number(BYOD_TLV_MSGTYPE))},
               {"mac", text.mac}};
  AddAnswer(item, text, answer, CodeOf(event) == 0, IsLocallyAdministered(text.mac));
  item.push_back({"lost", lost});
  return item;
}

std::string AnswerIn(const Fields& change, uint16_t type) {
  std::string text;
  change.ForEachNested(type, [&](const Fields& answer) { text = AnswerText(answer); });
  return Printable(text);
}

/// A change of a station's answer.
void WriteChange(const Fields& change, uint64_t lost, bool json) {
  const std::string mac = FingerprintIn(change).mac;
  if (json) {
    Json object = ChangeJson(change);
    object.Set("mac", mac);
    object.Set("contradicting",
               (change.Number(BYOD_EXT_STATION_FLAGS) & BYOD_STATION_CONTRADICTING) != 0);
    object.Set("access_device", change.Text(BYOD_EXT_ACCESS_DEVICE));
    object.Set("port", change.Text(BYOD_EXT_PORT));
    object.Set("session", change.Text(BYOD_EXT_SESSION));
    object.Set("lost", lost);
    return WriteJsonLine(object);
  }
  const std::string because = CauseText(change);
  std::cout << TimeText(change.Counter(BYOD_EXT_TIME)) << ' ' << mac << ": "
            << AnswerIn(change, BYOD_EXT_FROM) << " -> " << AnswerIn(change, BYOD_EXT_TO)
            << " because of " << CauseName(change.Number(BYOD_EXT_CAUSE))
            << (because.empty() ? "" : ' ' + Quoted(Printable(because))) << '\n';
}

/// Shows the identifications of the daemon, or the changes of its stations, and reconnects when it
/// restarts.
class DaemonWatch {
 public:
  DaemonWatch(const Options& options, const Settings& settings)
      : options_(options), settings_(settings) {}

  /// @return the exit status
  int Run() {
    while (!Follow())
      Report("lost the daemon, waiting for it to come back");
    return kExitSuccess;
  }

 private:
  bool IsDone() const { return (options_.count && seen_ >= *options_.count) || !std::cout; }

  void Report(const std::string& what) {
    // Once, not for every attempt.
    if (what == reported_) return;
    std::cerr << "byodctl: " << what << '\n';
    reported_ = what;
  }

  /// Follows one connection. @return true when done; false = the daemon is gone
  bool Follow() {
    try {
      // A restart takes only a moment.
      if (was_connected_) std::this_thread::sleep_for(kRetryInterval);
      Client client(settings_);
      client.Send(Request(BYOD_OP_GET, options_.watches_stations() ? BYOD_EXT_MSG_WATCH_STATIONS
                                                                   : BYOD_EXT_MSG_WATCH));
      for (bool is_first = true; is_first || !IsDone(); is_first = false)
        Take(client.Receive(!is_first), is_first);
      return true;
    } catch (const Failure& failure) {
      if (!was_connected_ || failure.status() != kExitNoDaemon) throw;
      return false;
    }
  }

  void Write(const Fields& event, uint64_t lost) const {
    if (lost > 0 && !options_.json) std::cout << "(" << lost << " left out)\n";
    if (options_.watches_stations()) return WriteChange(event, lost, options_.json);
    WriteEvent(FormOf(options_.json), QuestionName(event.Number(BYOD_TLV_MSGTYPE)),
               ItemOf(event, lost));
  }

  void Take(const tlv::Message& reply, bool is_first) {
    const Fields fields(reply);
    if (CodeOf(fields) != BYOD_ERR_CONTINUE) throw Refusal(fields);
    if (is_first) {
      was_connected_ = true;
      if (!options_.json || !reported_.empty()) Report("watching");
    }
    uint64_t lost = fields.Counter(BYOD_EXT_LOST);
    fields.ForEachNested(BYOD_EXT_EVENT, [&](const Fields& event) {
      if (IsDone()) return;
      ++seen_;
      Write(event, lost);
      lost = 0;
    });
    std::cout.flush();
  }

  static constexpr std::chrono::milliseconds kRetryInterval{250};

  const Options& options_;
  const Settings& settings_;
  uint64_t seen_ = 0;
  bool was_connected_ = false;
  std::string reported_;
};

}  // namespace

Run DefineWatch(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "Continues when the daemon restarts."
#ifdef BYOD_CAPTURE
      " With --interface: shows the stations whose DHCP and HTTP\nrequests pass an interface, when "
      "they are new and when their answer changes, until the command is\ninterrupted; then counts "
      "on standard error."
#endif
  );
  const Option what =
      parser
          .AddText("WHAT", options->what, "identifications, or stations: changes of their answers")
          .Check(OneOf({"identifications", "stations"}));
  AddJsonOption(parser, options->json,
                "time, user_id (of the client), question, mac, options, user_agent, vendor, "
                "category, os, name, identified, locally_administered, lost (identifications "
                "left out before this one because they came too fast)",
                "identification");
  parser.AddParagraphToHelp(
      "JSON keys of a change of a station: time, from, to {vendor, category, os, name}, cause "
      "(address, dhcp, user-agent, vendor-class, host-name, rules or time), because, feed, mac, "
      "contradicting, access_device, port, session, lost.");
#ifdef BYOD_CAPTURE
  parser.AddParagraphToHelp(
      "JSON keys with --interface: time, mac, address, options, user_agent, vendor, "
      "category, os, name, identified, locally_administered, host_name, vendor_class, filled "
      "{field, value, evidence, confidence, rule}; and at the end, on standard "
      "error: packets, dropped, malformed, option_lists, user_agents, cut, identified, "
      "unknown.");
#endif
  parser.AddNumber("--count", options->count, "Exit after this many lines").ValueName("NUMBER");
#ifdef BYOD_CAPTURE
  const Option interface = parser
                               .AddText("--interface", options->interface,
                                        "Watch the packets of a network interface instead")
                               .ValueName("NAME")
                               .Excludes(what);
  options->identifier.Declare(parser).Needs(interface);
  return [options, &settings] {
    if (options->interface.empty()) return DaemonWatch(*options, settings).Run();
    return WatchInterface({options->interface, options->identifier, options->count, options->json},
                          settings);
  };
#else
  return [options, &settings] { return DaemonWatch(*options, settings).Run(); };
#endif
}

}  // namespace byod::ctl
