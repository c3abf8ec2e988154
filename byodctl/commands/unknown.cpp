// SPDX-License-Identifier: Apache-2.0
// byodctl show unknown, byodctl unset unknown
#include <memory>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/commands/change_report.h"
#include "byodctl/daemon/client.h"
#include "byodctl/identification/identification_fields.h"
#include "byodctl/text/listing.h"
#include "byodctl/text/method_names.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

/// The methods of the parts that no rule matched.
std::vector<std::string> Unmatched(const Fields& unknown) {
  const uint32_t bits = unknown.Number(BYOD_EXT_UNMATCHED, 0);
  std::vector<std::string> names;
  for (uint32_t method = 0; method < BYOD_METHOD_COUNT; ++method) {
    if ((bits >> method & 1) != 0) names.emplace_back(kMethodNames[method]);
  }
  return names;
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names)
    text += (text.empty() ? "" : ",") + name;
  return text;
}

int ShowUnknown(bool json, const Settings& settings) {
  Client client(settings);
  bool has_flag = false;
  Listing listing(FormOf(json), {{"LAST SEEN", "last"},
                                 {"TIMES", "seen"},
                                 {"UNMATCHED", "unmatched"},
                                 {"MAC", "mac"},
                                 {"DHCP OPTIONS", "options"},
                                 {"USER-AGENT", "user_agent"}});
  client.Series(Request(BYOD_OP_GET, BYOD_EXT_MSG_UNKNOWN), [&](const Fields& reply) {
    reply.ForEachNested(BYOD_EXT_UNKNOWN, [&](const Fields& unknown) {
      const FingerprintText text = FingerprintIn(unknown);
      const bool is_local = IsLocallyAdministered(text.mac);
      has_flag = has_flag || is_local;
      const std::vector<std::string> unmatched = Unmatched(unknown);
      listing.Add({{"mac", text.mac, Flagged(text.mac, is_local)},
                   {"options", text.options},
                   {"user_agent", text.user_agent},
                   {"unmatched", unmatched, Joined(unmatched)},
                   {"seen", unknown.Counter(BYOD_EXT_SEEN)},
                   {"first", TimeText(unknown.Counter(BYOD_EXT_FIRST_TIME))},
                   {"last", TimeText(unknown.Counter(BYOD_EXT_TIME))},
                   {"locally_administered", is_local}});
    });
  });
  listing.Finish(has_flag ? kFlagNote : "");
  return kExitSuccess;
}

}  // namespace

Run DefineShowUnknown(Parser& parser, const Settings& settings) {
  const auto json = std::make_shared<bool>(false);
  parser.AddToHelp(
      "The last seen come first. UNMATCHED names the parts that no rule matched. identify reads "
      "what\n--json writes.");
  AddJsonOption(parser, *json,
                "mac, options, user_agent, unmatched (a list of methods), seen (how often), first, "
                "last, locally_administered",
                "fingerprint");
  return [json, &settings] { return ShowUnknown(*json, settings); };
}

Run DefineUnsetUnknown(Parser& parser, const Settings& settings) {
  const auto json = std::make_shared<bool>(false);
  AddJsonOption(parser, *json, kChangeKeys);
  return [json, &settings] {
    Client client(settings);
    return ReportChange(client.Change(Request(BYOD_OP_UNDO, BYOD_EXT_MSG_UNKNOWN)), *json);
  };
}

}  // namespace byod::ctl
