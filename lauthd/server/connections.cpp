// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/connections.h"

namespace byod::lauthd {

void Connections::EndOverdue(Clock::time_point now) {
  for (Client* client : clients_) {
    if (client->deadline() < now) client->EndOverdue();
  }
}

void Connections::CloseAll() {
  deferred_.clear();
  turns_.clear();
  for (Client* client : clients_)
    client->Close();
}

void Connections::ContinueDeferred() {
  for (const auto& client : std::exchange(deferred_, {}))
    client->Continue();
}

void Connections::GiveTurn() {
  const std::shared_ptr<Client> client = std::move(turns_.front());
  turns_.pop_front();
  client->TakeTurn();
}

}  // namespace byod::lauthd
