#include "lauthd/connections.h"

#include "lauthd/connection.h"

namespace byod::lauthd {

// Closing a connection only ends what it waits for; it leaves the list later.

void Connections::CloseOverdue(Clock::time_point now) {
  for (Connection* connection : connections_) {
    if (connection->deadline() < now) connection->Close();
  }
}

void Connections::CloseAll() {
  for (Connection* connection : connections_)
    connection->Close();
}

}  // namespace byod::lauthd
