// SPDX-License-Identifier: Apache-2.0
// What do rules within the blocks of other MAC rules cost?
//
// Figures of the daemon's own parts, without sockets: what 1,000 addresses in the blocks of vendors
// add to a start and to the memory; what a request to set or unset one takes beside its flush, in
// those blocks and in one block that holds 4,096 of them already; and what the changes take that
// concern that whole block. Each address must answer with its own rule.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "lauthd/log.h"
#include "lauthd/requests/dispatch.h"
#include "lauthd/requests/session.h"
#include "lauthd/state/rule_kind.h"
#include "lauthd/state/state.h"
#include "ratio_report.h"

namespace byod::bench {
namespace {

using Clock = std::chrono::steady_clock;
using lauthd::MacKind;
using lauthd::State;
using net::Prefix;

constexpr uint64_t kVendors = 100;
constexpr size_t kTerminals = 1000;
constexpr size_t kInOneBlock = 4096;
constexpr int kStarts = 9;
constexpr Prefix kOneBlock = {0x00AA00000000, 24};

double Milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

void Report(const std::string& label, double value, double limit = 0) {
  std::printf("FIGURE\t%s\t%.4g\t", label.c_str(), value);
  limit > 0 ? std::printf("%g\n", limit) : std::printf("-\n");
}

class Directory {
 public:
  Directory() {
    const char* const wanted = std::getenv("BYOD_BENCH_DIRECTORY");
    path_ = std::string(wanted != nullptr ? wanted : "/tmp") + "/byod-bench-XXXXXX";
    Require(mkdtemp(path_.data()) != nullptr, "no directory can be made");
    std::filesystem::create_directory(path_ + "/rules");
    std::ofstream rules(path_ + "/rules/mac.csv");
    rules << "mac,vendor\n" << net::ToString(kOneBlock) << ",One\n";
    for (uint64_t vendor = 0; vendor < kVendors; ++vendor)
      rules << net::ToString(Prefix{(vendor + 1) << 24, 24}) << ",Vendor\n";
  }
  ~Directory() { std::filesystem::remove_all(path_); }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  /// @param name  of the database; empty: none
  lauthd::Options OptionsWith(const std::string& name) const {
    lauthd::Options options;
    options.rules = path_ + "/rules";
    options.state_dir = path_ + "/" + name;
    options.no_database = name.empty();
    options.carved_limit = 65536;
    return options;
  }

 private:
  std::string path_;
};

/// A daemon's state, and a client that may change it.
class Daemon {
 public:
  explicit Daemon(const lauthd::Options& options) : state_(options) {
    const auto start = Clock::now();
    state_.Load();
    load_time_ = Milliseconds(Clock::now() - start);
  }

  double load_time() const { return load_time_; }

  /// @return the milliseconds that a request takes
  double Change(uint32_t operation, uint32_t kind, const Prefix& block) {
    const tlv::Message request(TLV_Create());
    tlv::Appender append(request.get());
    append.Number(BYOD_TLV_OPTYPE, operation).Number(BYOD_TLV_MSGTYPE, kind);
    append.Address(BYOD_TLV_MAC, block.Mac().data());
    append.Address(BYOD_TLV_MACMASK, block.Mask().data());
    if (kind == BYOD_MSG_MACRULE) append.Text(BYOD_TLV_DEVNAME, net::ToString(block).c_str());
    Require(append.status() == 0, "no memory");
    const auto start = Clock::now();
    lauthd::Exchange exchange{state_, session_, request.get(), 0, 0, {}, nullptr, false};
    lauthd::Task task = lauthd::FindTask(exchange);
    const lauthd::Result result = lauthd::Perform(task, exchange);
    const double time = Milliseconds(Clock::now() - start);
    Require(result.Ok(), net::ToString(block) + ": " + result.reason);
    return time;
  }
  double Set(const Prefix& block) { return Change(BYOD_OP_SET, BYOD_MSG_MACRULE, block); }
  double Unset(const Prefix& block) { return Change(BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE, block); }

  void RequireOwnAnswers(const std::vector<Prefix>& terminals) {
    for (const Prefix& terminal : terminals) {
      char name[BYOD_DEVNAME_SIZE] = "";
      BYOD_data_GetDevTypeByMac(terminal.Mac().data(), sizeof name, name);
      Require(net::ToString(terminal) == name, net::ToString(terminal) + " has another answer");
    }
  }

 private:
  State state_;
  lauthd::Session session_{state_, [] { return lauthd::Peer{0, true}; }};
  double load_time_ = 0;
};

/// Different whole addresses. @param block  of these, by number
template <typename Block>
std::vector<Prefix> Terminals(std::mt19937_64& random, size_t count, Block block) {
  std::vector<Prefix> terminals;
  while (terminals.size() < count) {
    for (size_t i = terminals.size(); i < count; ++i)
      terminals.push_back({block(i).address | (random() & 0xFFFFFF), 48});
    std::ranges::sort(terminals);
    terminals.erase(std::ranges::unique(terminals).begin(), terminals.end());
  }
  std::ranges::shuffle(terminals, random);
  return terminals;
}

double StartTime(const lauthd::Options& options) {
  std::vector<double> times;
  for (int start = 0; start < kStarts; ++start)
    times.push_back(Daemon(options).load_time());
  return Median(times);
}

double HeapWith(const lauthd::Options& options) {
  const Daemon daemon(options);
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

void MeasureStart(const Directory& directory, const std::vector<Prefix>& terminals) {
  const lauthd::Options with = directory.OptionsWith("with");
  const lauthd::Options without = directory.OptionsWith("without");
  {
    Daemon daemon(with);
    for (const Prefix& terminal : terminals)
      daemon.Set(terminal);
  }
  Daemon(with).RequireOwnAnswers(terminals);
  Report("carving: milliseconds that 1,000 addresses add to a start",
         StartTime(with) - StartTime(without), 20);
  Report("carving: megabytes that they add", (HeapWith(with) - HeapWith(without)) / 1e6, 15);
}

/// @return all times of setting, or of unsetting, the terminals
template <typename Make>
std::vector<double> TimesOf(const std::vector<Prefix>& terminals, Make make) {
  std::vector<double> times;
  for (const Prefix& terminal : terminals)
    times.push_back(make(terminal));
  return times;
}

void ReportTimes(const std::string& label, const std::vector<double>& times) {
  Report("carving: milliseconds to " + label, Median(times), 1);
  Report("carving: the slowest of them", std::ranges::max(times));
}

void MeasureChanges(const Directory& directory, const std::vector<Prefix>& terminals,
                    const std::vector<Prefix>& in_one_block) {
  Daemon daemon(directory.OptionsWith(""));
  const auto set = [&](const Prefix& block) { return daemon.Set(block); };
  const auto unset = [&](const Prefix& block) { return daemon.Unset(block); };
  ReportTimes("set one of 1,000 addresses in 100 blocks", TimesOf(terminals, set));
  TimesOf(in_one_block, set);
  daemon.RequireOwnAnswers(terminals);
  daemon.RequireOwnAnswers(in_one_block);
  const std::vector<Prefix> some(in_one_block.begin(), in_one_block.begin() + 100);
  ReportTimes("unset one of 4,096 in one block", TimesOf(some, unset));
  ReportTimes("set one of 4,096 in one block", TimesOf(some, set));
  Report("carving: milliseconds to change that block", daemon.Set(kOneBlock), 1);
  Report("carving: milliseconds to revert it", daemon.Unset(kOneBlock), 1);
  const Prefix around = {kOneBlock.address, 20};
  Report("carving: milliseconds to set a rule around all of them", daemon.Set(around));
  Report("carving: milliseconds to unset it", daemon.Unset(around));
  const Prefix half = kOneBlock.Half(false);
  Report("carving: milliseconds to set a rule for half of that block", daemon.Set(half));
  Report("carving: milliseconds to unset it", daemon.Unset(half));
  daemon.RequireOwnAnswers(in_one_block);
}

int Main() {
  lauthd::SetLogLevel(lauthd::Severity::kError);
  std::mt19937_64 random(Seed());
  const Directory directory;
  const std::vector<Prefix> terminals =
      Terminals(random, kTerminals, [](size_t i) { return Prefix{(i % kVendors + 1) << 24, 24}; });
  const std::vector<Prefix> in_one_block =
      Terminals(random, kInOneBlock, [](size_t) { return kOneBlock; });
  MeasureStart(directory, terminals);
  MeasureChanges(directory, terminals, in_one_block);
  return 0;
}

}  // namespace
}  // namespace byod::bench

int main() {
  return byod::bench::Main();
}
