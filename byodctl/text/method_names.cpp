// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/method_names.h"

#include <algorithm>
#include <string>

#include "rulefiles/text.h"

namespace byod::ctl {
namespace {

struct MethodWord {
  std::string_view word;
  uint32_t method;
};

// Words with the same beginning mean the same method, so no abbreviation is ambiguous.
constexpr MethodWord kMethodWords[] = {{"dhcp", BYOD_METHOD_DHCP},
                                       {"dhcp-options", BYOD_METHOD_DHCP},
                                       {"user-agent", BYOD_METHOD_USERAGENT},
                                       {"user_agent", BYOD_METHOD_USERAGENT},
                                       {"useragent", BYOD_METHOD_USERAGENT},
                                       {"ua", BYOD_METHOD_USERAGENT},
                                       {"mac", BYOD_METHOD_MAC}};

}  // namespace

std::optional<uint32_t> MethodOf(std::string_view word) {
  std::string lower{rulefiles::Trimmed(word)};
  std::ranges::transform(lower, lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  if (lower.empty()) return std::nullopt;
  for (const MethodWord& known : kMethodWords) {
    if (known.word.starts_with(lower)) return known.method;
  }
  return std::nullopt;
}

}  // namespace byod::ctl
