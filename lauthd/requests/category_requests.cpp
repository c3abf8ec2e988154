// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/category_requests.h"

#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "lauthd/state/rule_cursor.h"

namespace byod::lauthd {
namespace {

/// In the order of their bytes.
using Categories = std::set<std::string, std::less<>>;

std::string_view CategoryIn(const ByodDeviceInfo* info) {
  if (info == nullptr) return {};
  return {info->category, strnlen(info->category, sizeof info->category)};
}

/// Collects the categories, then sends them. A rule answers its configured category, else its
/// predefined one.
class CategorySeries : public Series {
 public:
  bool Next(Pieces& pieces, bool& more) override {
    // Others are served between these steps, as in a listing.
    int steps = kSteps;
    if (!Collect(user_agent_, steps) || !Collect(dhcp_option_, steps) || !Collect(mac_, steps)) {
      more = true;
      return true;
    }
    while (!categories_.empty() && !pieces.Full()) {
      const std::string& category = *categories_.begin();
      if (!pieces.AddBytes(BYOD_TLV_DEVTYPE, category.c_str(), category.size() + 1)) return false;
      categories_.erase(categories_.begin());
    }
    more = !categories_.empty();
    return true;
  }

 private:
  static constexpr int kSteps = 1000;

  /// @return whether the end of the table has been reached
  template <typename Kind>
  bool Collect(RuleCursor<Kind>& cursor, int& steps) {
    for (; cursor.Here() != nullptr && steps > 0; cursor.Advance(), --steps) {
      std::string_view category = CategoryIn(cursor.Here()->configured);
      if (category.empty()) category = CategoryIn(cursor.Here()->predefined);
      // Copies only new ones: most rules have no category, or one that is known already.
      if (!category.empty() && !categories_.contains(category)) categories_.emplace(category);
    }
    return cursor.Here() == nullptr;
  }

  RuleCursor<UserAgentKind> user_agent_;
  RuleCursor<DhcpOptionKind> dhcp_option_;
  RuleCursor<MacKind> mac_;
  Categories categories_;
};

}  // namespace

Result ListCategories(Exchange& exchange) {
  exchange.series = std::make_unique<CategorySeries>();
  return {};
}

}  // namespace byod::lauthd
