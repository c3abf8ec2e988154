// SPDX-License-Identifier: Apache-2.0
// Attacks the two tables of rules keyed by text: adding, finding, updating, walking and deleting,
// under a limit, with few keys as well as many, and with counts that are not the lists' length. The
// input decides the steps; after each the lists, chains and counts must be those of a plain model.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "fuzz/stop_on_failure.h"
#include "support/text_rule_table_model.h"

namespace {

using namespace byod::test;

constexpr uint32_t kSmallLimit = 5;
constexpr size_t kMostBytes = 4096;  // every step looks at the whole table

template <typename Rules>
void Run(Choices choices, uint32_t limit, size_t full, bool with_wrong_counts) {
  ASSERT_EQ(BYOD_data_GlobalInfoInit(limit), 0u);
  TextRuleTableRun<Rules> run(choices, limit, full);
  for (size_t step = 0; !run.choices().Spent(); ++step) {
    run.Step();
    if (with_wrong_counts && step % 4 == 3) run.SetWrongCount();
    run.ExpectSameOrders();
  }
  run.ExpectSameRules();
  BYOD_data_GlobalInfoFini();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Choices choices(data, std::min(size, kMostBytes));
  const bool agents = choices.Below(2) == 0;
  const bool with_wrong_counts = choices.Below(4) == 0;
  const uint32_t limit = choices.Below(4) == 0 ? kSmallLimit : BYOD_NO_RULE_LIMIT;
  using Agents = TextRuleTableRun<UserAgentRules>;
  const size_t full =
      choices.Below(2) == 0 ? Agents::kManyRules : 1 + choices.Below(Agents::kFewRules);
  if (agents) {
    Run<UserAgentRules>(choices, limit, full, with_wrong_counts);
  } else {
    Run<DhcpOptionRules>(choices, limit, full, with_wrong_counts);
  }
  return 0;
}
