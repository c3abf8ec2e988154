// SPDX-License-Identifier: Apache-2.0
#include "byod_order.h"

#include <algorithm>
#include <iterator>

#include "byod_data.h"

namespace {

constexpr ByodOrder kDefaultOrder = {{BYOD_METHOD_DHCP, BYOD_METHOD_USERAGENT, BYOD_METHOD_MAC}};

ByodOrder current_order;

bool Same(const ByodOrder& a, const ByodOrder& b) {
  return std::equal(std::begin(a.slots), std::end(a.slots), std::begin(b.slots));
}

}  // namespace

uint32_t BYOD_order_Init() {
  return BYOD_order_UnSetOrder();
}

void BYOD_order_Fini() {
  BYOD_order_UnSetOrder();
}

void BYOD_order_SetDefaultOrder(ByodOrder* order) {
  *order = kDefaultOrder;
}

uint32_t BYOD_orderIsDefault(const ByodOrder* order) {
  return Same(*order, kDefaultOrder);
}

uint32_t BYOD_order_SetOrder(const ByodOrder* order) {
  if (Same(*order, current_order)) return BYOD_ERR_NOCHANGE;
  current_order = *order;
  return 0;
}

// Unlike setting, restoring the default never reports that nothing changed.
uint32_t BYOD_order_UnSetOrder() {
  current_order = kDefaultOrder;
  return 0;
}

void BYOD_order_GetOrder(ByodOrder* order) {
  *order = current_order;
}
