// SPDX-License-Identifier: Apache-2.0
// The text form of a DHCP option 55 list, by the library and by a plain reading.
#ifndef BYOD_TESTS_SUPPORT_PLAIN_OPTION_TEXT_H
#define BYOD_TESTS_SUPPORT_PLAIN_OPTION_TEXT_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "byod_data.h"

namespace byod::test {

using Bytes = std::vector<uint8_t>;

inline constexpr char kUntouched = '\x7E';

struct Formatted {
  uint32_t result;
  std::string text;  // up to the NUL; kUntouched where nothing was written
  bool operator==(const Formatted&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Formatted& formatted) {
  return out << std::hex << formatted.result << " \"" << formatted.text << '"';
}

/// Into a separate buffer that ends with the size, for a sanitizer to see.
inline Formatted Format(const Bytes& bytes, uint32_t size) {
  const std::unique_ptr<char[]> out(new char[size]);
  std::memset(out.get(), kUntouched, size);
  const uint32_t result = BYOD_data_GetDhcpOption55String(static_cast<uint32_t>(bytes.size()),
                                                          bytes.data(), size, out.get());
  return {result, std::string(out.get(), strnlen(out.get(), size))};
}

/// The whole text with a comma behind every number; what does not fit is cut.
inline Formatted Plainly(const Bytes& bytes, uint32_t size) {
  if (size < bytes.size()) return {BYOD_ERR_FAILED, std::string(size, kUntouched)};
  if (bytes.empty()) return {0, std::string(size, kUntouched)};
  std::string text;
  for (const uint8_t byte : bytes)
    text += std::to_string(byte) + ",";
  if (text.size() + 1 <= size) return {0, text.substr(0, text.size() - 1)};
  return {BYOD_ERR_FAILED, text.substr(0, size - 1)};
}

}  // namespace byod::test

#endif  // BYOD_TESTS_SUPPORT_PLAIN_OPTION_TEXT_H
