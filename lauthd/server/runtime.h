// SPDX-License-Identifier: Apache-2.0
// What all connections share.
#ifndef LAUTHD_SERVER_RUNTIME_H
#define LAUTHD_SERVER_RUNTIME_H

#include <sys/types.h>

#include <array>
#include <asio/io_context.hpp>
#include <chrono>
#include <cstdint>
#include <optional>

#include "lauthd/server/access.h"
#include "lauthd/server/connections.h"
#include "lauthd/state/shared_places.h"
#include "lauthd/state/state.h"

namespace byod::lauthd {

/// Everything happens on one thread.
struct Runtime {
  /// @throws std::runtime_error  for a group that does not exist
  explicit Runtime(const Options& options)
      : state(options),
        admin_group(FindGroup(options.admin_group)),
        feed_group(FindGroup(options.feed_group)),
        idle_timeout(std::chrono::seconds(options.idle_timeout)),
        bulk_timeout(std::chrono::seconds(options.bulk_timeout)),
        places(options.max_connections, options.user_share) {}

  State state;
  const std::optional<gid_t> admin_group;
  const std::optional<gid_t> feed_group;
  const std::chrono::steady_clock::duration idle_timeout;
  const std::chrono::steady_clock::duration bulk_timeout;
  SharedPlaces places;  // of connections
  Connections connections;

  /// For bytes between the kernel and a message; not kept over a wait.
  std::array<uint8_t, 65536> scratch;

  // The last member: coroutines of clients are destroyed before what they use.
  asio::io_context io{1};
};

}  // namespace byod::lauthd

#endif  // LAUTHD_SERVER_RUNTIME_H
