// SPDX-License-Identifier: Apache-2.0
// The rules that match one fingerprint, and what they say together.
//
// The library's functions search the tables again for each question. This searches each table at
// most once, when its rule is first asked for, and derives every answer from the rules found:
// attributes and name are those of the exported functions, and are logged like theirs. Threads: as
// byod_data.h, callers serialise; the rules must not change while a search lives.
#ifndef BYOD_EXPLAIN_RULE_SEARCH_H
#define BYOD_EXPLAIN_RULE_SEARCH_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "byod_data.h"

namespace byod::explain {

/// What a method found.
enum class Lookup {
  kNoValue,     ///< the fingerprint has nothing for this method
  kTooLong,     ///< the text of the option list does not fit
  kNoRule,      ///< no rule matches
  kRuleMatched  ///< Match holds the rule
};

/// The rule of one method.
struct Match {
  Lookup lookup = Lookup::kNoValue;
  uint32_t origin = BYOD_RULE_PREDEFINED;
  const ByodDeviceInfo* predefined = nullptr;
  const ByodDeviceInfo* configured = nullptr;
  const char* text = nullptr;          ///< expression or option list; borrowed from the rule
  const ByodMacRule* block = nullptr;  ///< of the MAC method
};

/// Vendor, category and OS, and the code that goes with them.
struct AttributeAnswer {
  uint32_t result = BYOD_ERR_FAILED;
  ByodDeviceAttribute values = {};
};

/// The device name, and the code that goes with it.
struct NameAnswer {
  uint32_t result = BYOD_ERR_FAILED;
  char text[BYOD_DEVNAME_SIZE] = "";
};

class RuleSearch {
 public:
  /// @param fingerprint  borrowed as long as this lives
  explicit RuleSearch(const ByodFingerPrint& fingerprint);

  const ByodFingerPrint& fingerprint() const { return fingerprint_; }

  /// The methods of the order that held when the search began.
  std::span<const uint32_t> methods() const { return {methods_.data(), method_count_}; }

  /// Searches the table of a method, BYOD_METHOD_*. An address of zeros is looked up too, as for
  /// the name; HasAddress says whether it counts for the attributes.
  const Match& Of(uint32_t method);
  bool HasAddress() const;

  /// As BYOD_data_GetDeviceAttributeByFingerPrint answers to a cleared record.
  const AttributeAnswer& FindAttributes();

  /// As BYOD_data_GetDeviceTypeByFingerPrint answers.
  const NameAnswer& FindName();

  /// As BYOD_data_GetDeviceVendorByFingerPrint answers. @return 0 or a code
  uint32_t FindDerivedVendor(char (&vendor)[BYOD_ATTR_SIZE]);

 private:
  Match SearchOptions();
  Match SearchUserAgents() const;
  Match SearchBlocks() const;
  const void* KeyOf(uint32_t method) const;

  const ByodFingerPrint& fingerprint_;
  std::array<uint32_t, BYOD_METHOD_COUNT> methods_ = {};
  size_t method_count_ = 0;
  char option_text_[BYOD_RULETEXT_SIZE] = "";
  std::array<std::optional<Match>, BYOD_METHOD_COUNT> matches_;  // by method
  std::optional<AttributeAnswer> attributes_;
  std::optional<NameAnswer> name_;
};

}  // namespace byod::explain

#endif  // BYOD_EXPLAIN_RULE_SEARCH_H
