// SPDX-License-Identifier: Apache-2.0
// Prints where this process looks for a database: asks for one that does not exist.
#include <cstdio>

#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"

int main() {
  std::printf("%d %s\n", DBM_Delete("place of a database"), LAUTH_db_ErrorText());
}
