// SPDX-License-Identifier: Apache-2.0
#include "support/message.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "lauth_tlv.h"
#include "support/platform_faults.h"

namespace support {

void PrintTo(const Element& element, std::ostream* out) {
  *out << element.type << '[' << element.bytes.size() << "]:";
  for (const char c : element.bytes.substr(0, 40)) {
    char hex[4];
    std::snprintf(hex, sizeof hex, " %02x", static_cast<unsigned char>(c));
    *out << hex;
  }
}

Element Number(uint16_t type, uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<char>(static_cast<unsigned char>(value >> shift)));
  }
  return {type, bytes};
}

Element Text(uint16_t type, const std::string& text) {
  return {type, text + '\0'};
}

Element Bytes(uint16_t type, std::string bytes) {
  return {type, std::move(bytes)};
}

Element Bytes(uint16_t type, const uint8_t (&bytes)[6]) {
  return {type, std::string(reinterpret_cast<const char*>(bytes), sizeof bytes)};
}

Message::Message(const std::vector<Element>& elements) {
  const PlatformFaults::Pause pause;
  handle_ = TLV_Create();
  EXPECT_NE(handle_, 0u);
  for (const Element& element : elements) {
    EXPECT_EQ(TLV_Append_Data(handle_, element.type, static_cast<uint16_t>(element.bytes.size()),
                              element.bytes.data()),
              0u);
  }
}

Message Message::Take(uint32_t handle) {
  return {Adopt{}, handle};
}

Message::~Message() {
  if (handle_ == 0) return;
  const PlatformFaults::Pause pause;
  PlatformFaults::Forget(handle_);
  TLV_Destroy(handle_);
}

std::vector<Element> Message::elements() const {
  return ElementsOf(handle_);
}

std::vector<Element> ElementsOf(uint32_t handle) {
  const PlatformFaults::Pause pause;
  std::vector<Element> found;
  if (handle == 0) return found;
  for (uintptr_t at = TLV_GetFirst(handle); at != 0; at = TLV_GetNext(handle, at)) {
    Element element{TLV_GetTypeByIterator(handle, at), {}};
    element.bytes.resize(TLV_GetLenByIterator(handle, at));
    EXPECT_EQ(TLV_GetValueByIterator(handle, at, static_cast<uint16_t>(element.bytes.size()),
                                     element.bytes.data()),
              0u);
    found.push_back(element);
  }
  return found;
}

std::string Message::serialized() const {
  const PlatformFaults::Pause pause;
  std::string bytes(TLV_GetMsgLen(handle_, 2), '\0');
  EXPECT_EQ(TLV_Flush(handle_, 2, static_cast<uint32_t>(bytes.size()),
                      reinterpret_cast<uintptr_t>(bytes.data())),
            bytes.size());
  return bytes;
}

std::string Serialize(const std::vector<Element>& elements) {
  return Message(elements).serialized();
}

std::vector<Element> Parse(const std::string& bytes) {
  const PlatformFaults::Pause pause;
  const uint32_t handle = TLV_CreateReceiveMsg(2, reinterpret_cast<uintptr_t>(bytes.data()),
                                               static_cast<uint32_t>(bytes.size()));
  if (handle == 0) {
    ADD_FAILURE() << bytes.size() << " bytes are no message";
    return {};
  }
  return Message::Take(handle).elements();
}

Element Nested(uint16_t type, const std::vector<Element>& elements) {
  return {type, Serialize(elements)};
}

}  // namespace support
