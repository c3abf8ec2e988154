// SPDX-License-Identifier: Apache-2.0
// byodctl backup, byodctl restore
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/commands/backup_file.h"
#include "byodctl/daemon/client.h"
#include "byodctl/text/json.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string file;
  bool force = false;
  bool json = false;
};

[[noreturn]] void FailOn(const std::string& file) {
  throw Failure(kExitBadInput, file + ": " + std::strerror(errno));
}

int Report(uint64_t bytes, const Options& options) {
  if (options.json) WriteJsonLine({{"file", options.file}, {"bytes", bytes}});
  return kExitSuccess;
}

int Backup(const Options& options, const Settings& settings) {
  Client client(settings);
  BackupFile file(options.file, options.force);
  if (options.json && file.is_standard_output()) {
    throw Failure(kExitBadInput, "--json and a backup to standard output exclude each other");
  }
  uint64_t total = 0;
  uint64_t received = 0;
  client.Series(Request(BYOD_OP_GET, BYOD_EXT_MSG_BACKUP), [&](const Fields& reply) {
    if (reply.Has(BYOD_EXT_TOTAL)) total = reply.Counter(BYOD_EXT_TOTAL);
    const std::string bytes = reply.Bytes(BYOD_EXT_DATA);
    file.Write(bytes);
    received += bytes.size();
  });
  if (received != total) throw Failure(kExitNoDaemon, "the daemon did not send all of the backup");
  file.Finish();
  return Report(received, options);
}

Request Phase(uint32_t phase) {
  Request request(BYOD_OP_SET, BYOD_EXT_MSG_RESTORE);
  request.Number(BYOD_EXT_PHASE, phase);
  return request;
}

/// Sends a file of this size to the daemon, which checks it before it changes anything.
void Send(Client& client, const Descriptor& file, uint64_t total, const std::string& name) {
  Request begin = Phase(BYOD_PHASE_BEGIN);
  begin.Counter(BYOD_EXT_TOTAL, total);
  client.Ask(begin);
  std::vector<char> bytes(BYOD_EXT_DATA_MAX);
  for (uint64_t sent = 0; sent < total;) {
    const ssize_t got = read(file.get(), bytes.data(), bytes.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) FailOn(name);
    if (got == 0) throw Failure(kExitBadInput, name + ": became shorter while it was read");
    Request more = Phase(BYOD_PHASE_MORE);
    more.Bytes(BYOD_EXT_DATA, bytes.data(), static_cast<size_t>(got));
    client.Ask(more);
    sent += static_cast<uint64_t>(got);
  }
  client.Ask(Phase(BYOD_PHASE_COMMIT));
}

int Restore(const Options& options, const Settings& settings) {
  const Descriptor file(open(options.file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status = {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0) FailOn(options.file);
  if (!S_ISREG(status.st_mode)) throw Failure(kExitBadInput, options.file + ": not a regular file");
  Client client(settings);
  char header[kBackupHeaderSize];
  const ssize_t got = pread(file.get(), header, sizeof header, 0);
  if (got < 0) FailOn(options.file);
  if (!IsBackupHeader({header, static_cast<size_t>(got)})) {
    throw Failure(kExitBadInput, options.file + ": not a backup");
  }
  const auto total = static_cast<uint64_t>(status.st_size);
  try {
    Send(client, file, total, options.file);
  } catch (const Refusal& refusal) {
    // The daemon does not know the file's name.
    throw Failure(refusal.status(), options.file + ": " + refusal.what());
  }
  return Report(total, options);
}

}  // namespace

Run DefineBackup(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "Saves what an administrator configured: rules, order and authorization, as they are at one "
      "moment. An\nexisting backup is replaced when the new one is complete; another file only "
      "with "
      "--force. A device or a\nFIFO is written to as it is.");
  parser.AddText("FILE", options->file, "Where to; - for standard output").Required();
  parser.AddFlag("--force", options->force, "Replace FILE even if it is read-only or not a backup");
  AddJsonOption(parser, options->json, "file, bytes");
  return [options, &settings] { return Backup(*options, settings); };
}

Run DefineRestore(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  parser.AddToHelp(
      "Replaces rules, order and authorization by those of the backup. The daemon checks all of it "
      "first; when\nit refuses, nothing changes.");
  parser.AddText("FILE", options->file, "A backup").Required();
  AddJsonOption(parser, options->json, "file, bytes");
  return [options, &settings] { return Restore(*options, settings); };
}

}  // namespace byod::ctl
