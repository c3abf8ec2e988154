// Many changes that take effect together or not at all.
#ifndef LAUTHD_BULK_H
#define LAUTHD_BULK_H

#include <variant>
#include <vector>

#include "byod_order.h"
#include "lauthd/authorization.h"
#include "lauthd/rule_state.h"

namespace byod::lauthd {

struct FormerOrder {
  ByodOrder order;
  void Restore() { BYOD_order_SetOrder(&order); }
};

/// While a bulk is open, remembers for every change how it was before.
class Bulk {
 public:
  bool Open() const { return open_; }
  void Begin() { open_ = true; }

  /// Makes room, so that remembering one change more cannot fail once it is made.
  /// @throws std::bad_alloc
  void MakeRoom() {
    if (open_ && formers_.size() == formers_.capacity()) formers_.reserve(2 * formers_.size() + 64);
  }

  template <typename Former>
  void Remember(Former former) {
    if (open_) formers_.emplace_back(std::move(former));
  }

  /// Everything stays as it is now.
  void Keep() {
    formers_.clear();
    open_ = false;
  }

  /// Everything becomes what it was, the last change first.
  void TakeBack() {
    for (auto former = formers_.rbegin(); former != formers_.rend(); ++former)
      std::visit([](auto& change) { change.Restore(); }, *former);
    Keep();
  }

 private:
  bool open_ = false;
  std::vector<std::variant<FormerRule<DhcpOptionKind>, FormerRule<UserAgentKind>,
                           FormerRule<MacKind>, FormerOrder, FormerAuthorization>>
      formers_;
};

}  // namespace byod::lauthd

#endif  // LAUTHD_BULK_H
