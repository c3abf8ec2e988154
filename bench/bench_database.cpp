// SPDX-License-Identifier: Apache-2.0
// What does it cost to keep a change?
//
//   save/database  BYOD_db_AddUAValue of a new rule's record: the time in the middle of many
//   save/append    the same bytes written to the end of a file, and flushed with fdatasync
//   request/daemon a new rule asked of the daemon, which answers when it is kept
//
// and figures: how often a change flushes, what ten thousand rules cost to save one by one and in
// one transaction, the size of their database, and what lauthd says that a start takes with them.
//
// Every flush of this process is counted: fsync and fdatasync are this program's. What was saved
// must be what a recovery finds. The directory is in BYOD_BENCH_DIRECTORY, else in /tmp, which
// should lie on the disk that is asked about.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>

#include "byod_db.h"
#include "byod_order.h"
#include "byod_tlv.h"
#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "lauth_text.h"
#include "peers.h"
#include "ratio_report.h"
#include "real_strings.h"
#include "tlv/message.h"

namespace {

std::atomic<uint64_t> flushes{0};

}  // namespace

// In place of the C library's, for the database as well.
extern "C" int fsync(int fd) {
  ++flushes;
  return static_cast<int>(syscall(SYS_fsync, fd));
}

extern "C" int fdatasync(int fd) {
  ++flushes;
  return static_cast<int>(syscall(SYS_fdatasync, fd));
}

namespace byod::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Record = ByodTextRuleShowRec;

constexpr size_t kRules = 10000;
constexpr int kChangesInABatch = 100;
constexpr int kBatches = 9;
constexpr size_t kCounted = 3000;  // more than the log holds before it is moved
constexpr int kStarts = 7;

std::vector<Record> records;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void MakeRecords() {
  // More than needed, as rules are the same without regard to case.
  std::set<std::string> folded;
  for (const std::string& text : Expressions(UserAgents(30000, Seed()), 2 * kRules, Seed())) {
    Record record = {};
    std::strncpy(record.text, text.c_str(), sizeof record.text - 1);
    std::string fold = record.text;
    if (!folded.insert(lowercase(fold.data())).second) continue;
    const size_t i = records.size();
    if (i == kRules) break;
    std::snprintf(record.info.name, sizeof record.info.name, "Device %zu", i);
    std::snprintf(record.info.vendor, sizeof record.info.vendor, "Vendor %zu", i);
    std::strcpy(record.info.category, "Mobile");
    std::strcpy(record.info.os, "Android");
    records.push_back(record);
  }
  Require(records.size() == kRules, "too few expressions");
}

/// The database of this process, in a directory of its own.
class OpenDatabase {
 public:
  explicit OpenDatabase(const std::string& directory) {
    LAUTH_db_SetDirectory(directory.c_str());
    Require(BYOD_db_OpenCfgDBM() == 0, LAUTH_db_ErrorText());
  }
  ~OpenDatabase() { BYOD_db_CloseCfgDBM(); }
};

void Save(const Record& record) {
  Require(BYOD_db_AddUAValue(&record) == 0, LAUTH_db_ErrorText());
}

/// Removes what was saved, so that saving it is new again.
void RemoveAll() {
  DBM_DeleteKey(BYOD_db_GetDBHandle(), BYOD_DB_USERAGENT_KEY, sizeof BYOD_DB_USERAGENT_KEY);
  BYOD_db_EnsureUserAgentList();
}

/// Runs a batch of changes, each timed; the middle time is the batch's.
void RunBatch(benchmark::State& state, const std::function<void(const Record&)>& change) {
  static size_t next = 0;
  for (auto _ : state) {
    std::vector<double> times;
    for (int i = 0; i < kChangesInABatch; ++i) {
      const Record& record = records[next++ % records.size()];
      const auto start = Clock::now();
      change(record);
      times.push_back(SecondsSince(start));
    }
    state.SetIterationTime(Median(times));
  }
}

/// Asks the daemon for changes.
class Administrator {
 public:
  explicit Administrator(const std::string& socket) : socket_(Connect(socket)), answer_(65536) {}
  ~Administrator() { close(socket_); }
  Administrator(const Administrator&) = delete;
  Administrator& operator=(const Administrator&) = delete;

  void SetRule(const Record& record) {
    const tlv::Message request(TLV_Create());
    TLV_Append_UINT(request.get(), BYOD_TLV_OPTYPE, BYOD_OP_SET);
    TLV_Append_UINT(request.get(), BYOD_TLV_MSGTYPE, BYOD_MSG_UARULE);
    AppendText(request.get(), BYOD_TLV_USERAGENT, record.text);
    AppendText(request.get(), BYOD_TLV_DEVNAME, record.info.name);
    bytes_.resize(TLV_GetMsgLen(request.get(), tlv::kMemory));
    TLV_Flush(request.get(), tlv::kMemory, static_cast<uint32_t>(bytes_.size()),
              reinterpret_cast<uintptr_t>(bytes_.data()));
    const size_t length = Exchange(socket_, bytes_, false, answer_.data());
    const tlv::Message reply(TLV_CreateReceiveMsg(
        tlv::kMemory, reinterpret_cast<uintptr_t>(answer_.data()), static_cast<uint32_t>(length)));
    Require(reply && BYOD_tlv_GetErrorCode(reply.get()) == 0, "the daemon refuses a change");
  }

 private:
  static void AppendText(uint32_t message, uint16_t type, const char* text) {
    TLV_Append_Data(message, type, static_cast<uint16_t>(std::strlen(text) + 1), text);
  }

  int socket_;
  std::vector<uint8_t> bytes_;
  std::vector<uint8_t> answer_;
};

/// What was saved, read back.
void CheckSaved(const std::string& directory, size_t count) {
  const OpenDatabase database(directory);
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  BYOD_order_Init();
  BYOD_db_RecoverUserAgentRule(BYOD_db_GetDBHandle(), BYOD_DB_USERAGENT_KEY,
                               sizeof BYOD_DB_USERAGENT_KEY);
  for (size_t i = 0; i < count; ++i) {
    const ByodUserAgentRule* const rule = BYOD_data_FindUserAgentRule(records[i].text);
    Require(rule != nullptr && rule->configured != nullptr &&
                std::strcmp(rule->configured->name, records[i].info.name) == 0,
            "a saved rule is not recovered");
  }
  BYOD_data_GlobalInfoFini();
}

/// How often changes flush.
void CountFlushes(const std::string& directory, std::vector<Figure>& figures) {
  const OpenDatabase database(directory);
  RemoveAll();
  std::vector<double> each;
  for (size_t i = 0; i < kCounted; ++i) {
    const uint64_t before = flushes;
    Save(records[i]);
    each.push_back(static_cast<double>(flushes - before));
  }
  double all = 0;
  for (const double some : each)
    all += some;
  const auto more = std::count_if(each.begin(), each.end(), [](double n) { return n != 1; });
  figures.push_back({"flushes of a change, in the middle of 3000", Median(each), 1});
  figures.push_back({"flushes of a change, mean with moves of the log", all / kCounted});
  figures.push_back({"changes in 3000 that also moved the log", static_cast<double>(more)});
}

void SaveInBulk(const std::string& directory, std::vector<Figure>& figures) {
  const OpenDatabase database(directory);
  RemoveAll();
  const uint64_t before = flushes;
  const auto start = Clock::now();
  Require(LAUTH_db_Begin(BYOD_db_GetDBHandle()) == 0, LAUTH_db_ErrorText());
  for (const Record& record : records)
    Save(record);
  Require(LAUTH_db_Commit(BYOD_db_GetDBHandle()) == 0, LAUTH_db_ErrorText());
  figures.push_back({"10000 rules saved in one transaction, ms", SecondsSince(start) * 1000});
  figures.push_back(
      {"its flushes, the move of the log included", static_cast<double>(flushes - before)});
}

void SaveThroughDaemon(const ScratchDirectory& directory, const std::string& state,
                       std::vector<Figure>& figures) {
  DaemonPeer daemon(directory.path() + "/each", state);
  {
    Administrator administrator(daemon.socket());
    const auto start = Clock::now();
    for (const Record& record : records)
      administrator.SetRule(record);
    figures.push_back({"10000 rules saved one by one through the daemon, s", SecondsSince(start)});
  }
  // As at a loss of power, which leaves the log.
  daemon.Stop(true);
}

double MiB(const std::string& file) {
  struct stat found = {};
  return stat(file.c_str(), &found) == 0 ? static_cast<double>(found.st_size) / (1 << 20) : 0;
}

/// The milliseconds behind some words of what lauthd prints.
double LoggedNumber(const std::string& text, const std::string& words) {
  const size_t at = text.find(words);
  Require(at != std::string::npos, "lauthd does not log \"" + words + "\":\n" + text);
  return std::stod(text.substr(at + words.size()));
}

struct Start {
  double read;
  double loaded;
  double database;
};

Start MeasureStart(const std::string& state, std::vector<std::string> options) {
  options.insert(options.begin(), {"--check", "--timing", "--config", "/dev/null"});
  options.insert(options.end(), {"--state-dir", state});
  const std::string log = RunDaemon(options);
  return {LoggedNumber(log, "read in "), LoggedNumber(log, "loaded in "),
          LoggedNumber(log, "custom rules from the database in ")};
}

/// What a start takes. The first finds the database as a kill has left it.
void MeasureStarts(const std::string& state, std::vector<Figure>& figures) {
  namespace fs = std::filesystem;
  figures.push_back({"log that a kill leaves, MiB", MiB(state + "/eBYOD.db-wal")});
  std::vector<double> killed;
  std::vector<double> closed;
  for (int i = 0; i < kStarts; ++i) {
    const std::string copy = state + ".copy";
    fs::remove_all(copy);
    fs::copy(state, copy);
    killed.push_back(MeasureStart(copy, {}).database);
    closed.push_back(MeasureStart(copy, {}).database);
  }
  figures.push_back({"recovery of 10000 User-Agent rules, ms", Median(closed), 60});
  figures.push_back({"the same after a kill, ms", Median(killed)});
  figures.push_back({"database of 10000 User-Agent rules, MiB", MiB(state + ".copy/eBYOD.db")});

  std::vector<double> read;
  std::vector<double> loaded;
  std::vector<double> database;
  for (int i = 0; i < kStarts; ++i) {
    const Start start = MeasureStart(
        state + ".copy", {"--rules", BYOD_BENCH_RULES, "--ieee", "/usr/share/ieee-data"});
    read.push_back(start.read);
    loaded.push_back(start.loaded);
    database.push_back(start.database);
  }
  figures.push_back({"start: catalogue and registry read, ms", Median(read)});
  figures.push_back({"start: catalogue and registry loaded, ms", Median(loaded)});
  figures.push_back({"start: 10000 stored rules recovered beside them, ms", Median(database)});
}

int Main(int argc, char** argv) {
  const ScratchDirectory directory;
  MakeRecords();
  std::vector<Figure> figures;
  {
    const std::string counted = directory.path() + "/counted";
    CountFlushes(counted, figures);
    CheckSaved(counted, kCounted);
  }
  SaveInBulk(directory.path() + "/bulk", figures);
  CheckSaved(directory.path() + "/bulk", kRules);
  const std::string state = directory.path() + "/state";
  SaveThroughDaemon(directory, state, figures);
  MeasureStarts(state, figures);
  CheckSaved(state, kRules);

  const OpenDatabase database(directory.path() + "/saved");
  BYOD_db_EnsureUserAgentList();
  const int log = open((directory.path() + "/append").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  const DaemonPeer daemon(directory.path() + "/socket", directory.path() + "/daemon");
  Administrator administrator(daemon.socket());

  const auto add = [](const char* name, std::function<void(const Record&)> change) {
    benchmark::RegisterBenchmark(name,
                                 [change](benchmark::State& state) { RunBatch(state, change); })
        ->UseManualTime()
        ->Iterations(1)
        ->Repetitions(kBatches);
  };
  // Stored rules are replaced when the records have all been used; that is a change as well.
  add("save/database", Save);
  add("save/append", [log](const Record& record) {
    Require(write(log, &record, sizeof record) == ssize_t{sizeof record} && fdatasync(log) == 0,
            "the append log cannot be written");
  });
  add("request/daemon", [&](const Record& record) { administrator.SetRule(record); });
  const int code = RunAndReport(
      argc, argv,
      {{"saved change: database / append log", {{"save/database", "save/append"}}, 1.5},
       {"saved change asked of the daemon / append log", {{"request/daemon", "save/append"}}, 1.5}},
      figures);
  close(log);
  return code;
}

}  // namespace
}  // namespace byod::bench

int main(int argc, char** argv) {
  return byod::bench::Main(argc, argv);
}
