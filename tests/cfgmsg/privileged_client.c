// SPDX-License-Identifier: Apache-2.0
/* Prints the path under which the library looks for the daemon, which LAUTHD_SOCKET changes unless
 * the program is a privileged one. */
#include <stdio.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "byod_cfgmsg.h"

/* Takes the place of the system's. */
int connect(int descriptor, const struct sockaddr* address, socklen_t length) {
  (void)descriptor;
  (void)length;
  puts(((const struct sockaddr_un*)(const void*)address)->sun_path);
  return 0;
}

int main(void) {
  const int connection = BYOD_Init();
  BYOD_Fini(connection);
  return connection < 0;
}
