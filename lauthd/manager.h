// What the service manager wants to know.
#ifndef LAUTHD_MANAGER_H
#define LAUTHD_MANAGER_H

namespace byod::lauthd {

void TellManagerReady();
void TellManagerReloading();
void TellManagerStopping();

}  // namespace byod::lauthd

#endif  // LAUTHD_MANAGER_H
