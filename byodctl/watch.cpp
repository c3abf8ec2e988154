// byodctl watch
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "byod_tlv.h"
#include "byodctl/answer_json.h"
#include "byodctl/client.h"
#include "byodctl/command.h"
#include "byodctl/event_text.h"
#include "byodctl/json_line.h"
#include "byodctl/told_fingerprint.h"
#ifdef BYOD_CAPTURE
#include "byodctl/watch_interface.h"
#endif
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

struct Options {
  uint64_t count = 0;  ///< 0 = without end
  bool json = false;
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

void WriteJson(const Fields& event, uint64_t lost) {
  const FingerprintText text = FingerprintIn(event);
  Answer answer = AnswerIn(event);
  if (answer.vendor.empty()) answer.vendor = event.Text(BYOD_EXT_DERIVED_VENDOR);
  Json object = {{"time", TimeText(event.Counter(BYOD_EXT_TIME))},
                 {"user_id", event.Number(BYOD_EXT_CLIENT)},
                 {"question", QuestionName(event.Number(BYOD_TLV_MSGTYPE))},
                 {"mac", text.mac}};
  AddAnswer(object, text, answer, CodeOf(event) == 0, IsLocallyAdministered(text.mac));
  object["lost"] = lost;
  WriteJsonLine(object);
}

void WriteText(const Fields& event, uint64_t lost) {
  if (lost > 0) std::cout << "(" << lost << " left out)\n";
  Event shown{TimeText(event.Counter(BYOD_EXT_TIME)),
              QuestionName(event.Number(BYOD_TLV_MSGTYPE)),
              FingerprintIn(event),
              {},
              CodeOf(event) == 0,
              AnswerIn(event)};
  if (shown.answer.vendor.empty()) shown.answer.vendor = event.Text(BYOD_EXT_DERIVED_VENDOR);
  std::cout << ToString(shown) << '\n';
}

int Watch(const Options& options, const Settings& settings) {
  Client client(settings);
  client.Send(Request(BYOD_OP_GET, BYOD_EXT_MSG_WATCH));
  uint64_t seen = 0;
  for (bool is_first = true;; is_first = false) {
    const tlv::Message reply = client.Receive(!is_first);
    const Fields fields(reply);
    if (CodeOf(fields) == 0) return kExitSuccess;
    if (CodeOf(fields) != BYOD_ERR_CONTINUE) throw Refusal(fields);
    uint64_t lost = fields.Counter(BYOD_EXT_LOST);
    fields.ForEachNested(BYOD_EXT_EVENT, [&](const Fields& event) {
      if (options.count != 0 && seen >= options.count) return;
      ++seen;
      if (options.json) {
        WriteJson(event, lost);
      } else {
        WriteText(event, lost);
      }
      lost = 0;
    });
    if (is_first && !options.json) std::cerr << "byodctl: watching\n";
    std::cout.flush();
    if (!std::cout) return kExitSuccess;  // main tells
    if (options.count != 0 && seen >= options.count) return kExitSuccess;
  }
}

}  // namespace

Run DefineWatch(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer(
      "JSON: time, user_id (who asked), question, mac, options, user_agent, vendor, "
      "category, os, name,\nidentified, locally_administered, lost (identifications left out "
      "before this one, as they came too fast).\n\n"
#ifdef BYOD_CAPTURE
      "With --interface: the stations whose DHCP and HTTP requests pass an interface, each told "
      "when it is new\nand when its answer changes, until the command is interrupted; then counts "
      "on standard error.\nJSON: time, mac, address, options, user_agent, vendor, "
      "category, os, name, identified, locally_administered."
#endif
  );
  app.add_option("--count", options->count, "End after so many; without end if not given")
      ->type_name("NUMBER")
      ->check(CLI::PositiveNumber);
  app.add_flag("--json", options->json, "Write JSON, a line for each identification");
#ifdef BYOD_CAPTURE
  auto* const interface = app.add_option("--interface", options->interface,
                                         "Watch the packets on a network interface instead")
                              ->type_name("NAME");
  options->identifier.Declare(app)->needs(interface);
  app.final_callback([options, &app] { options->identifier.Validate(app); });
  return [options, &settings] {
    if (options->interface.empty()) return Watch(*options, settings);
    return WatchInterface({options->interface, options->identifier, options->count, options->json},
                          settings);
  };
#else
  return [options, &settings] { return Watch(*options, settings); };
#endif
}

}  // namespace byod::ctl
