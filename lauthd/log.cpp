// SPDX-License-Identifier: Apache-2.0
#include "lauthd/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "lauth_debug.h"

namespace byod::lauthd {
namespace {

constexpr unsigned kAllLibraryLevels = 7;

Severity highest_severity = Severity::kNotice;

void LogLibraryLine(void*, uint32_t, const char* text) {
  Log(Severity::kDebug, "%s", text);
}

// The journal reads a severity at the start of a line; on a terminal it would only disturb.
bool ToJournal() {
  static const bool to_journal = std::getenv("JOURNAL_STREAM") != nullptr;
  return to_journal;
}

}  // namespace

std::string LogLine(Severity severity, const std::string& text) {
  const std::string number = std::to_string(static_cast<int>(severity));
  return (ToJournal() ? "<" + number + ">" : "lauthd: ") + text + "\n";
}

void SetLogLevel(Severity highest) {
  highest_severity = highest;
  LAUTH_dbg_SetSink(LogLibraryLine, nullptr);
  LAUTH_dbg_SetLevel(highest >= Severity::kDebug ? kAllLibraryLevels : 0);
}

void Log(Severity severity, const char* format, ...) {
  if (severity > highest_severity) return;
  char line[1024];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  // One call for one line, so that lines do not mix.
  if (ToJournal()) {
    std::fprintf(stderr, "<%d>%s\n", static_cast<int>(severity), line);
  } else {
    std::fprintf(stderr, "lauthd: %s\n", line);
  }
}

}  // namespace byod::lauthd
