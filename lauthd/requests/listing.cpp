// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/listing.h"

#include "lauthd/requests/rule_queries.h"
#include "lauthd/requests/selectors.h"
#include "lauthd/state/rule_cursor.h"

namespace byod::lauthd {
namespace {

template <typename Kind>
class Listing : public Series {
 public:
  Listing(bool configured_only, uint32_t mode) : configured_only_(configured_only), mode_(mode) {}

  bool Next(Pieces& pieces, bool& more) override {
    if (!rule_) rule_ = tlv::Message(TLV_Create());
    if (!rule_) return false;
    // Rules that are passed over cost time too, though they fill nothing.
    for (int steps = 0; cursor_.Here() != nullptr && !pieces.Full() && steps < kSteps; ++steps) {
      const auto* const rule = cursor_.Here();
      if (!configured_only_ || IsConfigured(rule->origin, rule->modified)) {
        BYOD_tlv_ClearTlv(rule_.get());
        if (Kind::Encode(rule_.get(), rule, mode_) != 0) return false;
        tlv::Appender append(rule_.get());
        AppendHoles<Kind>(append, *rule);
        if (append.status() != 0) return false;
        if (!pieces.AddNested(BYOD_EXT_RULE, rule_.get())) return false;
      }
      cursor_.Advance();
    }
    more = cursor_.Here() != nullptr;
    return true;
  }

 private:
  static constexpr int kSteps = 1000;

  RuleCursor<Kind> cursor_;
  tlv::Message rule_;  // made once, filled for every rule
  bool configured_only_;
  uint32_t mode_;
};

}  // namespace

template <typename Kind>
Result ListRules(Exchange& exchange) {
  const Selectors selectors = ReadSelectors(exchange.request);
  if (!selectors.valid) return BadSelectors();
  exchange.series =
      std::make_unique<Listing<Kind>>(selectors.which == Which::kNextConfigured, selectors.mode);
  return {};
}

template Result ListRules<DhcpOptionKind>(Exchange&);
template Result ListRules<UserAgentKind>(Exchange&);
template Result ListRules<MacKind>(Exchange&);

}  // namespace byod::lauthd
