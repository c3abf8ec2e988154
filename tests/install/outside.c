// SPDX-License-Identifier: Apache-2.0
/* A program of somebody else's: uses the installed headers and library alone. */
#include <byod_data.h>
#include <byod_order.h>
#include <byod_version.h>
#include <mac.h>
#include <stdio.h>
#include <string.h>

#if BYOD_VERSION_NUMBER < BYOD_VERSION_NUMBER_OF(1, 0, 0)
#error "these are not the headers of 1.0.0 or later"
#endif

int main(void) {
  char name[32];
  uint8_t mac[6];
  ByodOrder order;
  if (MacStringtoMacaddr("0011-2200-0000", mac) != 6) return 1;
  MAC_ToStringForMode(mac, sizeof name, name);
  BYOD_order_SetDefaultOrder(&order);
  printf("%s %u\n", name, (unsigned)BYOD_orderIsDefault(&order));
  return strcmp(name, "byod-mac-001122") != 0;
}
