// SPDX-License-Identifier: Apache-2.0
// Laid before the library of a daemon under test: a request for the number of MAC rules never comes
// back.
#include <stdint.h>

uint32_t BYOD_data_GetMacRuleCount(void);

uint32_t BYOD_data_GetMacRuleCount(void) {
  static volatile int forever = 1;
  while (forever) {
  }
  return 0;
}
