// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/backup_requests.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "lauthd/requests/restore_upload.h"
#include "lauthd/requests/session.h"
#include "net/descriptor.h"
#include "net/scratch_directory.h"
#include "protocol/counter.h"

namespace byod::lauthd {
namespace {

constexpr uint64_t kMaxBackup = 1ull << 30;

/// The pieces of a file that has been unlinked.
class FileSeries : public Series {
 public:
  FileSeries(net::Descriptor file, uint64_t size) : file_(std::move(file)), size_(size) {}

  bool HoldsFile() const override { return true; }

  bool Next(Pieces& pieces, bool& more) override {
    if (sent_ == 0) {
      std::array<uint8_t, protocol::kCounterSize> total;
      protocol::StoreCounter(size_, total.data());
      if (!pieces.AddBytes(BYOD_EXT_TOTAL, total.data(), total.size())) return false;
    }
    std::array<uint8_t, BYOD_EXT_DATA_MAX> piece;
    const ssize_t got = pread(file_.get(), piece.data(), piece.size(), static_cast<off_t>(sent_));
    if (got < 0 || (got == 0 && sent_ < size_)) return false;
    if (got > 0 && !pieces.AddBytes(BYOD_EXT_DATA, piece.data(), static_cast<size_t>(got))) {
      return false;
    }
    sent_ += static_cast<uint64_t>(got);
    more = sent_ < size_;
    return true;
  }

 private:
  net::Descriptor file_;
  uint64_t size_;
  uint64_t sent_ = 0;
};

Result CannotWrite(const std::string& where) {
  return Refused(BYOD_REFUSAL_NOT_SAVED, "cannot write in " + where + ": " + std::strerror(errno));
}

Result NoDatabase() {
  return Refused(BYOD_REFUSAL_NOT_FOUND, "the daemon runs without a database");
}

Result BeginRestore(Exchange& exchange) {
  if (exchange.state.options.no_database) return NoDatabase();
  uint64_t total = 0;
  if (!protocol::GetCounter(exchange.request, BYOD_EXT_TOTAL, total) || total > kMaxBackup) {
    return Refused(BYOD_REFUSAL_MALFORMED, "the size is missing or too large");
  }
  const std::string& directory = exchange.state.store.directory();
  auto upload = std::make_unique<RestoreUpload>(directory, total);
  if (!upload->Ready()) return CannotWrite(directory);
  exchange.session.upload = std::move(upload);
  return {};
}

Result AddToRestore(Exchange& exchange) {
  for (uintptr_t element = TLV_GetFirst(exchange.request); element != 0;
       element = TLV_GetNext(exchange.request, element)) {
    if (TLV_GetTypeByIterator(exchange.request, element) != BYOD_EXT_DATA) continue;
    std::vector<uint8_t> bytes(TLV_GetLenByIterator(exchange.request, element));
    if (TLV_GetValueByIterator(exchange.request, element, static_cast<uint16_t>(bytes.size()),
                               bytes.data()) != 0 ||
        !exchange.session.upload->Add(bytes.data(), bytes.size())) {
      exchange.session.upload.reset();
      return Refused(BYOD_REFUSAL_BAD_DATA,
                     "the data cannot be written, or is more than was announced");
    }
  }
  return {};
}

Result CommitRestore(Exchange& exchange) {
  const auto upload = std::move(exchange.session.upload);
  if (!upload->Whole()) return Refused(BYOD_REFUSAL_BAD_DATA, "the data is incomplete");
  State& state = exchange.state;
  return state.store.Restore(upload->file(), state.options.rule_limit);
}

}  // namespace

Result SendBackup(Exchange& exchange) {
  if (exchange.state.options.no_database) return NoDatabase();
  if (exchange.state.bulk.Open()) return Refused(BYOD_REFUSAL_BUSY, "a bulk is open");
  Store& store = exchange.state.store;
  const net::ScratchDirectory directory(store.directory() + "/.lauthd-");
  if (!directory) return CannotWrite(store.directory());
  const std::string copy = directory / "database";
  if (Result made = store.Backup(copy); !made.Ok()) return made;
  net::Descriptor file(open(copy.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status;
  if (!file || fstat(file.get(), &status) != 0) return CannotWrite(store.directory());
  exchange.series =
      std::make_unique<FileSeries>(std::move(file), static_cast<uint64_t>(status.st_size));
  return {};
}

Result TakeRestore(Exchange& exchange) {
  uint32_t phase = UINT32_MAX;
  BYOD_tlv_GetUINTValueByType(exchange.request, BYOD_EXT_PHASE, &phase);
  if (phase == BYOD_PHASE_BEGIN) return BeginRestore(exchange);
  if (!exchange.session.upload) return Refused(BYOD_REFUSAL_BUSY, "no restore is in progress");
  switch (phase) {
    case BYOD_PHASE_MORE:
      return AddToRestore(exchange);
    case BYOD_PHASE_COMMIT:
      if (exchange.state.bulk.Open()) return Refused(BYOD_REFUSAL_BUSY, "a bulk is open");
      return CommitRestore(exchange);
    case BYOD_PHASE_ABORT:
      exchange.session.upload.reset();
      return {};
    default:
      return Refused(BYOD_REFUSAL_MALFORMED, "unknown phase");
  }
}

}  // namespace byod::lauthd
