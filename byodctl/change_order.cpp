// byodctl set order, byodctl unset order, byodctl reload
#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/change_report.h"
#include "byodctl/client.h"
#include "byodctl/command.h"
#include "byodctl/order_text.h"
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

/// A change that takes no arguments.
Run DefinePlain(CLI::App& app, const Settings& settings, uint32_t operation, uint32_t kind) {
  const auto json = std::make_shared<bool>(false);
  app.add_flag("--json", *json, "Write JSON: changed");
  return [json, &settings, operation, kind] {
    return Change(Request(operation, kind), *json, settings);
  };
}

}  // namespace

Run DefineSetOrder(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer("A method that is left out is not tried.");
  app.add_option("METHODS", options->order, "One to three of dhcp, user-agent, mac, with commas")
      ->required()
      ->delimiter(',');
  app.add_flag("--json", options->json, "Write JSON: changed");
  return [options, &settings] { return Set(*options, settings); };
}

Run DefineUnsetOrder(CLI::App& app, const Settings& settings) {
  return DefinePlain(app, settings, BYOD_OP_UNDO, BYOD_MSG_ORDER);
}

Run DefineReload(CLI::App& app, const Settings& settings) {
  app.footer("Bad rule files leave the rules as they were; the daemon says what is wrong.");
  return DefinePlain(app, settings, BYOD_OP_SET, BYOD_EXT_MSG_RELOAD);
}

}  // namespace byod::ctl
