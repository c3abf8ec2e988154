// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/idle_requests.h"

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

/// The rules at the time of the request; each is released once it is in a reply.
class IdleSeries : public Series {
 public:
  explicit IdleSeries(const IdleRules& rules) : rules_(rules) {}

  bool Next(Pieces& pieces, bool& more) override {
    bool appended = true;
    ForEachKind([&](auto kind) { appended = appended && Append<decltype(kind)>(pieces); });
    more = !rules_.Empty();
    return appended;
  }

 private:
  /// @return false without memory
  template <typename Kind>
  bool Append(Pieces& pieces) {
    const auto& rules = rules_.Of<Kind>();
    while (!rules.empty() && !pieces.Full()) {
      const typename Kind::Key key = rules.begin()->first;
      const tlv::Message rule = Encode<Kind>(key, rules.begin()->second);
      if (!rule || !pieces.AddNested(BYOD_EXT_RULE, rule.get())) return false;
      rules_.Erase<Kind>(key);
    }
    return true;
  }

  IdleRules rules_;
};

}  // namespace

Result ListIdleRules(Exchange& exchange) {
  exchange.series = std::make_unique<IdleSeries>(exchange.state.idle_rules);
  return {};
}

}  // namespace byod::lauthd
