// Many changes that take effect together.
#ifndef BYODCTL_DAEMON_BULK_H
#define BYODCTL_DAEMON_BULK_H

#include <cstdint>
#include <vector>

#include "byodctl/daemon/client.h"

namespace byod::ctl {

/// Begun with the object. Without a commit the daemon takes all of it back; plain changes on the
/// same connection belong to it.
class Bulk {
 public:
  explicit Bulk(Client& client);

  /// @return the code of each change, in their order. @throws Refusal
  std::vector<uint32_t> Apply(const std::vector<Request>& changes);

  void Commit();
  void TakeBack();

 private:
  Client& client_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_DAEMON_BULK_H
