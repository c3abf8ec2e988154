// SPDX-License-Identifier: Apache-2.0
// Attacks BYOD_tlv_GetErrorCode, BYOD_tlv_GetOpType, BYOD_tlv_GetUINTValueByType,
// BYOD_tlv_GetStrValueByType, BYOD_tlv_GetMacValueByType, BYOD_tlv_GetOrder, BYOD_tlv_GetSubTlv and
// BYOD_tlv_ClearTlv.
//
// The first two bytes are a type and a capacity, the rest is a message without its header. Every
// result must equal that of a plain reading.
#include <cstring>

#include "fuzz/compare_decoders.h"

namespace {

using fuzz::Expect;
using support::PlainElement;

constexpr uint32_t kFailed = 0x40010001u;

const PlainElement* First(const fuzz::Input& input, uint16_t type) {
  for (const PlainElement& element : input.elements) {
    if (element.type == type) return &element;
  }
  return nullptr;
}

void Numbers(const fuzz::Input& input, uint16_t type) {
  const PlainElement* const element = First(input, type);
  uint32_t value = 77;
  const uint32_t status = BYOD_tlv_GetUINTValueByType(input.message, type, &value);
  Expect(status == (element != nullptr ? 0 : kFailed), "status of a number");
  Expect(value == (element != nullptr ? support::PlainNumber(element->bytes) : 77), "number");
}

void Texts(const fuzz::Input& input, uint16_t type, uint32_t cap) {
  const PlainElement* const element = First(input, type);
  std::string text(256, '#'), expected = text;
  const bool fits = element != nullptr && element->bytes.size() <= cap;
  if (fits && !element->bytes.empty()) {
    expected.replace(0, element->bytes.size(), element->bytes);
    expected[element->bytes.size() - 1] = '\0';
  }
  Expect(BYOD_tlv_GetStrValueByType(input.message, type, cap, text.data()) ==
             (fits && !element->bytes.empty() ? 0 : kFailed),
         "status of a text");
  Expect(text == expected, "text");

  expected.assign(256, '#');
  if (fits) expected.replace(0, element->bytes.size(), element->bytes);
  std::string bytes(256, '#');
  Expect(
      BYOD_tlv_GetMacValueByType(input.message, type, cap,
                                 reinterpret_cast<uint8_t*>(bytes.data())) == (fits ? 0 : kFailed),
      "status of bytes");
  Expect(bytes == expected, "bytes");
}

void Order(const fuzz::Input& input) {
  uint32_t slots[3] = {7, 8, 9}, expected[3] = {7, 8, 9};
  size_t filled = 0;
  for (const PlainElement& element : input.elements) {
    const uint32_t value = support::PlainNumber(element.bytes);
    if (element.type == 15 && value < 3 && filled < 3) expected[filled++] = value;
  }
  Expect(BYOD_tlv_GetOrder(input.message, slots) == 0, "status of an order");
  Expect(std::memcmp(slots, expected, sizeof slots) == 0, "order");
}

void Nested(const fuzz::Input& input) {
  uintptr_t at = TLV_GetFirst(input.message);
  for (const PlainElement& element : input.elements) {
    const uint32_t sub = BYOD_tlv_GetSubTlv(input.message, at);
    std::vector<PlainElement> inner;
    Expect(support::PlainParse(element.bytes, inner) == (sub != 0), "a nested message");
    if (sub != 0) {
      const uint32_t outer = TLV_Create();
      Expect(BYOD_tlv_PutSubTlv(outer, 1, sub) == 0, "nesting");
      const uint32_t again = BYOD_tlv_GetSubTlv(outer, TLV_GetFirst(outer));
      uintptr_t place = TLV_GetFirst(again);
      for (const PlainElement& one : inner) {
        Expect(TLV_GetTypeByIterator(again, place) == one.type, "a nested type");
        Expect(TLV_GetLenByIterator(again, place) == one.bytes.size(), "a nested length");
        place = TLV_GetNext(again, place);
      }
      Expect(place == 0, "nested elements");
      TLV_Destroy(again);
      TLV_Destroy(outer);
      TLV_Destroy(sub);
    }
    at = TLV_GetNext(input.message, at);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const uint16_t type = data[0];
  const uint32_t cap = data[1];
  const fuzz::Input input(data + 2, size - 2);
  if (input.message == 0) return 0;
  const PlainElement* const code = First(input, 12);
  Expect(BYOD_tlv_GetErrorCode(input.message) ==
             (code != nullptr ? support::PlainNumber(code->bytes) : kFailed),
         "result code");
  const PlainElement* const operation = First(input, 1);
  uint32_t op = 77;
  BYOD_tlv_GetOpType(input.message, &op);
  Expect(op == (operation != nullptr ? support::PlainNumber(operation->bytes) : 77), "operation");
  Numbers(input, type);
  Texts(input, type, cap);
  Order(input);
  Nested(input);
  Expect(BYOD_tlv_ClearTlv(input.message) == 0 && TLV_GetFirst(input.message) == 0, "clearing");
  return 0;
}
