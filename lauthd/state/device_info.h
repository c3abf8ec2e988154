// SPDX-License-Identifier: Apache-2.0
// Device info that no rule owns yet.
#ifndef LAUTHD_STATE_DEVICE_INFO_H
#define LAUTHD_STATE_DEVICE_INFO_H

#include <memory>

#include "byod_data.h"
#include "net/free_deleter.h"

namespace byod::lauthd {

using OwnedInfo = std::unique_ptr<ByodDeviceInfo, net::FreeDeleter>;

/// @return a copy, empty for null; null without memory
inline OwnedInfo CopyInfo(const ByodDeviceInfo* info) {
  OwnedInfo copy(BYOD_data_CreateDeviceInfo("", "", "", ""));
  if (copy && info != nullptr) *copy = *info;
  return copy;
}

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_DEVICE_INFO_H
