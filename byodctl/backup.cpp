// byodctl backup, byodctl restore
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "byod_tlv.h"
#include "byodctl/client.h"
#include "byodctl/command.h"
#include "byodctl/json_line.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

struct Options {
  std::string file;
  bool json = false;
};

[[noreturn]] void FailOn(const std::string& file) {
  throw Failure(kExitBadInput, file + ": " + std::strerror(errno));
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return number_; }
  bool Close() { return number_ < 0 || close(std::exchange(number_, -1)) == 0; }

 private:
  int number_;
};

/// A file that appears under its name when it is whole, and not before.
class NewFile {
 public:
  explicit NewFile(const std::string& name)
      : name_(name), draft_(name + ".XXXXXX"), file_(mkstemp(draft_.data())) {
    if (file_.get() < 0) FailOn(name_);
  }
  ~NewFile() {
    if (!draft_.empty()) unlink(draft_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void Write(const std::string& bytes) {
    for (size_t done = 0; done < bytes.size();) {
      const ssize_t written = write(file_.get(), bytes.data() + done, bytes.size() - done);
      if (written < 0 && errno != EINTR) FailOn(name_);
      if (written > 0) done += static_cast<size_t>(written);
    }
  }

  void Finish() {
    if (fsync(file_.get()) != 0 || !file_.Close()) FailOn(name_);
    if (rename(draft_.c_str(), name_.c_str()) != 0) FailOn(name_);
    draft_.clear();
  }

 private:
  std::string name_;
  std::string draft_;
  Descriptor file_;
};

int Report(uint64_t bytes, const Options& options) {
  if (options.json) WriteJsonLine({{"file", options.file}, {"bytes", bytes}});
  return kExitSuccess;
}

int Backup(const Options& options, const Settings& settings) {
  Client client(settings);
  NewFile file(options.file);
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

int Restore(const Options& options, const Settings& settings) {
  const Descriptor file(open(options.file.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status = {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0) FailOn(options.file);
  if (!S_ISREG(status.st_mode)) throw Failure(kExitBadInput, options.file + ": not a file");
  const auto total = static_cast<uint64_t>(status.st_size);
  Client client(settings);
  Request begin = Phase(BYOD_PHASE_BEGIN);
  begin.Counter(BYOD_EXT_TOTAL, total);
  client.Ask(begin);
  std::vector<char> bytes(BYOD_EXT_DATA_MAX);
  for (uint64_t sent = 0; sent < total;) {
    const ssize_t got = read(file.get(), bytes.data(), bytes.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) FailOn(options.file);
    if (got == 0) throw Failure(kExitBadInput, options.file + ": became shorter meanwhile");
    Request more = Phase(BYOD_PHASE_MORE);
    more.Bytes(BYOD_EXT_DATA, bytes.data(), static_cast<size_t>(got));
    client.Ask(more);
    sent += static_cast<uint64_t>(got);
  }
  client.Ask(Phase(BYOD_PHASE_COMMIT));
  return Report(total, options);
}

}  // namespace

Run DefineBackup(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer(
      "What an administrator configured: rules, order and authorization, as they are at one "
      "moment while\nthe daemon runs. An old FILE is replaced when the backup is whole.");
  app.add_option("FILE", options->file, "Where to; only its owner may read it")->required();
  app.add_flag("--json", options->json, "Write JSON: file, bytes");
  return [options, &settings] { return Backup(*options, settings); };
}

Run DefineRestore(CLI::App& app, const Settings& settings) {
  const auto options = std::make_shared<Options>();
  app.footer(
      "The daemon checks all of it before it replaces anything: rules, order and "
      "authorization are then\nthose of the backup. Refused, everything is as before.");
  app.add_option("FILE", options->file, "A backup")->required();
  app.add_flag("--json", options->json, "Write JSON: file, bytes");
  return [options, &settings] { return Restore(*options, settings); };
}

}  // namespace byod::ctl
