// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/category_requests.h"

#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "lauthd/state/rule_kind.h"

namespace byod::lauthd {
namespace {

/// In the order of their bytes.
using Categories = std::set<std::string, std::less<>>;

std::string_view CategoryIn(const ByodDeviceInfo* info) {
  if (info == nullptr) return {};
  return {info->category, strnlen(info->category, sizeof info->category)};
}

/// Adds what the rules of a table answer. A rule answers its configured category, else its
/// predefined one.
template <typename Kind>
void Collect(Categories& categories) {
  for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule)) {
    std::string_view category = CategoryIn(rule->configured);
    if (category.empty()) category = CategoryIn(rule->predefined);
    // Copies only new ones: most rules have no category, or one that is known already.
    if (!category.empty() && !categories.contains(category)) categories.emplace(category);
  }
}

/// The categories at the time of the request; each is released once it is in a reply.
class CategorySeries : public Series {
 public:
  explicit CategorySeries(Categories categories) : categories_(std::move(categories)) {}

  bool Next(Pieces& pieces, bool& more) override {
    while (!categories_.empty() && !pieces.Full()) {
      const std::string& category = *categories_.begin();
      if (!pieces.AddBytes(BYOD_TLV_DEVTYPE, category.c_str(), category.size() + 1)) return false;
      categories_.erase(categories_.begin());
    }
    more = !categories_.empty();
    return true;
  }

 private:
  Categories categories_;
};

}  // namespace

Result ListCategories(Exchange& exchange) {
  Categories categories;
  ForEachKind([&](auto kind) { Collect<decltype(kind)>(categories); });
  exchange.series = std::make_unique<CategorySeries>(std::move(categories));
  return {};
}

}  // namespace byod::lauthd
