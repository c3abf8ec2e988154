// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/file_rights.h"

#include <sys/stat.h>
#include <unistd.h>

namespace byod::lauthd {

std::string WhyInsecure(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return {};
  const bool is_others_group = status.st_gid != 0 && status.st_gid != getegid();
  std::string reason;
  std::string remedy;
  if ((status.st_mode & S_IWOTH) != 0) {
    reason = "everybody";
    remedy = "chmod go-w ";
  } else if ((status.st_mode & S_IWGRP) != 0 && is_others_group) {
    reason = "the group " + std::to_string(status.st_gid);
    remedy = "chmod g-w ";
  } else if (status.st_uid != 0 && status.st_uid != geteuid() && geteuid() != 0) {
    reason = "the user " + std::to_string(status.st_uid);
    remedy = "chown root ";
  } else {
    return {};
  }
  return path + ": " + reason + " may write to it; mend that with \"" + remedy + path +
         "\", or start with --insecure";
}

}  // namespace byod::lauthd
