// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/idle_requests.h"

#include <optional>
#include <tuple>
#include <utility>

#include "lauthd/state/idle_rules.h"
#include "lauthd/state/state.h"

namespace byod::lauthd {
namespace {

template <typename Kind>
tlv::Message Encode(const typename Kind::Key& key, IdleRule idle) {
  const typename Kind::Rule rule = DetachedRule<Kind>(key, idle);
  tlv::Message message(TLV_Create());
  tlv::Appender append(message.get());
  append.Number(BYOD_EXT_METHOD, Kind::kMethod);
  append.Text(BYOD_EXT_REASON,
              WhyIdle<Kind>(key, idle).substr(0, BYOD_EXT_REASON_SIZE - 1).c_str());
  append.Combine(Kind::Encode(message.get(), &rule, 2));
  if (append.status() != 0) return tlv::Message();
  return message;
}

/// Goes from rule to rule by their keys, so that it holds no rules; those that take effect before
/// they are reached are left out.
class IdleSeries : public Series {
 public:
  explicit IdleSeries(const IdleRules& rules) : rules_(rules) {}

  bool Next(Pieces& pieces, bool& more) override {
    bool appended = true;
    more = false;
    ForEachKind([&](auto kind) {
      appended = appended && Append<decltype(kind)>(pieces);
      more = more || NextOf<decltype(kind)>() != rules_.Of<decltype(kind)>().end();
    });
    return appended;
  }

 private:
  template <typename Kind>
  using LastKey = std::optional<std::pair<Kind, typename Kind::Key>>;

  template <typename Kind>
  auto NextOf() const {
    const auto& rules = rules_.Of<Kind>();
    const LastKey<Kind>& last = std::get<LastKey<Kind>>(last_);
    return last ? rules.upper_bound(last->second) : rules.begin();
  }

  /// @return false without memory
  template <typename Kind>
  bool Append(Pieces& pieces) {
    const auto end = rules_.Of<Kind>().end();
    for (auto next = NextOf<Kind>(); next != end && !pieces.Full(); ++next) {
      const tlv::Message rule = Encode<Kind>(next->first, next->second);
      if (!rule || !pieces.AddNested(BYOD_EXT_RULE, rule.get())) return false;
      std::get<LastKey<Kind>>(last_) = {Kind(), next->first};
    }
    return true;
  }

  const IdleRules& rules_;
  std::tuple<LastKey<DhcpOptionKind>, LastKey<UserAgentKind>, LastKey<MacKind>> last_;
};

}  // namespace

Result ListIdleRules(Exchange& exchange) {
  exchange.series = std::make_unique<IdleSeries>(exchange.state.idle_rules);
  return {};
}

}  // namespace byod::lauthd
