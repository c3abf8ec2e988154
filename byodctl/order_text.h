// The order of the methods as it is written on the command line.
#ifndef BYODCTL_ORDER_TEXT_H
#define BYODCTL_ORDER_TEXT_H

#include <string>
#include <vector>

#include "byod_order.h"

namespace byod::ctl {

/// @return why the names are no order; empty = they are
std::string FaultOfOrder(const std::vector<std::string>& names);

/// Fewer than three methods leave slots that name none, which end the order.
ByodOrder OrderOf(const std::vector<std::string>& names);

/// The names of an order's methods.
std::vector<std::string> NamesOf(const ByodOrder& order);

}  // namespace byod::ctl

#endif  // BYODCTL_ORDER_TEXT_H
