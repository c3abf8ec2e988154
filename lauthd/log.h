// The daemon's log: lines on standard error, which the journal or a terminal takes.
#ifndef LAUTHD_LOG_H
#define LAUTHD_LOG_H

#include <string>

namespace byod::lauthd {

/// As syslog numbers them.
enum class Severity { kError = 3, kWarning = 4, kNotice = 5, kInfo = 6, kDebug = 7 };

/// Lines above this severity's number are left out. The library's own log, which tells every
/// identification, comes with kDebug.
void SetLogLevel(Severity highest);

/// @return a line as Log would write it
std::string LogLine(Severity severity, const std::string& text);

/// Writes one line; the journal gets its severity along.
void Log(Severity severity, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace byod::lauthd

#endif  // LAUTHD_LOG_H
