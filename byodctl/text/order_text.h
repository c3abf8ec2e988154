// SPDX-License-Identifier: Apache-2.0
// The order of the methods as words.
#ifndef BYODCTL_TEXT_ORDER_TEXT_H
#define BYODCTL_TEXT_ORDER_TEXT_H

#include <string>
#include <vector>

#include "byod_order.h"

namespace byod::ctl {

/// @param words  methods, as MethodOf reads them
/// @return why they are not an order; empty = they are
std::string FaultOfOrder(const std::vector<std::string>& words);

/// With fewer than three methods the other slots are empty, which ends the order.
/// @param words  without a fault
ByodOrder OrderOf(const std::vector<std::string>& words);

/// The names of an order's methods.
std::vector<std::string> NamesOf(const ByodOrder& order);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_ORDER_TEXT_H
