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
#include "byodctl/daemon/backup_transfer.h"
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
  const uint64_t total =
      ReceiveBackup(client, [&](const std::string& bytes) { file.Write(bytes); });
  file.Finish();
  return Report(total, options);
}

/// The next bytes of a file, at most that many.
std::string ReadSome(const Descriptor& file, size_t size, const std::string& name) {
  std::string bytes(size, '\0');
  ssize_t got = -1;
  do {
    got = read(file.get(), bytes.data(), size);
  } while (got < 0 && errno == EINTR);
  if (got < 0) FailOn(name);
  if (got == 0) throw Failure(kExitBadInput, name + ": became shorter while it was read");
  bytes.resize(static_cast<size_t>(got));
  return bytes;
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
    SendBackup(client, total, [&](size_t size) { return ReadSome(file, size, options.file); });
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
