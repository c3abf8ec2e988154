// SPDX-License-Identifier: Apache-2.0
// Attacks TLV_CreateReceiveMsg on memory and TLV_Stream_MessageLength, with arbitrary bytes.
//
// What is accepted must say the same when it is written and read again, element by element, and its
// written form must be the bytes that it came from. The first element's deletion must take just
// that element away.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "lauth_tlv.h"
#include "lauth_tlv_stream.h"

namespace {

using Bytes = std::vector<uint8_t>;

void Expect(bool truth) {
  if (!truth) std::abort();
}

uintptr_t Address(const void* at) {
  return reinterpret_cast<uintptr_t>(at);
}

uint32_t Read(const uint8_t* data, size_t size) {
  return TLV_CreateReceiveMsg(TLV_MODE_MEMORY, Address(data), static_cast<uint32_t>(size));
}

Bytes Write(uint32_t msg) {
  const uint32_t size = TLV_GetMsgLen(msg, TLV_MODE_MEMORY);
  Bytes bytes(size);
  Expect(TLV_Flush(msg, TLV_MODE_MEMORY, size, Address(bytes.data())) == size);
  return bytes;
}

Bytes Value(uint32_t msg, uintptr_t at) {
  Bytes value(TLV_GetLenByIterator(msg, at));
  Expect(TLV_GetValueByIterator(msg, at, static_cast<uint16_t>(value.size()), value.data()) == 0);
  return value;
}

// The size of both, element by element.
size_t ExpectSame(uint32_t a, uint32_t b, uintptr_t at_a, uintptr_t at_b) {
  size_t size = 8;
  for (; at_a != 0 && at_b != 0; at_a = TLV_GetNext(a, at_a), at_b = TLV_GetNext(b, at_b)) {
    Expect(TLV_GetTypeByIterator(a, at_a) == TLV_GetTypeByIterator(b, at_b));
    Expect(TLV_GetUINTByIterator(a, at_a) == TLV_GetUINTByIterator(b, at_b));
    const Bytes value = Value(a, at_a);
    Expect(value == Value(b, at_b));
    size += 4 + value.size();
  }
  Expect(at_a == 0 && at_b == 0);
  return size;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const int64_t length = TLV_Stream_MessageLength(data, size);
  const uint32_t first = Read(data, size);
  if (first == 0) return 0;
  Expect(length >= TLV_STREAM_HEADER && length <= static_cast<int64_t>(size));

  const Bytes written = Write(first);
  Expect(written.size() == static_cast<size_t>(length));
  Expect(std::memcmp(written.data(), data, written.size()) == 0);
  const uint32_t second = Read(written.data(), written.size());
  Expect(second != 0);
  const uintptr_t begin = TLV_GetFirst(second);
  Expect(ExpectSame(first, second, TLV_GetFirst(first), begin) == written.size());

  if (begin != 0) {
    const uintptr_t rest = TLV_GetNext(second, begin);
    Expect(TLV_Delete_Data(second, begin) == 0);
    Expect(TLV_GetFirst(second) == rest);
    ExpectSame(first, second, TLV_GetNext(first, TLV_GetFirst(first)), rest);
    const Bytes shorter = Write(second);
    const uint32_t third = Read(shorter.data(), shorter.size());
    ExpectSame(second, third, TLV_GetFirst(second), TLV_GetFirst(third));
    Expect(TLV_Destroy(third) == 0);
  }
  Expect(TLV_Destroy(first) == 0);
  Expect(TLV_Destroy(second) == 0);
  return 0;
}
