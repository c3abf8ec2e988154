// SPDX-License-Identifier: Apache-2.0
// Attacks BYOD_data_GetDhcpOption55String. The first two bytes of the input are the size of the
// output, the others the option list; result and output must be those of a plain reading.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "support/plain_option_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const uint32_t out_size = (data[0] << 8 | data[1]) % 1200u;
  const byod::test::Bytes options(data + 2, data + std::min<size_t>(size, 2 + 300));
  if (!(byod::test::Format(options, out_size) == byod::test::Plainly(options, out_size))) {
    std::abort();
  }
  return 0;
}
