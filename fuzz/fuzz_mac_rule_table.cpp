// SPDX-License-Identifier: Apache-2.0
// Attacks the table of MAC rules: adding, finding, updating, walking and deleting, with prefixes
// that a new rule may overlap. The input decides the steps; after each the tree and the counts must
// be those of a plain map.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "fuzz/stop_on_failure.h"
#include "support/mac_rule_table_model.h"

using namespace byod::test;

namespace {

constexpr size_t kMostBytes = 4096;  // every step looks at the whole table

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Choices choices(data, std::min(size, kMostBytes));
  const uint32_t limit = choices.Below(4) == 0 ? 5 : BYOD_NO_RULE_LIMIT;
  if (BYOD_data_GlobalInfoInit(limit) != 0) __builtin_trap();
  const size_t full = choices.Below(2) == 0 ? MacRuleTableRun::kManyRules : 1 + choices.Below(60);
  MacRuleTableRun run(choices, limit, full);
  while (!run.choices().Spent()) {
    run.Step();
    run.ExpectSame();
  }
  BYOD_data_GlobalInfoFini();
  return 0;
}
