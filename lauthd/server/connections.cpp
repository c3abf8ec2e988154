// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/connections.h"

#include <algorithm>

namespace byod::lauthd {

void Connections::CloseOverdue(Clock::time_point now) {
  for (Client* client : clients_) {
    if (client->deadline() < now) client->Close();
  }
}

bool Connections::CloseLongestIdle() {
  const auto idle = std::ranges::find_if(clients_, &Client::Idle);
  if (idle == clients_.end()) return false;
  (*idle)->Close();
  return true;
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
