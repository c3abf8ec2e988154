// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/stop_limit.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "lauthd/log.h"

namespace byod::lauthd {
namespace {

using Handler = void (*)(int);

// Written before the handlers are installed, and only read by them.
unsigned limit = 0;
std::string last_words;
Handler handler_of[NSIG] = {};
volatile sig_atomic_t begun = 0;

}  // namespace
}  // namespace byod::lauthd

extern "C" {

static void BeginStop(int signal) {
  const int error = errno;
  // Once: further signals don't give it more time.
  if (byod::lauthd::begun == 0) {
    byod::lauthd::begun = 1;
    alarm(byod::lauthd::limit);
  }
  byod::lauthd::handler_of[signal](signal);
  errno = error;
}

static void EndNow(int) {
  const std::string& words = byod::lauthd::last_words;
  // There is nothing to be done about a log that cannot be written.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, words.data(), words.size());
  _exit(1);
}
}

namespace byod::lauthd {

void LimitStop(int signal, unsigned seconds) {
  limit = seconds;
  last_words = LogLine(Severity::kError, "not stopped within " + std::to_string(seconds) +
                                             " s of the signal: ending at once");
  struct sigaction end = {};
  end.sa_handler = EndNow;
  sigaction(SIGALRM, &end, nullptr);
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  handler_of[signal] = action.sa_handler;
  action.sa_handler = BeginStop;
  sigaction(signal, &action, nullptr);
}

}  // namespace byod::lauthd
