// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/confinement.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "byodctl/daemon/connect_guard.h"
#include "byodctl/failure.h"
#include "capture/confine.h"

namespace byod::ctl {
namespace {

constexpr char kAccount[] = "nobody";

/// The account that root becomes, with the group by which the daemon can be reached.
capture::Account AccountFor(const std::string& place) {
  capture::Account account = capture::FindAccount(kAccount);
  struct stat status = {};
  account.groups.clear();
  if (stat(place.c_str(), &status) == 0) account.groups.push_back(status.st_gid);
  return account;
}

/// Whether everybody, or a group, may enter all directories above a place.
bool IsReachable(const std::filesystem::path& place, const std::vector<gid_t>& groups) {
  for (auto above = std::filesystem::absolute(place).parent_path();; above = above.parent_path()) {
    struct stat status = {};
    if (stat(above.c_str(), &status) != 0) return false;
    const bool is_ours = std::ranges::find(groups, status.st_gid) != groups.end();
    if ((status.st_mode & (is_ours ? S_IXGRP : S_IXOTH)) == 0) return false;
    if (above == above.parent_path()) return true;
  }
}

/// Stays in the directory of the socket where that lies below one that only root may enter.
/// @return how the daemon is reached from there
Settings StayNear(const std::filesystem::path& place, const Settings& settings) {
  Settings near = settings;
  if (chdir(place.parent_path().c_str()) == 0) near.socket = place.filename();
  return near;
}

/// @return how the daemon is reached afterwards
Settings Confine(const Settings& settings) {
  tzset();  // reads a file
  try {
    if (geteuid() != 0) {
      capture::Confine(nullptr);
      return settings;
    }
    const std::string place = PlaceOfDaemon(settings);
    const capture::Account account = AccountFor(place);
    const bool is_reachable = IsReachable(place, account.groups);
    const Settings reachable = is_reachable ? settings : StayNear(place, settings);
    capture::Confine(&account);
    return reachable;
  } catch (const capture::ConfineError& error) {
    throw Failure(kExitRefused, std::string{"rights cannot be given up: "} + error.what());
  }
}

}  // namespace

std::unique_ptr<Identifier> MakeConfinedIdentifier(const IdentifierOptions& options,
                                                   const Settings& settings) {
  if (!options.offline) return MakePatientIdentifier(options, Confine(settings));
  auto identifier = MakePatientIdentifier(options, settings);
  Confine(settings);
  return identifier;
}

}  // namespace byod::ctl
