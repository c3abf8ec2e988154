// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/order_text.h"

#include <algorithm>
#include <cstddef>

#include "byod_tlv.h"
#include "byodctl/text/method_names.h"
#include "byodctl/text/word_list.h"

namespace byod::ctl {

std::string FaultOfOrder(const std::vector<std::string>& words) {
  std::vector<uint32_t> methods;
  for (const std::string& word : words) {
    if (word.find_first_not_of(' ') == std::string::npos) return "a method is missing at a comma";
    const auto method = MethodOf(word);
    if (!method) {
      const Words names(std::begin(kMethodNames), std::end(kMethodNames));
      return "unknown method \"" + word + '"' + NearestOrAll(word, names);
    }
    if (std::ranges::find(methods, *method) != methods.end()) {
      return std::string{kMethodNames[*method]} + " is given twice";
    }
    methods.push_back(*method);
  }
  return {};
}

ByodOrder OrderOf(const std::vector<std::string>& words) {
  ByodOrder order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
  for (size_t i = 0; i < words.size(); ++i)
    order.slots[i] = MethodOf(words[i]).value_or(BYOD_ORDER_NO_SLOT);
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
