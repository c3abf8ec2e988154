// How MAC rules compare: as numbers, under masks.
#include "data/byte_order.h"
#include "data/internal.h"

namespace {

int ThreeWay(uint64_t a, uint64_t b) {
  return (a > b) - (a < b);
}

int CompareUnderCommonMask(const void* a, const void* b) {
  const auto& x = *static_cast<const ByodMacRule*>(a);
  const auto& y = *static_cast<const ByodMacRule*>(b);
  const uint64_t common = byod::LoadMac(x.mask) & byod::LoadMac(y.mask);
  return ThreeWay(byod::LoadMac(x.mac) & common, byod::LoadMac(y.mac) & common);
}

uint64_t Masked(const void* rule) {
  const auto& r = *static_cast<const ByodMacRule*>(rule);
  return byod::LoadMac(r.mac) & byod::LoadMac(r.mask);
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
