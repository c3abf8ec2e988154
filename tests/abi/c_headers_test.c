// SPDX-License-Identifier: Apache-2.0
/* The library as C sees it: every header in one C99 source, and one rule from adding to the answer.
 */
#include <stdio.h>
#include <string.h>

#include "byod_cfgmsg.h"
#include "byod_data.h"
#include "byod_db.h"
#include "byod_lauthservice.h"
#include "byod_order.h"
#include "byod_tlv.h"
#include "lauth_avl.h"
#include "lauth_dbm.h"
#include "lauth_debug.h"
#include "lauth_hash.h"
#include "lauth_text.h"
#include "lauth_tlv.h"
#include "mac.h"

int main(void) {
  ByodMacRule probe;
  ByodDeviceInfo info;
  ByodFingerPrint terminal;
  ByodDeviceAttribute attribute;
  memset(&probe, 0, sizeof probe);
  memset(&info, 0, sizeof info);
  memset(&terminal, 0, sizeof terminal);
  memset(&attribute, 0, sizeof attribute);

  if (BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT) != 0 || BYOD_order_Init() != 0) return 1;
  memcpy(probe.mac, "\x00\x11\x22", 3);
  memcpy(probe.mask, "\xFF\xFF\xFF", 3);
  strcpy(info.vendor, "Example");
  BYOD_data_AddFileMacRule(&probe, &info);

  memcpy(terminal.mac, "\x00\x11\x22\x33\x44\x55", 6);
  if (BYOD_data_GetDeviceAttributeByFingerPrint(&terminal, &attribute) != 0) return 1;
  BYOD_data_GlobalInfoFini();
  printf("%s\n", attribute.vendor);
  return strcmp(attribute.vendor, "Example") != 0;
}
