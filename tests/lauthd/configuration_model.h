// SPDX-License-Identifier: Apache-2.0
// What an administrator's changes make of a daemon's configuration, as plain maps; the same changes
// as calls of the library; and the daemon's own account of its configuration.
#ifndef TESTS_LAUTHD_CONFIGURATION_MODEL_H
#define TESTS_LAUTHD_CONFIGURATION_MODEL_H

#include <array>
#include <cstdint>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/lauthd/client.h"

namespace byod::test {

constexpr int kKeys = 24;  // of each kind; every third is predefined

struct RuleState {
  bool custom = false;
  std::array<std::string, 4> texts;  // configured: name, vendor, category, os

  bool Modified() const;
  bool operator==(const RuleState&) const = default;
};

using AttributeList = std::vector<std::pair<std::string, std::string>>;

struct Configuration {
  std::map<std::pair<uint32_t, int>, RuleState> rules;  // by kind of list and key
  std::vector<uint32_t> order = {0, 1, 2};
  std::map<std::pair<std::string, std::string>, AttributeList> sets;  // by group and category

  bool operator==(const Configuration&) const = default;
};

void PrintTo(const Configuration& configuration, std::ostream* out);

enum class Action { kValue, kName, kAttribute, kOrder, kAuthorization };

/// One change, of which only what its action needs counts.
struct Change {
  Action action = Action::kValue;
  bool set = false;
  uint32_t table = 0;  // 0 DHCP option, 1 User-Agent, 2 MAC
  int key = 0;
  uint32_t attribute = 0;  // 1 vendor, 2 category, 3 os
  std::string text = {};
  std::vector<uint32_t> order = {};
  std::string group = {};
  std::string category = {};      // empty: of any, or all to be undone
  AttributeList attributes = {};  // to be set, or the names to be undone; none: all

  bool operator==(const Change&) const = default;
};

Change RandomChange(std::mt19937_64& random);

/// Makes the change in the model. @return what the daemon is to answer
uint32_t Apply(Configuration& configuration, const Change& change);

/// Makes the change by the calls that a front end makes. @return their result
uint32_t Request(const Change& change);

/// The change as a message, to be part of a bulk.
Message Encode(const Change& change);

/// Writes the rule files with the keys that are predefined. @return what a daemon then starts with
Configuration WritePredefined(DaemonProcess& daemon);

/// Reads everything that the daemon holds, and checks that the library's listings tell the same.
Configuration ReadAll(const DaemonProcess& daemon);

}  // namespace byod::test

#endif  // TESTS_LAUTHD_CONFIGURATION_MODEL_H
