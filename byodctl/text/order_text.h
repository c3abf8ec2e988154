// The order of the methods as it is written on the command line.
#ifndef BYODCTL_TEXT_ORDER_TEXT_H
#define BYODCTL_TEXT_ORDER_TEXT_H

#include <string>
#include <vector>

#include "byod_order.h"

namespace byod::ctl {

/// @param words  methods, as MethodOf reads them
/// @return why they are not an order; empty = they are
std::string FaultOfOrder(const std::vector<std::string>& words);

/// Fewer than three methods leave slots that name none, which end the order.
/// @param words  without a fault
ByodOrder OrderOf(const std::vector<std::string>& words);

/// The names of an order's methods.
std::vector<std::string> NamesOf(const ByodOrder& order);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_ORDER_TEXT_H
