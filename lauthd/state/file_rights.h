// SPDX-License-Identifier: Apache-2.0
// Whether what the daemon reads at its start is under its administrator's control.
#ifndef LAUTHD_STATE_FILE_RIGHTS_H
#define LAUTHD_STATE_FILE_RIGHTS_H

#include <string>

namespace byod::lauthd {

/**
 * A file or directory may be written by root and the daemon's user, and by their groups. A daemon
 * of root's leaves a file to whatever user owns it, as root prepares the files of that user.
 *
 * @return who else may write it, and how to mend that; empty when nobody may, or it is not there
 */
std::string WhyInsecure(const std::string& path);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_FILE_RIGHTS_H
