// SPDX-License-Identifier: Apache-2.0
// Memory from malloc in a std::unique_ptr.
#ifndef BYOD_NET_FREE_DELETER_H
#define BYOD_NET_FREE_DELETER_H

#include <cstdlib>

namespace byod::net {

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

}  // namespace byod::net

#endif  // BYOD_NET_FREE_DELETER_H
