#include "byodctl/order_text.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "byod_tlv.h"
#include "byodctl/method_names.h"

namespace byod::ctl {

std::string FaultOfOrder(const std::vector<std::string>& names) {
  if (names.size() > BYOD_METHOD_COUNT) return "at most three methods";
  for (auto name = names.begin(); name != names.end(); ++name) {
    if (std::ranges::find(kMethodNames, *name) == std::end(kMethodNames)) {
      return *name + " is none of dhcp, user-agent, mac";
    }
    if (std::find(names.begin(), name, *name) != name) return *name + " stands twice";
  }
  return {};
}

ByodOrder OrderOf(const std::vector<std::string>& names) {
  ByodOrder order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  for (size_t i = 0; i < names.size(); ++i) {
    const auto* const found = std::ranges::find(kMethodNames, names[i]);
    order.slots[i] = static_cast<uint32_t>(found - std::begin(kMethodNames));
  }
  return order;
}

std::vector<std::string> NamesOf(const ByodOrder& order) {
  std::vector<std::string> names;
  for (const uint32_t slot : order.slots) {
    if (slot >= BYOD_METHOD_COUNT) break;
    names.emplace_back(kMethodNames[slot]);
  }
  return names;
}

}  // namespace byod::ctl
