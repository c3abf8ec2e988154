// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/predefined_digest.h"

#include <cstddef>
#include <cstring>

#include "lauthd/state/rule_cursor.h"
#include "lauthd/state/rule_kind.h"

namespace byod::lauthd {
namespace {

/// FNV-1a. A reload that changes something and is not seen to is possible once in 2^64 times, and
/// then only its report is wrong.
class Digest {
 public:
  void Add(const void* bytes, size_t length) {
    const auto* const next = static_cast<const unsigned char*>(bytes);
    for (size_t i = 0; i < length; ++i)
      value_ = (value_ ^ next[i]) * 0x100000001b3ull;
  }

  /// With its NUL: "ab" and "c" are not "a" and "bc".
  void Add(const char* text) { Add(text, std::strlen(text) + 1); }

  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xcbf29ce484222325ull;
};

void AddKey(Digest& digest, const ByodMacRule& rule) {
  for (size_t i = 0; i < sizeof rule.mac; ++i) {
    // The bits that the mask leaves out are an administrator's.
    const uint8_t bytes[] = {static_cast<uint8_t>(rule.mac[i] & rule.mask[i]), rule.mask[i]};
    digest.Add(bytes, sizeof bytes);
  }
}

void AddKey(Digest& digest, const ByodUserAgentRule& rule) {
  digest.Add(rule.keyword);
}

void AddKey(Digest& digest, const ByodDhcpOptionRule& rule) {
  digest.Add(rule.text);
}

template <typename Kind>
void AddTable(Digest& digest) {
  for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule)) {
    if (rule->predefined == nullptr) continue;
    AddKey(digest, *rule);
    for (const char* const text : {rule->predefined->name, rule->predefined->vendor,
                                   rule->predefined->category, rule->predefined->os})
      digest.Add(text);
  }
}

void AddMatchOrder(Digest& digest) {
  for (const ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
       link = link->next) {
    const auto* const rule = reinterpret_cast<const ByodUserAgentRule*>(
        reinterpret_cast<const char*>(link) - offsetof(ByodUserAgentRule, match_link));
    if (rule->predefined != nullptr) digest.Add(rule->keyword);
  }
}

}  // namespace

uint64_t DigestOfPredefined() {
  Digest digest;
  ForEachKind([&](auto kind) { AddTable<decltype(kind)>(digest); });
  AddMatchOrder(digest);
  return digest.value();
}

}  // namespace byod::lauthd
