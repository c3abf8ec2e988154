// In place of manager.cpp where there is no service manager, and no library to talk to one.
#include "lauthd/server/manager.h"

namespace byod::lauthd {

void TellManagerReady() {}
void TellManagerReloading() {}
void TellManagerStopping() {}
std::optional<std::chrono::microseconds> ManagerPatience() {
  return std::nullopt;
}
void TellManagerAlive() {}

}  // namespace byod::lauthd
