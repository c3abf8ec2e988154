#include "lauthd/server/connections.h"

#include <algorithm>

#include "lauthd/server/connection.h"

namespace byod::lauthd {

// Closing a connection only ends what it waits for; it leaves the list later.

void Connections::CloseOverdue(Clock::time_point now) {
  for (Connection* connection : connections_) {
    if (connection->deadline() < now) connection->Close();
  }
}

bool Connections::CloseLongestIdle() {
  const auto idle = std::find_if(connections_.begin(), connections_.end(),
                                 [](const Connection* connection) { return connection->Idle(); });
  if (idle == connections_.end()) return false;
  (*idle)->Close();
  return true;
}

void Connections::CloseAll() {
  for (Connection* connection : connections_)
    connection->Close();
}

}  // namespace byod::lauthd
