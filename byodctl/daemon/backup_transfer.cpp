// SPDX-License-Identifier: Apache-2.0
#include "byodctl/daemon/backup_transfer.h"

#include "byod_tlv.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

Request Phase(uint32_t phase) {
  Request request(BYOD_OP_SET, BYOD_EXT_MSG_RESTORE);
  request.Number(BYOD_EXT_PHASE, phase);
  return request;
}

}  // namespace

uint64_t ReceiveBackup(Client& client, const std::function<void(const std::string&)>& write) {
  uint64_t total = 0;
  uint64_t received = 0;
  client.Series(Request(BYOD_OP_GET, BYOD_EXT_MSG_BACKUP), [&](const Fields& reply) {
    if (reply.Has(BYOD_EXT_TOTAL)) total = reply.Counter(BYOD_EXT_TOTAL);
    const std::string bytes = reply.Bytes(BYOD_EXT_DATA);
    write(bytes);
    received += bytes.size();
  });
  if (received != total) throw Failure(kExitNoDaemon, "the daemon did not send all of the backup");
  return total;
}

void SendBackup(Client& client, uint64_t total, const std::function<std::string(size_t)>& read) {
  Request begin = Phase(BYOD_PHASE_BEGIN);
  begin.Counter(BYOD_EXT_TOTAL, total);
  client.Ask(begin);
  for (uint64_t sent = 0; sent < total;) {
    const std::string bytes = read(BYOD_EXT_DATA_MAX);
    Request more = Phase(BYOD_PHASE_MORE);
    more.Bytes(BYOD_EXT_DATA, bytes.data(), bytes.size());
    client.Ask(more);
    sent += bytes.size();
  }
  client.Commit(Phase(BYOD_PHASE_COMMIT));
}

}  // namespace byod::ctl
