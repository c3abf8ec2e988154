// In place of manager.cpp where there is no service manager, and no library to talk to one.
#include "lauthd/manager.h"

namespace byod::lauthd {

void TellManagerReady() {}
void TellManagerReloading() {}
void TellManagerStopping() {}

}  // namespace byod::lauthd
