// SPDX-License-Identifier: Apache-2.0
// Many changes that take effect together.
#ifndef BYODCTL_DAEMON_BULK_H
#define BYODCTL_DAEMON_BULK_H

#include <cstdint>
#include <vector>

#include "byodctl/daemon/client.h"

namespace byod::ctl {

/// Begins with the object. Without a commit the daemon rolls all of it back. Plain changes on the
/// same connection belong to it.
class Bulk {
 public:
  explicit Bulk(Client& client);

  /// @return the result code of each change. @throws Refusal
  std::vector<uint32_t> Apply(const std::vector<Request>& changes);

  void Commit();
  void RollBack();

 private:
  Client& client_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_DAEMON_BULK_H
