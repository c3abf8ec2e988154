// SPDX-License-Identifier: Apache-2.0
// The daemon's User-Agent rules by the texts that people write for them.
#ifndef BYODCTL_RULES_USER_AGENT_RULES_H
#define BYODCTL_RULES_USER_AGENT_RULES_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "byodctl/daemon/client.h"
#include "byodctl/rules/rule.h"
#include "byodctl/rules/user_agent_band.h"

namespace byod::ctl {

/**
 * A text names the administrator's own rule with this plain text, else the predefined rule that has
 * exactly this expression, whose modification keeps its key. Anything else becomes a custom rule in
 * the band, and so does a text that comes with a priority.
 *
 * Read and used within one bulk, as other clients may change the rules in between.
 */
class UserAgentRules {
 public:
  /// Where the texts are from.
  enum class Source {
    kCommand,
    /// Lists the predefined rules once for all rows. A row without a priority first names the
    /// predefined rule: an export gives one to each rule in the band.
    kFile
  };

  UserAgentRules(Client& client, Source source);

  /// The key of the rule that a text names; the text itself if there is none.
  RuleKey KeyOf(const std::string& text, bool has_priority = false);

  /// Prepares a change of the rule that a text names, or of a new one; see UserAgentBand::Place.
  /// @throws Failure of kExitBadInput for a priority that cannot be given to this text
  void Place(const std::string& text, std::optional<unsigned> priority);

  /// A custom rule is to be deleted.
  void Remove(const RuleKey& key) { band_.Remove(key.StoredText()); }

  /// The changes of keys, to be made before any other.
  std::vector<Request> Moves() const;

  /// Whether the rule of a key that KeyOf returned is there by another one, which Moves changes.
  bool IsMoved(const RuleKey& key) const;
  /// Whether it had been stored by a program that does not lengthen keys.
  bool WasBelowBand(const RuleKey& key) const;

  /// Another custom rule with a key of the same length; nothing if there is none.
  std::optional<RuleKey> SharesLength(const RuleKey& key) const;

 private:
  bool IsPredefined(const std::string& text);
  std::optional<std::string> FormerKeyOf(const RuleKey& key) const;
  bool NamesPredefined(const std::string& text, bool has_priority);

  Client& client_;
  UserAgentBand band_;
  std::map<std::string, Rule> custom_;  // by their keys
  std::set<std::string> predefined_;    // and modifications that are not in effect
  Source source_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_RULES_USER_AGENT_RULES_H
