// SPDX-License-Identifier: Apache-2.0
// byodctl show authorization, set authorization, unset authorization
#include <memory>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/commands/change_report.h"
#include "byodctl/daemon/client.h"
#include "byodctl/identification/identification_fields.h"
#include "byodctl/rules/category_advice.h"
#include "byodctl/text/authorization_text.h"
#include "byodctl/text/listing.h"
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
  Listing listing(FormOf(options.json),
                  {{"GROUP", "group"}, {"TYPE", "type"}, {"ATTRIBUTES", "attributes"}});
  client.Series(About(BYOD_OP_GET, options), [&](const Fields& reply) {
    reply.ForEachNested(BYOD_EXT_AUTHORIZATION, [&](const Fields& fields) {
      const AuthorizationSet set = AuthorizationIn(fields);
      listing.Add({{"group", set.group},
                   {"type", set.type},
                   {"attributes", AttributesJson(set), AuthorizationText(set)}});
    });
  });
  listing.Finish();
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
  return ReportChange(changed, options.json, AdviceOnCategory(client, options.type));
}

int Unset(const Options& options, const Settings& settings) {
  Request request = About(BYOD_OP_UNDO, options);
  for (const std::string& name : options.attributes)
    request.Text(BYOD_EXT_ATTR_NAME, name);
  Client client(settings);
  return ReportChange(client.Change(request), options.json);
}

constexpr char kTypeHelp[] = "Category of the terminals; * for every category without its own set";
constexpr char kOptionalTypeHelp[] =
    "Category of the terminals; * for every category without its own set; default: all sets of the "
    "group";

}  // namespace

Run DefineShowAuthorization(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp("In JSON a name with several values has an array of them.");
  AddJsonOption(parser, options->json, "group, type, attributes (by name)", "set");
  parser.AddText("GROUP", options->group, "A user group; default: all");
  parser.AddText("TYPE", options->type, kTypeHelp);
  return [options, &settings] { return Show(*options, settings); };
}

Run DefineSetAuthorization(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "Attributes that are not given stay as they are; a name that is given more than once has\n"
      "all of these values, in this order. Any name is accepted; common ones are vlan, acl,\n"
      "user-profile and session-timeout. Warns when no rule answers the category.");
  AddJsonOption(parser, options->json, kChangeKeysWithWarnings);
  parser.AddText("GROUP", options->group, "A user group").Required();
  parser.AddText("TYPE", options->type, kTypeHelp).Required();
  parser.AddTexts("ATTRIBUTE=VALUE", options->attributes, "What they may do").Required();
  return [options, &settings] { return Set(*options, settings); };
}

Run DefineUnsetAuthorization(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddText("GROUP", options->group, "A user group").Required();
  parser.AddText("TYPE", options->type, kOptionalTypeHelp);
  parser.AddTexts("ATTRIBUTE", options->attributes, "Names; default: the whole set");
  AddJsonOption(parser, options->json, kChangeKeys);
  return [options, &settings] { return Unset(*options, settings); };
}

}  // namespace byod::ctl
