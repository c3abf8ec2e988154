// SPDX-License-Identifier: Apache-2.0
#include "byodctl/rules/category_advice.h"

#include <algorithm>

#include "byod_tlv.h"
#include "byodctl/text/word_list.h"
#include "protocol/extensions.h"
#include "text/nearest_word.h"

namespace byod::ctl {
namespace {

Words CategoriesOfRules(Client& client) {
  Words categories;
  client.Series(Request(BYOD_OP_GET, BYOD_EXT_MSG_CATEGORIES), [&](const Fields& reply) {
    reply.ForEach([&](uint16_t type, const std::string& text) {
      if (type == BYOD_TLV_DEVTYPE) categories.push_back(text);
    });
  });
  return categories;
}

/// The end of the warning: the category in the spelling of the rules, or the most similar one.
std::string Meant(const std::string& category, const Words& categories) {
  const auto same = std::ranges::find_if(
      categories, [&](const std::string& word) { return text::EditDistance(category, word) == 0; });
  if (same == categories.end()) return text::DidYouMean(category, categories);
  return ": the rules spell it \"" + *same + '"';
}

}  // namespace

std::vector<std::string> AdviceOnCategory(Client& client, const std::string& category) {
  if (category.empty() || category == BYOD_EXT_ANY_TYPE) return {};
  const Words categories = CategoriesOfRules(client);
  if (Contains(categories, category)) return {};
  return {"no rule answers the category \"" + category + '"' + Meant(category, categories)};
}

}  // namespace byod::ctl
