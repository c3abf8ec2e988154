// SPDX-License-Identifier: Apache-2.0
// The daemon's log: lines on standard error, which the journal or a terminal takes.
#ifndef LAUTHD_LOG_H
#define LAUTHD_LOG_H

#include <string>

namespace byod::lauthd {

/// As syslog numbers them.
enum class Severity { kError = 3, kWarning = 4, kNotice = 5, kInfo = 6, kDebug = 7 };

/// Lines above this severity's number are skipped. kDebug includes the library's own log, which
/// has every identification.
void SetLogLevel(Severity highest);

/// @return a line as Log would write it
std::string LogLine(Severity severity, const std::string& text);

/// Writes one line, with its severity for the journal.
void Log(Severity severity, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace byod::lauthd

#endif  // LAUTHD_LOG_H
