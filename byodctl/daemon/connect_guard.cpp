// SPDX-License-Identifier: Apache-2.0
#include "byodctl/daemon/connect_guard.h"

#include <sys/time.h>
#include <unistd.h>
#include <csignal>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "byod_cfgmsg.h"
#include "byodctl/failure.h"

namespace byod::ctl {
namespace {

constexpr char kSocketVariable[] = "LAUTHD_SOCKET";

/// The message of the signal handler, which can neither allocate nor format.
std::string g_message;

extern "C" void GiveUp(int) {
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, g_message.data(), g_message.size());
  _exit(kExitNoDaemon);
}

void ArmTimer(std::chrono::milliseconds time) {
  itimerval timer = {};
  timer.it_value.tv_sec = static_cast<time_t>(time.count() / 1000);
  timer.it_value.tv_usec = static_cast<suseconds_t>(time.count() % 1000 * 1000);
  setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace

std::string PlaceOfDaemon(const Settings& settings) {
#ifdef BYOD_TRANSPORT_DEVICE
  (void)settings;
  return "service " + std::to_string(BYOD_LAUTHD_SERVICE);
#else
  if (!settings.socket.empty()) return settings.socket;
  const char* const named = secure_getenv(kSocketVariable);
  return named != nullptr && *named != '\0' ? named : BYOD_LAUTHD_SOCKET;
#endif
}

int ConnectWithin(std::chrono::milliseconds time, const Settings& settings,
                  const std::string& place) {
  if (!settings.socket.empty()) setenv(kSocketVariable, settings.socket.c_str(), 1);
  g_message = "byodctl: cannot reach the daemon at " + place + ": Connection timed out\n";
  struct sigaction give_up = {};
  struct sigaction former = {};
  give_up.sa_handler = &GiveUp;
  sigaction(SIGALRM, &give_up, &former);
  ArmTimer(time);
  const int connection = BYOD_cfgmsg_ConnectToLauthd();
  const int reason = errno;
  ArmTimer(std::chrono::milliseconds(0));
  sigaction(SIGALRM, &former, nullptr);
  errno = reason;
  return connection;
}

}  // namespace byod::ctl
