// SPDX-License-Identifier: Apache-2.0
// Counts the steps of searches and changes in builds for tests: a bound on them holds on every
// machine, where a bound on time does not, and a search that never ends exceeds it at once.
#ifndef BYOD_DATA_CONTAINERS_STEPS_H
#define BYOD_DATA_CONTAINERS_STEPS_H

namespace byod::data {

#ifdef BYOD_COUNT_STEPS
void CountStep();
#else
inline void CountStep() {}
#endif

}  // namespace byod::data

#endif  // BYOD_DATA_CONTAINERS_STEPS_H
