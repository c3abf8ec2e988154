// SPDX-License-Identifier: Apache-2.0
#ifndef BYOD_TESTS_SUPPORT_OBJECT_BYTES_H
#define BYOD_TESTS_SUPPORT_OBJECT_BYTES_H

#include <string>

namespace support {

/// The bytes of an object, those between its members too.
template <typename Object>
std::string BytesOf(const Object& object) {
  return {reinterpret_cast<const char*>(&object), sizeof object};
}

template <typename Object>
std::string ZeroBytes() {
  return std::string(sizeof(Object), '\0');
}

}  // namespace support

#endif  // BYOD_TESTS_SUPPORT_OBJECT_BYTES_H
