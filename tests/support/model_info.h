// SPDX-License-Identifier: Apache-2.0
// What a model of a rule table keeps of a device information, and what becomes of it.
#ifndef BYOD_TESTS_SUPPORT_MODEL_INFO_H
#define BYOD_TESTS_SUPPORT_MODEL_INFO_H

#include <array>
#include <optional>
#include <string>

#include "support/choices.h"
#include "support/rule_store_fixture.h"

namespace byod::test {

struct ModelInfo {
  std::array<std::string, 4> fields;  // name, vendor, category, OS; empty = absent

  /// Every field is absent or one letter.
  static ModelInfo Random(Choices& choices) {
    ModelInfo info;
    for (std::string& field : info.fields) {
      if (choices.Below(2) == 0) field = std::string(1, static_cast<char>('a' + choices.Below(26)));
    }
    return info;
  }

  bool HasName() const { return !fields[0].empty(); }
  bool HasAttribute() const {
    return !fields[1].empty() || !fields[2].empty() || !fields[3].empty();
  }
  bool IsEmpty() const { return !HasName() && !HasAttribute(); }
  ByodDeviceInfo Plain() const { return Info(fields[0], fields[1], fields[2], fields[3]); }
};

inline std::string InfoText(const std::optional<ModelInfo>& info) {
  if (!info) return "-";
  const ByodDeviceInfo plain = info->Plain();
  return InfoText(&plain);
}

/// An update of a rule's configured information.
inline void LayOver(std::optional<ModelInfo>& configured, const ModelInfo& update) {
  if (update.IsEmpty()) return;
  if (!configured) configured.emplace();
  for (size_t i = 0; i < update.fields.size(); ++i) {
    if (!update.fields[i].empty()) configured->fields[i] = update.fields[i];
  }
}

/// The deletion of a part of a rule's configured information. @return whether the rule goes
inline bool DeletePart(std::optional<ModelInfo>& configured, uint32_t origin, uint32_t mode,
                       uint16_t remove) {
  if (configured && mode == 0 && configured->HasAttribute()) {
    configured->fields[0].clear();
    return false;
  }
  if (configured && mode == 1 && configured->HasName()) {
    configured->fields[1] = configured->fields[2] = configured->fields[3] = "";
    return false;
  }
  if (origin == BYOD_RULE_CUSTOM && (mode == 1 || remove == 1)) return true;
  configured.reset();
  return false;
}

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_MODEL_INFO_H
