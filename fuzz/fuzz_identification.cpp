// SPDX-License-Identifier: Apache-2.0
// Attacks whole identifications: BYOD_data_GetDeviceAttributeByFingerPrint, its two companions and
// what they log. The input decides the rules, the orders and the terminals; answers and log lines
// must be those of a plain model.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "fuzz/stop_on_failure.h"
#include "support/identification_model.h"

using namespace byod::test;

namespace {

constexpr size_t kMaxBytes = 4096;  // longer inputs reach nothing new

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT) != 0) __builtin_trap();
  BYOD_order_Init();
  IdentificationRun run{Choices(data, std::min(size, kMaxBytes))};
  Choices& choices = run.choices();
  const auto slot = [&] { return static_cast<uint32_t>(choices.Below(5)); };
  while (!choices.Spent()) {
    switch (choices.Below(8)) {
      case 0:
        run.SetOrder({slot(), slot(), slot()});
        break;
      case 1:
      case 2:
        run.AddRules();
        break;
      default:
        run.CompareSomeTerminal();
    }
  }
  BYOD_data_GlobalInfoFini();
  return 0;
}
