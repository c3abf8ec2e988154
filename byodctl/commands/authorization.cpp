// byodctl show authorization, set authorization, unset authorization
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/commands/change_report.h"
#include "byodctl/daemon/client.h"
#include "byodctl/rules/category_advice.h"
#include "byodctl/text/authorization_text.h"
#include "byodctl/text/json_line.h"
#include "byodctl/text/table.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string group;
  std::string type;
  std::vector<std::string> attributes;
  bool json = false;
};

Request About(uint32_t operation, const Options& options) {
  Request request(operation, BYOD_EXT_MSG_AUTHORIZATION);
  if (!options.group.empty()) request.Text(BYOD_EXT_GROUP, options.group);
  if (!options.type.empty()) request.Text(BYOD_TLV_DEVTYPE, options.type);
  return request;
}

int Show(const Options& options, const Settings& settings) {
  Client client(settings);
  Table table({"GROUP", "TYPE", "ATTRIBUTES"});
  client.Series(About(BYOD_OP_GET, options), [&](const Fields& reply) {
    reply.ForEachNested(BYOD_EXT_AUTHORIZATION, [&](const Fields& fields) {
      const AuthorizationSet set = AuthorizationIn(fields);
      if (options.json) return WriteJsonLine(AuthorizationJson(set));
      table.Add({Cell(set.group), Cell(set.type), Cell(AuthorizationText(set))});
    });
  });
  if (!options.json) table.Write(std::cout);
  return kExitSuccess;
}

int Set(const Options& options, const Settings& settings) {
  Request request = About(BYOD_OP_SET, options);
  for (const std::string& attribute : options.attributes) {
    const size_t equals = attribute.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw Failure(kExitBadInput, '"' + attribute + "\" is not of the form ATTRIBUTE=VALUE");
    }
    request.Text(BYOD_EXT_ATTR_NAME, attribute.substr(0, equals));
    request.Text(BYOD_EXT_ATTR_VALUE, attribute.substr(equals + 1));
  }
  Client client(settings);
  const bool changed = client.Change(request);
  return ReportChange(changed, AdviceOnCategory(client, options.type), options.json);
}

int Unset(const Options& options, const Settings& settings) {
  Request request = About(BYOD_OP_UNDO, options);
  for (const std::string& name : options.attributes)
    request.Text(BYOD_EXT_ATTR_NAME, name);
  Client client(settings);
  return ReportChange(client.Change(request), options.json);
}

constexpr char kTypeHelp[] = "Category of the terminals; * for every category without its own set";

}  // namespace

Run DefineShowAuthorization(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer("In JSON a name with several values has an array of them.");
  AddJsonOption(app, options->json, "group, type, attributes (by name)", "set");
  app.add_option("GROUP", options->group, "A user group; default: all");
  app.add_option("TYPE", options->type, kTypeHelp);
  return [options, &settings] { return Show(*options, settings); };
}

Run DefineSetAuthorization(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer(
      "Attributes that are not given stay as they are; a name that is given more than once has\n"
      "all of these values, in this order. Any name is accepted; common ones are vlan, acl,\n"
      "user-profile and session-timeout. Warns when no rule answers the category.");
  AddJsonOption(app, options->json, std::string{kChangeKeys} + ", warnings");
  app.add_option("GROUP", options->group, "A user group")->required();
  app.add_option("TYPE", options->type, kTypeHelp)->required();
  app.add_option("ATTRIBUTE=VALUE", options->attributes, "What they may do")->required();
  return [options, &settings] { return Set(*options, settings); };
}

Run DefineUnsetAuthorization(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.add_option("GROUP", options->group, "A user group")->required();
  app.add_option("TYPE", options->type,
                 std::string{kTypeHelp} + "; default: all sets of the group");
  app.add_option("ATTRIBUTE", options->attributes, "Names; default: the whole set");
  AddJsonOption(app, options->json, kChangeKeys);
  return [options, &settings] { return Unset(*options, settings); };
}

}  // namespace byod::ctl
