// SPDX-License-Identifier: Apache-2.0
// Attacks byod_data_UserAgentMatch. The input is an expression, a line feed and a User-Agent;
// whether they match must be what a plain reading says.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "data/internal.h"
#include "support/plain_match.h"

namespace {

std::string UpToNul(const std::string& text) {
  return text.substr(0, text.find('\0'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const size_t end = std::min(input.find('\n'), input.size());
  // As texts in fields are: up to the first NUL, an expression of at most 255 bytes.
  const std::string expression = UpToNul(input.substr(0, std::min<size_t>(end, 255)));
  const std::string ua = UpToNul(input.substr(std::min(end + 1, input.size())));
  const bool matches = byod_data_UserAgentMatch(ua.c_str(), expression.c_str()) == 1;
  if (matches != byod::test::Matches(ua, expression)) std::abort();
  return 0;
}
