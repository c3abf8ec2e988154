// SPDX-License-Identifier: Apache-2.0
// Why a request failed, in errno: the results alone do not say whether there is no daemon,
// whether it refused, or whether it does not know.
#ifndef BYOD_CFGMSG_REASON_H
#define BYOD_CFGMSG_REASON_H

#include <cerrno>
#include <cstdint>

namespace byod::cfgmsg {

/// The connection ended before a whole answer came.
inline constexpr int kNoAnswer = ECONNABORTED;
/// The answer lacks what was asked for, or the daemon says that it has nothing.
inline constexpr int kUnknown = ENODATA;
/// The answer does not decode, or does not fit.
inline constexpr int kBadAnswer = EBADMSG;

/// Reads the code of a reply. @return it; errno is 0 when it is 0, else what the daemon's reason is
uint32_t ReadCode(uint32_t reply);

/// Closes a scope's resources without a trace in errno.
template <typename Release>
void KeepErrno(Release release) {
  const int reason = errno;
  release();
  errno = reason;
}

}  // namespace byod::cfgmsg

#endif  // BYOD_CFGMSG_REASON_H
