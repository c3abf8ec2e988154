// SPDX-License-Identifier: Apache-2.0
// The order in which the methods are tried: shown, set, undone.
#include "lauthd/requests/order_requests.h"
#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

class OrderRequests : public Handlers {
 protected:
  static Elements Order(const std::vector<uint32_t>& methods) {
    Elements elements;
    for (const uint32_t method : methods)
      elements.push_back(Number(BYOD_TLV_ORDER, method));
    return elements;
  }
};

TEST_F(OrderRequests, DefaultIsShown) {
  EXPECT_EQ(Get(ShowOrder).elements, Order({0, 1, 2}));
}

TEST_F(OrderRequests, ShorterOrderIsSetAndShown) {
  EXPECT_TRUE(Set(ChangeOrder, Order({2, 1})).result.Ok());
  EXPECT_EQ(Get(ShowOrder).elements, Order({2, 1}));
}

TEST_F(OrderRequests, SettingTheCurrentOrderIsUnchanged) {
  EXPECT_EQ(Set(ChangeOrder, Order({0, 1, 2})).refusal(), uint32_t{BYOD_REFUSAL_NO_CHANGE});
}

TEST_F(OrderRequests, EmptyOrRepeatingOrderIsMalformed) {
  EXPECT_EQ(Set(ChangeOrder).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED});
  EXPECT_EQ(Set(ChangeOrder, Order({1, 1})).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED});
}

TEST_F(OrderRequests, UndoRestoresTheDefaultAndMayBeRepeated) {
  Set(ChangeOrder, Order({2}));
  EXPECT_TRUE(Undo(ChangeOrder).result.Ok());
  EXPECT_EQ(Get(ShowOrder).elements, Order({0, 1, 2}));
  EXPECT_TRUE(Undo(ChangeOrder).result.Ok());
}

}  // namespace
}  // namespace byod::lauthd
