// byodctl watch
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "byod_tlv.h"
#include "byodctl/client.h"
#include "byodctl/command.h"
#include "byodctl/display_text.h"
#include "byodctl/json_line.h"
#include "byodctl/told_fingerprint.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

struct Options {
  uint64_t count = 0;  ///< 0 = without end
  bool json = false;
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
  WriteJsonLine({{"time", TimeText(event.Counter(BYOD_EXT_TIME))},
                 {"user_id", event.Number(BYOD_EXT_CLIENT)},
                 {"question", QuestionName(event.Number(BYOD_TLV_MSGTYPE))},
                 {"mac", text.mac},
                 {"options", text.options},
                 {"user_agent", text.user_agent},
                 {"vendor", answer.vendor},
                 {"category", answer.category},
                 {"os", answer.os},
                 {"name", answer.name},
                 {"identified", CodeOf(event) == 0},
                 {"lost", lost}});
}

/// A line as the event happens, so nothing is aligned.
void WriteText(const Fields& event, uint64_t lost) {
  const auto put = [](const char* name, const std::string& value) {
    if (!value.empty()) std::cout << ' ' << name << '=' << Json(Printable(value)).dump();
  };
  if (lost > 0) std::cout << "(" << lost << " left out)\n";
  const FingerprintText text = FingerprintIn(event);
  const Answer answer = AnswerIn(event);
  std::cout << TimeText(event.Counter(BYOD_EXT_TIME)) << ' '
            << QuestionName(event.Number(BYOD_TLV_MSGTYPE));
  put("mac", text.mac);
  put("options", text.options);
  put("user-agent", text.user_agent);
  std::cout << (CodeOf(event) == 0 ? " ->" : " -> unknown");
  put("vendor", answer.vendor.empty() ? event.Text(BYOD_EXT_DERIVED_VENDOR) : answer.vendor);
  put("category", answer.category);
  put("os", answer.os);
  put("name", answer.name);
  std::cout << '\n';
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
      "category, os, name,\nidentified, lost (identifications left out before this one, as "
      "they came too fast).");
  app.add_option("--count", options->count, "End after so many; without end if not given")
      ->type_name("NUMBER")
      ->check(CLI::PositiveNumber);
  app.add_flag("--json", options->json, "Write JSON, a line for each identification");
  return [options, &settings] { return Watch(*options, settings); };
}

}  // namespace byod::ctl
