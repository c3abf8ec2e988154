// SPDX-License-Identifier: Apache-2.0
// byodctl rebind
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/daemon/client.h"
#include "byodctl/rules/rule.h"
#include "byodctl/text/listing.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

struct Options {
  bool dry_run = false;
  bool json = false;
};

/// A modification whose rule is gone.
struct Binding {
  Rule rule;
  std::string successor;  ///< empty: the catalogue names none
  std::string why_not;    ///< why it stays; empty: it goes to the successor

  bool Moves() const { return why_not.empty(); }
};

/// @return what becomes, or would become, of each
std::vector<Binding> Ask(Client& client, uint32_t operation) {
  std::vector<Binding> bindings;
  client.Series(Request(operation, BYOD_EXT_MSG_REBIND), [&](const Fields& reply) {
    reply.ForEachNested(BYOD_EXT_RULE, [&](const Fields& fields) {
      const uint32_t kind = fields.Number(BYOD_EXT_METHOD, BYOD_METHOD_COUNT);
      if (kind >= BYOD_METHOD_COUNT) return;
      bindings.push_back(
          {RuleIn(kind, fields), fields.Text(BYOD_EXT_SUCCESSOR), fields.Text(BYOD_EXT_REASON)});
    });
  });
  return bindings;
}

void Write(const std::vector<Binding>& bindings, bool json) {
  Listing listing(FormOf(json), {{"KIND", "kind"},
                                 {"KEY", "key"},
                                 {"ACTION", "action"},
                                 {"SUCCESSOR", "successor"},
                                 {"REASON", "reason"}});
  for (const Binding& binding : bindings) {
    listing.Add({{"kind", kRuleKindNames[binding.rule.key.kind]},
                 {"key", ToString(binding.rule.key)},
                 {"action", binding.Moves() ? "moved" : "kept"},
                 {"successor", OrNull(binding.successor)},
                 {"reason", OrNull(binding.why_not)}},
                binding.Moves() ? Emphasis::kNone : Emphasis::kAlarm);
  }
  listing.Finish();
}

int Rebind(const Options& options, const Settings& settings) {
  Client client(settings);
  std::vector<Binding> bindings = Ask(client, BYOD_OP_GET);
  if (!options.dry_run && std::ranges::any_of(bindings, &Binding::Moves)) {
    bindings = Ask(client, BYOD_OP_SET);
  }
  Write(bindings, options.json);
  if (options.json) return kExitSuccess;
  size_t moved = 0;
  for (const Binding& binding : bindings)
    moved += binding.Moves();
  std::cout << (options.dry_run ? "would be " : "") << moved << " moved, "
            << bindings.size() - moved << " kept\n";
  return kExitSuccess;
}

}  // namespace

Run DefineRebind(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "A modification of a predefined rule stays stored, without effect, when the rule is no "
      "longer "
      "in the\ncatalogue. This moves each to the rule that the catalogue names as the successor, "
      "all together. Those\nwithout a successor, and those whose successor is already modified, "
      "are "
      "kept as they are.");
  parser.AddFlag("--dry-run", options->dry_run, "Show what would be moved, and change nothing");
  AddJsonOption(
      parser, options->json,
      "kind, key, action (moved or kept), successor (or null), reason (why it is kept, or "
      "null)",
      "modification");
  return [options, &settings] { return Rebind(*options, settings); };
}

}  // namespace byod::ctl
