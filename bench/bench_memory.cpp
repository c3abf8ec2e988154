// SPDX-License-Identifier: Apache-2.0
// How much memory does a User-Agent rule take?
//
// Ten thousand rules are loaded, each with one device info record, then each is given a second one,
// as an administrator would. Reported are the growth of the process and of its heap for each rule,
// and the records' share of it; the rest is the index of terms, the index of texts, and the arrays
// of the lists.
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>

#include "byod_data.h"
#include "ratio_report.h"
#include "real_strings.h"

namespace byod::bench {
namespace {

constexpr size_t kRules = 10000;

struct Memory {
  double resident;
  double heap;
};

Memory Measure() {
  malloc_trim(0);
  std::ifstream file("/proc/self/statm");
  size_t all = 0;
  size_t resident = 0;
  file >> all >> resident;
  const struct mallinfo2 info = mallinfo2();
  return {static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)),
          static_cast<double>(info.uordblks + info.hblkhd)};
}

void Report(const char* label, double bytes) {
  std::printf("FIGURE\t%s\t%.0f\t-\n", label, bytes);
}

/// The expressions, one behind the other. Made by a child: the memory that making them takes would
/// be used again by the rules, and not be seen.
std::string Names() {
  int ends[2];
  Require(pipe(ends) == 0, "no pipe can be made");
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    std::FILE* const out = fdopen(ends[1], "w");
    for (const std::string& name : Expressions(UserAgents(30000, Seed()), kRules, Seed()))
      std::fwrite(name.c_str(), 1, name.size() + 1, out);
    std::fclose(out);
    _exit(0);
  }
  close(ends[1]);
  std::string names;
  names.reserve(256 * kRules);
  char bytes[4096];
  for (ssize_t got; (got = read(ends[0], bytes, sizeof bytes)) > 0;)
    names.append(bytes, static_cast<size_t>(got));
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return names;
}

int Main() {
  const std::string names = Names();
  const Memory before = Measure();
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  ByodDeviceInfo info = {};
  std::strcpy(info.name, "Device");
  std::strcpy(info.vendor, "Vendor");
  for (size_t at = 0; at < names.size(); at += std::strlen(&names[at]) + 1)
    BYOD_data_AddFileAgentRule(&names[at], &info);
  const auto rules = static_cast<double>(BYOD_data_GetUserAgentRuleCount());
  Require(rules >= 0.9 * kRules, "too few rules are taken");
  const Memory one = Measure();

  double records = 0;
  double infos = 0;
  for (ByodUserAgentRule* rule = BYOD_data_GetNextUserAgentRule(""); rule != nullptr;
       rule = BYOD_data_GetNextUserAgentRule(rule->keyword)) {
    records += static_cast<double>(malloc_usable_size(rule));
    infos += static_cast<double>(malloc_usable_size(rule->predefined));
    ByodTextRuleShowRec record = {};
    std::strcpy(record.text, rule->keyword);
    record.info = info;
    std::strcpy(record.info.name, "Another device");
    Require(BYOD_data_UpdateUserAgentRule(&record, rule) == 0, "a rule takes no modification");
  }
  const Memory two = Measure();
  Report("memory: resident bytes of a User-Agent rule with one information",
         (one.resident - before.resident) / rules);
  Report("memory: of the heap", (one.heap - before.heap) / rules);
  Report("memory: the rule's record", records / rules);
  Report("memory: its information", infos / rules);
  Report("memory: indexes and lists", (one.heap - before.heap - records - infos) / rules);
  Report("memory: resident bytes that a second information adds",
         (two.resident - one.resident) / rules);
  BYOD_data_GlobalInfoFini();
  const Memory after = Measure();
  Report("memory: heap bytes left of a rule when all are gone", (after.heap - before.heap) / rules);
  return 0;
}

}  // namespace
}  // namespace byod::bench

int main() {
  return byod::bench::Main();
}
