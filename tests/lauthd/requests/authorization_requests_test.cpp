// SPDX-License-Identifier: Apache-2.0
// Authorization of user groups: shown, set, undone.
#include "lauthd/requests/authorization_requests.h"

#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

class AuthorizationRequests : public Handlers {
 protected:
  static Elements Target(const std::string& group, const std::string& category = "") {
    Elements elements = {Text(BYOD_EXT_GROUP, group)};
    if (!category.empty()) elements.push_back(Text(BYOD_TLV_DEVTYPE, category));
    return elements;
  }
  static Elements Pair(const std::string& name, const std::string& value) {
    return {Text(BYOD_EXT_ATTR_NAME, name), Text(BYOD_EXT_ATTR_VALUE, value)};
  }
  static Elements Name(const std::string& name) { return {Text(BYOD_EXT_ATTR_NAME, name)}; }
};

TEST_F(AuthorizationRequests, SetWithoutACategoryServesAnyTerminal) {
  EXPECT_TRUE(Set(ChangeAuthorization, Target("staff") + Pair("vlan", "10")).result.Ok());
  const auto sets = Get(ShowAuthorization).NestedIn(BYOD_EXT_AUTHORIZATION);
  ASSERT_EQ(sets.size(), 1u);
  EXPECT_EQ(sets[0], Target("staff", BYOD_EXT_ANY_TYPE) + Pair("vlan", "10"));
}

TEST_F(AuthorizationRequests, GivenNamesReplaceTheirValuesAndOthersStay) {
  Set(ChangeAuthorization, Target("staff", "phone") + Pair("vlan", "10") + Pair("acl", "a"));
  Set(ChangeAuthorization, Target("staff", "phone") + Pair("vlan", "11") + Pair("vlan", "12"));
  const auto sets = Get(ShowAuthorization, Target("staff")).NestedIn(BYOD_EXT_AUTHORIZATION);
  ASSERT_EQ(sets.size(), 1u);
  EXPECT_EQ(sets[0],
            Target("staff", "phone") + Pair("vlan", "11") + Pair("vlan", "12") + Pair("acl", "a"));
}

TEST_F(AuthorizationRequests, SettingWhatIsSetIsUnchanged) {
  Set(ChangeAuthorization, Target("staff") + Pair("vlan", "10"));
  EXPECT_EQ(Set(ChangeAuthorization, Target("staff") + Pair("vlan", "10")).refusal(),
            uint32_t{BYOD_REFUSAL_NO_CHANGE});
}

TEST_F(AuthorizationRequests, UndoingTheLastNameRemovesTheSet) {
  Set(ChangeAuthorization, Target("staff") + Pair("vlan", "10") + Pair("acl", "a"));
  EXPECT_TRUE(Undo(ChangeAuthorization, Target("staff") + Name("vlan")).result.Ok());
  EXPECT_TRUE(Undo(ChangeAuthorization, Target("staff") + Name("acl")).result.Ok());
  EXPECT_EQ(Get(ShowAuthorization, Target("staff")).refusal(), uint32_t{BYOD_REFUSAL_NOT_FOUND});
  EXPECT_TRUE(Get(ShowAuthorization).elements.empty());
}

TEST_F(AuthorizationRequests, UndoingAGroupRemovesAllItsSets) {
  Set(ChangeAuthorization, Target("staff") + Pair("vlan", "10"));
  Set(ChangeAuthorization, Target("staff", "phone") + Pair("vlan", "11"));
  Set(ChangeAuthorization, Target("guests") + Pair("vlan", "12"));
  EXPECT_TRUE(Undo(ChangeAuthorization, Target("staff")).result.Ok());
  EXPECT_EQ(Get(ShowAuthorization).NestedIn(BYOD_EXT_AUTHORIZATION).size(), 1u);
  EXPECT_EQ(Undo(ChangeAuthorization, Target("staff")).refusal(), uint32_t{BYOD_REFUSAL_NOT_FOUND});
}

TEST_F(AuthorizationRequests, MissingGroupOrPairIsMalformed) {
  EXPECT_EQ(Set(ChangeAuthorization, Pair("vlan", "10")).refusal(),
            uint32_t{BYOD_REFUSAL_MALFORMED});
  EXPECT_EQ(Set(ChangeAuthorization, Target("staff")).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED});
  EXPECT_EQ(Set(ChangeAuthorization, Target(std::string(33, 'g')) + Pair("vlan", "10")).refusal(),
            uint32_t{BYOD_REFUSAL_MALFORMED});
}

TEST_F(AuthorizationRequests, SetTooLargeForItsRecordIsMalformed) {
  Elements many = Target("staff");
  for (int i = 0; i < 25; ++i)
    many = many + Pair("acl", std::string(255, 'x'));
  EXPECT_EQ(Set(ChangeAuthorization, many).refusal(), uint32_t{BYOD_REFUSAL_MALFORMED});
  EXPECT_TRUE(state_.authorization.groups().empty());
}

}  // namespace
}  // namespace byod::lauthd
