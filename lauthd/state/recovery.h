// SPDX-License-Identifier: Apache-2.0
// Restores the configuration from the database.
#ifndef LAUTHD_STATE_RECOVERY_H
#define LAUTHD_STATE_RECOVERY_H

#include <cstdint>
#include <set>

#include "lauthd/state/rule_kind.h"

namespace byod::lauthd {

class Authorization;
class IdleRules;

/// Applies everything in the open database to the predefined rules, the default order and an empty
/// authorization; what was configured before is dropped. A stored key that is another spelling of a
/// predefined rule's key is stored again under that one, so that later changes find it. A rule that
/// cannot take effect becomes an idle one. @throws std::bad_alloc  with a part of it applied
void RecoverAll(int32_t handle, IdleRules& idle, Authorization& authorization);

/// Drops what is configured from rules, order and authorization. Needs no memory.
void ForgetConfiguration(IdleRules& idle, Authorization& authorization);

/// Only updates the spelling of stored keys, after the predefined rules have changed.
void TidyAll(int32_t handle, IdleRules& idle);

/// @return the keys that the database holds as modifications of predefined rules; none without one
template <typename Kind>
std::set<typename Kind::Key, DatabaseOrder<Kind>> StoredModifications(int32_t handle);

/// What is known of a backup that is being validated.
struct BackupCheck {
  uint32_t rule_limit;
  uint32_t custom_rules = 0;
  const char* fault = nullptr;  // why it is refused, for people
};

/// Validates one record of a backup before it is restored, as a request for it would be; a callback
/// of the database. @param context  a BackupCheck; @return 0 for a valid record
int32_t CheckRestored(void* context, const void* key, uint32_t key_length, uint32_t kind,
                      const void* data, uint32_t length);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RECOVERY_H
