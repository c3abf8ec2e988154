// SPDX-License-Identifier: Apache-2.0
#include "lauthd/stations/station_keeper.h"

#include <new>
#include <utility>

#include "lauthd/log.h"
#include "lauthd/stations/station_record.h"

namespace byod::lauthd {
namespace {

constexpr std::chrono::seconds kWriteInterval{5};
constexpr std::chrono::seconds kRetryInterval{30};
constexpr size_t kSoon = 256;
// Encoded in one go, between requests.
constexpr size_t kMaxBatch = 256;

}  // namespace

void StationKeeper::Load() {
  try {
    database_.Load([this](std::string_view record) { return DecodeStation(stations_, record); });
  } catch (const std::bad_alloc&) {
    Log(Severity::kError, "no memory for all stations");
  }
}

void StationKeeper::Note(const Station& station) {
  // A disk that fails for long must not fill the memory.
  if (changed_.size() >= 4 * stations_.limits().stations) return BeginAgain();
  changed_.push_back(station.mac);
}

/// Drops the list of what has changed, and stores everything that is there.
void StationKeeper::BeginAgain() {
  changed_.clear();
  from_scratch_ = true;
  for (size_t place = 0; place < stations_.table().places(); ++place) {
    if (const Station* const station = stations_.table().AtPlace(place)) {
      changed_.push_back(station->mac);
    }
  }
}

StationBatch StationKeeper::TakeBatch() {
  StationBatch batch;
  batch.from_scratch = std::exchange(from_scratch_, false);
  while (!changed_.empty() && batch.entries.size() < kMaxBatch) {
    const uint64_t mac = changed_.front();
    changed_.pop_front();
    Station* const station = stations_.table().Find(mac);
    if (station == nullptr) {
      batch.entries.push_back({mac, 0, {}});
    } else {
      station->is_unsaved = false;
      batch.entries.push_back({mac, station->last, EncodeStation(stations_, *station)});
    }
  }
  return batch;
}

bool StationKeeper::Tick(Clock::time_point now) {
  const StationDatabase::Status status = database_.Poll();
  if (status == StationDatabase::Status::kBusy) return changed_.size() >= kSoon;
  if (status == StationDatabase::Status::kFailed) {
    retry_ = now + kRetryInterval;
    BeginAgain();
  }
  if (now < retry_ || (changed_.empty() && !from_scratch_)) return false;
  if (changed_.size() < kSoon && now - last_write_ < kWriteInterval) return false;
  last_write_ = now;
  database_.Write(TakeBatch());
  return changed_.size() >= kSoon;
}

void StationKeeper::Finish() {
  database_.Wait();
  if (database_.Poll() == StationDatabase::Status::kFailed) BeginAgain();
  while (!changed_.empty() || from_scratch_) {
    database_.Write(TakeBatch());
    database_.Wait();
    if (database_.Poll() == StationDatabase::Status::kFailed) return BeginAgain();
  }
}

}  // namespace byod::lauthd
