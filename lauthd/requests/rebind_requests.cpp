// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/rebind_requests.h"

#include <utility>

#include "lauthd/state/rebinding.h"
#include "lauthd/state/state.h"

namespace byod::lauthd {
namespace {

template <typename Kind>
tlv::Message Encode(const Binding<Kind>& binding) {
  IdleRule idle = binding.rule;
  const typename Kind::Rule rule = DetachedRule<Kind>(binding.key, idle);
  tlv::Message message(TLV_Create());
  tlv::Appender append(message.get());
  append.Number(BYOD_EXT_METHOD, Kind::kMethod)
      .PresentText(BYOD_EXT_SUCCESSOR, binding.successor.c_str())
      .PresentText(BYOD_EXT_REASON, binding.why_not.substr(0, BYOD_EXT_REASON_SIZE - 1).c_str());
  append.Combine(Kind::Encode(message.get(), &rule, 2));
  if (append.status() != 0) return tlv::Message();
  return message;
}

/// The modifications at the time of the request.
class BindingSeries : public Series {
 public:
  explicit BindingSeries(Rebinding rebinding) : rebinding_(std::move(rebinding)) {}

  bool Next(Pieces& pieces, bool& more) override {
    bool appended = true;
    size_t before = 0;
    ForEachKind([&](auto kind) {
      appended = appended && Append<decltype(kind)>(pieces, before);
      before += rebinding_.Of<decltype(kind)>().size();
    });
    more = next_ < rebinding_.count();
    return appended;
  }

 private:
  /// @param before  how many modifications the kinds before have. @return false without memory
  template <typename Kind>
  bool Append(Pieces& pieces, size_t before) {
    const auto& bindings = rebinding_.Of<Kind>();
    for (; next_ < before + bindings.size() && !pieces.Full(); ++next_) {
      const tlv::Message rule = Encode<Kind>(bindings[next_ - before]);
      if (!rule || !pieces.AddNested(BYOD_EXT_RULE, rule.get())) return false;
    }
    return true;
  }

  Rebinding rebinding_;  // the rules that it points to may be gone
  size_t next_ = 0;
};

}  // namespace

Result ListBindings(Exchange& exchange) {
  exchange.series = std::make_unique<BindingSeries>(Rebinding(exchange.state.idle_rules));
  return {};
}

Result Rebind(Exchange& exchange) {
  State& state = exchange.state;
  if (exchange.operation != BYOD_OP_SET) {
    return Refused(BYOD_REFUSAL_UNKNOWN_KIND, "a move of modifications cannot be undone");
  }
  if (state.bulk.Open()) return Refused(BYOD_REFUSAL_BUSY, "a bulk is open");
  if (!state.store.Ready()) return state.store.NotSaved();
  Rebinding rebinding(state.idle_rules);
  auto series = std::make_unique<BindingSeries>(rebinding);
  Result result = rebinding.CarryOut(state.idle_rules, state.store);
  if (result.Ok()) exchange.series = std::move(series);
  return result;
}

void AppendBindingCounts(tlv::Appender& append, const IdleRules& idle) {
  const Rebinding rebinding(idle);
  append.Number(BYOD_EXT_GONE, static_cast<uint32_t>(rebinding.count()))
      .Number(BYOD_EXT_MOVABLE, static_cast<uint32_t>(rebinding.movable()));
}

}  // namespace byod::lauthd
