// SPDX-License-Identifier: Apache-2.0
#include "byodctl/preview/trial.h"

#include "byod_data.h"
#include "byod_tlv.h"
#include "byodctl/daemon/backup_transfer.h"
#include "protocol/extensions.h"

namespace byod::ctl {

std::optional<DaemonSources> SourcesOf(Client& client) {
  const tlv::Message reply = client.Ask(Request(BYOD_OP_GET, BYOD_EXT_MSG_STATUS));
  const Fields status(reply);
  if (!status.Has(BYOD_EXT_CARVED_LIMIT)) return std::nullopt;
  return DaemonSources{status.Text(BYOD_EXT_RULES_DIRECTORY),
                       status.Text(BYOD_EXT_REGISTRY_DIRECTORY),
                       status.Number(BYOD_EXT_RULE_LIMIT, BYOD_NO_RULE_LIMIT),
                       status.Number(BYOD_EXT_CARVED_LIMIT), status.Number(BYOD_EXT_MODULE_MAKERS)};
}

DaemonSources KnownSourcesOf(Client& client) {
  auto sources = SourcesOf(client);
  if (sources) return std::move(*sources);
  throw Failure(kExitRefused, "the daemon is older and does not say which rule files it reads");
}

std::unique_ptr<Trial> CopyOfDaemon(const Settings& settings) {
  Client client(settings);
  auto trial = std::make_unique<Trial>(KnownSourcesOf(client));
  trial->Restore(BackupOf(client));
  return trial;
}

std::string BackupOf(Client& client) {
  std::string backup;
  ReceiveBackup(client, [&](const std::string& bytes) { backup += bytes; });
  return backup;
}

void Trial::Restore(const std::string& backup) {
  daemon_.WaitUntilReady();
  Client client(settings());
  size_t sent = 0;
  SendBackup(client, backup.size(), [&](size_t size) {
    std::string bytes = backup.substr(sent, size);
    sent += bytes.size();
    return bytes;
  });
}

}  // namespace byod::ctl
