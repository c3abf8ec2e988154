// SPDX-License-Identifier: Apache-2.0
// How MAC rules compare: as numbers, under masks. docs/performance.md, "MAC rules", has the
// figures.
#include <cstddef>

#include "data/containers/steps.h"
#include "data/internal.h"
#include "net/byte_order.h"

namespace {

/// Called at each step of a search in the tree, which goes down and so ends.
int ThreeWay(uint64_t a, uint64_t b) {
  byod::data::CountStep();
  return (a > b) - (a < b);
}

// Address and mask stand side by side, so each lies within eight bytes of the two: one load instead
// of one of four bytes and one of two.
static_assert(offsetof(ByodMacRule, mask) == offsetof(ByodMacRule, mac) + BYOD_MAC_SIZE);

uint64_t MacOf(const void* rule) {
  return byod::net::LoadBig<uint64_t>(static_cast<const char*>(rule) +
                                      offsetof(ByodMacRule, mac)) >>
         16;
}

/// Above the mask stand the last two bytes of the address, for an AND with an address to clear.
uint64_t MaskOf(const void* rule) {
  return byod::net::LoadBig<uint64_t>(static_cast<const char*>(rule) + offsetof(ByodMacRule, mask) -
                                      2);
}

int CompareUnderCommonMask(const void* a, const void* b) {
  const uint64_t common = MaskOf(a) & MaskOf(b);
  return ThreeWay(MacOf(a) & common, MacOf(b) & common);
}

uint64_t Masked(const void* rule) {
  return MacOf(rule) & MaskOf(rule);
}

}  // namespace

int byod_data_MacRuleCompare(const void* a, const void* b) {
  return CompareUnderCommonMask(a, b);
}

int byod_data_MacRuleMatch(const void* a, const void* b) {
  return CompareUnderCommonMask(a, b);
}

int byod_data_MacRuleCompareExact(const void* a, const void* b) {
  return ThreeWay(Masked(a), Masked(b));
}
