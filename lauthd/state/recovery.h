// Bringing back what the database holds.
#ifndef LAUTHD_STATE_RECOVERY_H
#define LAUTHD_STATE_RECOVERY_H

#include <cstdint>
#include <set>

#include "lauthd/state/rule_kind.h"

namespace byod::lauthd {

class Authorization;
class IdleRules;

/// Lays everything in the open database over the predefined rules, the default order and no
/// authorization, whatever was configured before. Where a stored key has become another spelling of
/// a predefined rule's key, it is stored anew under that one, so that later changes find it. A rule
/// for which there is no place becomes an idle one.
void RecoverAll(int32_t handle, IdleRules& idle, Authorization& authorization);

/// That last part alone, for a time when the predefined rules have changed.
void TidyAll(int32_t handle, IdleRules& idle);

/// @return the keys that the database holds as modifications of predefined rules; none without one
template <typename Kind>
std::set<typename Kind::Key, DatabaseOrder<Kind>> StoredModifications(int32_t handle);

/// Judges one record of a backup before it is restored, as the database calls it. @return 0 if it
/// is one of ours
int32_t CheckRestored(void* context, const void* key, uint32_t key_length, uint32_t kind,
                      const void* data, uint32_t length);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_RECOVERY_H
