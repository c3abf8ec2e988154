// SPDX-License-Identifier: Apache-2.0
#include "support/step_count.h"

#include <cstdio>
#include <cstdlib>

#include "data/containers/steps.h"

namespace {

uint64_t taken = 0;
uint64_t last_allowed = UINT64_MAX;

}  // namespace

void byod::data::CountStep() {
  if (++taken <= last_allowed) return;
  std::fprintf(stderr, "more than %llu steps\n", static_cast<unsigned long long>(last_allowed));
  std::abort();
}

namespace support {

Steps::Steps(uint64_t allowed) : allowed_(allowed) {
  Restart();
}

Steps::~Steps() {
  last_allowed = UINT64_MAX;
}

uint64_t Steps::Taken() const {
  return taken;
}

void Steps::Restart(uint64_t allowed) {
  taken = 0;
  last_allowed = allowed;
}

}  // namespace support
