// How much memory does a User-Agent rule take?
//
// Ten thousand rules are loaded, each with one information, and then each is given a second one, as
// by an administrator. What the process and its heap have grown by is told for one rule, and what
// of it are the records; the rest is the index of terms, that of texts, and the arrays of the
// lists.
#include <malloc.h>
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

void Tell(const char* label, double bytes) {
  std::printf("FIGURE\t%s\t%.0f\t-\n", label, bytes);
}

int Main() {
  const std::vector<std::string> names = Expressions(UserAgents(30000, Seed()), kRules, Seed());
  const Memory before = Measure();
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  ByodDeviceInfo info = {};
  std::strcpy(info.name, "Device");
  std::strcpy(info.vendor, "Vendor");
  for (const std::string& name : names)
    BYOD_data_AddFileAgentRule(name.c_str(), &info);
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
  Tell("memory: resident bytes of a User-Agent rule with one information",
       (one.resident - before.resident) / rules);
  Tell("memory: of the heap", (one.heap - before.heap) / rules);
  Tell("memory: the rule's record", records / rules);
  Tell("memory: its information", infos / rules);
  Tell("memory: indexes and lists", (one.heap - before.heap - records - infos) / rules);
  Tell("memory: resident bytes that a second information adds",
       (two.resident - one.resident) / rules);
  BYOD_data_GlobalInfoFini();
  const Memory after = Measure();
  Tell("memory: heap bytes left of a rule when all are gone", (after.heap - before.heap) / rules);
  return 0;
}

}  // namespace
}  // namespace byod::bench

int main() {
  return byod::bench::Main();
}
