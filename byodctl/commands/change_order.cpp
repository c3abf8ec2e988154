// SPDX-License-Identifier: Apache-2.0
// byodctl set order, byodctl unset order, byodctl reload
#include <memory>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/commands/change_report.h"
#include "byodctl/daemon/client.h"
#include "byodctl/text/counted.h"
#include "byodctl/text/order_text.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

struct Options {
  std::vector<std::string> order;
  bool json = false;
};

int Change(const Request& request, bool json, const Settings& settings) {
  Client client(settings);
  return ReportChange(client.Change(request), json);
}

int Set(const Options& options, const Settings& settings) {
  const std::string fault = FaultOfOrder(options.order);
  if (!fault.empty()) throw Failure(kExitBadInput, fault);
  Request request(BYOD_OP_SET, BYOD_MSG_ORDER);
  const ByodOrder order = OrderOf(options.order);
  request.Encoded([&](uint32_t msg) { return BYOD_tlv_EncapOrder(msg, order.slots); });
  return Change(request, options.json, settings);
}

std::vector<std::string> CurrentOrder(Client& client) {
  const tlv::Message reply = client.Ask(Request(BYOD_OP_GET, BYOD_MSG_ORDER));
  ByodOrder order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  BYOD_tlv_GetOrder(reply.get(), order.slots);
  return NamesOf(order);
}

/// The daemon's reply does not show whether the default order was already set.
int Unset(bool json, const Settings& settings) {
  Client client(settings);
  const std::vector<std::string> former = CurrentOrder(client);
  client.Change(Request(BYOD_OP_UNDO, BYOD_MSG_ORDER));
  return ReportChange(CurrentOrder(client) != former, json);
}

/// Says how many modifications have no rule in the new catalogue.
std::vector<std::string> WarningsIn(const Fields& reply) {
  const uint32_t gone = reply.Number(BYOD_EXT_GONE);
  const uint32_t movable = reply.Number(BYOD_EXT_MOVABLE);
  if (gone == 0) return {};
  std::string text = Counted(gone, "modification") + (gone == 1 ? " is" : " are") +
                     " not in effect: " + (gone == 1 ? "its rule is" : "their rules are") +
                     " not in the catalogue";
  if (movable > 0) {
    text += "; \"byodctl rebind\" moves " + std::to_string(movable) + " to " +
            (movable == 1 ? "its successor" : "their successors");
  }
  return {text};
}

int Reload(bool json, const Settings& settings) {
  Client client(settings);
  const tlv::Message reply = client.ExchangeChange(Request(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD));
  const Fields fields(reply);
  const uint32_t code = CodeOf(fields);
  if (code != 0 && code != BYOD_ERR_NOCHANGE) throw Refusal(fields);
  return ReportChange(code == 0, json, WarningsIn(fields));
}

}  // namespace

Run DefineSetOrder(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp("A method that is left out is not tried.");
  parser
      .AddTexts("METHODS", options->order, "One to three of dhcp, user-agent, mac; comma-separated")
      .Required()

      .SeparatedBy(',');
  AddJsonOption(parser, options->json, kChangeKeys);
  return [options, &settings] { return Set(*options, settings); };
}

Run DefineUnsetOrder(Parser& parser, const Settings& settings) {
  const auto json = std::make_shared<bool>(false);
  AddJsonOption(parser, *json, kChangeKeys);
  return [json, &settings] { return Unset(*json, settings); };
}

Run DefineReload(Parser& parser, const Settings& settings) {
  parser.AddToHelp(
      "When a rule file is bad nothing changes, and the daemon reports what is wrong. "
      "Modifications "
      "of rules\nthat are no longer in the files are kept, and reported.");
  const auto json = std::make_shared<bool>(false);
  AddJsonOption(parser, *json, kChangeKeysWithWarnings);
  return [json, &settings] { return Reload(*json, settings); };
}

}  // namespace byod::ctl
