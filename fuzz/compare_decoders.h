// SPDX-License-Identifier: Apache-2.0
// Runs decoders of the library and the plain reading over the same elements and stops the program
// where they differ.
#ifndef BYOD_FUZZ_COMPARE_DECODERS_H
#define BYOD_FUZZ_COMPARE_DECODERS_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

#include "lauth_tlv.h"
#include "support/decoders.h"
#include "support/plain_decoder.h"

namespace fuzz {

inline void Expect(bool truth, const char* what) {
  if (truth) return;
  std::fprintf(stderr, "differs: %s\n", what);
  std::abort();
}

/// A message in both readings. The input is what stands behind a message's header.
struct Input {
  Input(const uint8_t* data, size_t size)
      : bytes(support::WithHeader(std::string(reinterpret_cast<const char*>(data), size))),
        message(TLV_CreateReceiveMsg(TLV_MODE_MEMORY, reinterpret_cast<uintptr_t>(bytes.data()),
                                     static_cast<uint32_t>(bytes.size()))) {
    Expect(support::PlainParse(bytes, elements) == (message != 0), "the container");
  }
  ~Input() {
    if (message != 0) TLV_Destroy(message);
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  std::string bytes;
  std::vector<support::PlainElement> elements;
  uint32_t message;
};

/// Decodes with each of the named decoders, over bytes of two kinds so that an unwritten one shows.
inline void Compare(const Input& input, std::initializer_list<const char*> names) {
  size_t found = 0;
  for (const support::Decoder& decoder : support::AllDecoders()) {
    const auto is_it = [&](const char* name) {
      return std::string(decoder.name).rfind(name, 0) == 0 &&
             (decoder.name[std::string(name).size()] == '\0' ||
              decoder.name[std::string(name).size()] == ' ');
    };
    if (std::none_of(names.begin(), names.end(), is_it)) continue;
    ++found;
    for (const int fill : {0x00, 0xA5}) {
      support::Records records(fill), expected(fill);
      const uint32_t status = decoder.decode(input.message, records);
      Expect(status == support::PlainDecode(decoder, input.elements, expected), decoder.name);
      Expect(records == expected, decoder.name);
    }
  }
  Expect(found >= names.size(), "a decoder is missing");
}

}  // namespace fuzz

#endif  // BYOD_FUZZ_COMPARE_DECODERS_H
