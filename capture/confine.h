// SPDX-License-Identifier: Apache-2.0
// Gives up what a program no longer needs once it has opened what it reads packets from: packets
// come from anyone, so what reads them should be able to do little else.
#ifndef BYOD_CAPTURE_CONFINE_H
#define BYOD_CAPTURE_CONFINE_H

#include <sys/types.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace byod::capture {

/// The process is not confined, or only in part; what() says which step failed. The only safe reply
/// is to end.
class ConfineError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A user with all groups, looked up while the files that say so can still be read.
struct Account {
  uid_t user = 0;
  gid_t group = 0;
  std::vector<gid_t> groups;  ///< all of them
};

/// @throws ConfineError when there is no such user, or when it is root
Account FindAccount(const std::string& name);

/**
 * Becomes the account, drops all capabilities, forbids new ones, and lets the kernel refuse every
 * system call but those that read and write what is open, get memory and the time, and talk to Unix
 * sockets, which may be connected again. What is refused fails with EPERM.
 *
 * Files that are read on the way, time zones for instance, must have been read before.
 *
 * @param account  of what root becomes; a program that is not run by root keeps its user. Null: the
 *                 user stays in any case
 * @throws ConfineError
 */
void Confine(const Account* account);

/// Whether this build has the filter of system calls. One with sanitizers or for coverage has none:
/// these open files at the end of a program.
bool HasSystemCallFilter();

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_CONFINE_H
