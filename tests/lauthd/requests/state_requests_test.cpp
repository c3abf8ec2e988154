// SPDX-License-Identifier: Apache-2.0
// Requests about the daemon itself, and listings of what it collected.
#include "lauthd/requests/state_requests.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "lauthd/requests/category_requests.h"
#include "lauthd/requests/identification.h"
#include "lauthd/requests/idle_requests.h"
#include "lauthd/requests/rule_changes.h"
#include "tests/lauthd/requests/handler_test.h"

namespace byod::lauthd {
namespace {

class StateRequests : public Handlers {
 protected:
  void AskAboutToaster() { Get(Identify, {Text(BYOD_TLV_USERAGENT, "a toaster")}); }
};

TEST_F(StateRequests, StatusCountsRulesOfEveryTable) {
  AddPredefined("iPhone", "Apple iPhone", "Apple");
  Set(ChangeRule<UserAgentKind>,
      {Text(BYOD_TLV_USERAGENT, "iPhone"), Text(BYOD_TLV_DEVNAME, "Phone")});
  Set(ChangeRuleValue<UserAgentKind>, Keys<UserAgentKind>::A());
  const auto tables = Get(ShowStatus).NestedIn(BYOD_EXT_TABLE);
  ASSERT_EQ(tables.size(), 3u);
  EXPECT_EQ(tables[BYOD_METHOD_USERAGENT],
            (Elements{Number(BYOD_EXT_METHOD, BYOD_METHOD_USERAGENT), Number(BYOD_TLV_COUNT, 2),
                      Number(BYOD_EXT_CUSTOM, 1), Number(BYOD_EXT_MODIFIED, 1),
                      Number(BYOD_EXT_IDLE, 0)}));
}

TEST_F(StateRequests, StatusCountsSessionsAndWatchers) {
  Watcher watcher([] {});
  const WatchHub::Registration registration(state_.watch_hub, watcher, 1000);
  const Session other(state_, [] { return Peer(); });
  const Answer status = Get(ShowStatus);
  EXPECT_TRUE(status.Has(Number(BYOD_EXT_CONNECTIONS, 2)));
  EXPECT_TRUE(status.Has(Number(BYOD_EXT_WATCHERS, 1)));
  EXPECT_TRUE(status.Has(Number(BYOD_EXT_DATABASE, BYOD_DATABASE_NONE)));
}

TEST_F(StateRequests, UnknownFingerprintsAreShownAndForgotten) {
  EXPECT_EQ(Undo(ForgetUnknowns).refusal(), uint32_t{BYOD_REFUSAL_NO_CHANGE});
  AskAboutToaster();
  AskAboutToaster();
  const auto shown = Get(ShowUnknowns).NestedIn(BYOD_EXT_UNKNOWN);
  ASSERT_EQ(shown.size(), 1u);
  Answer unknown;
  unknown.elements = shown[0];
  EXPECT_EQ(unknown.TextOf(BYOD_TLV_USERAGENT), "a toaster");
  EXPECT_TRUE(unknown.Has(Counter(BYOD_EXT_SEEN, 2)));
  EXPECT_TRUE(Undo(ForgetUnknowns).result.Ok());
  EXPECT_TRUE(Get(ShowUnknowns).elements.empty());
}

TEST_F(StateRequests, UnknownFingerprintsCannotBeSet) {
  AskAboutToaster();
  EXPECT_EQ(Set(ForgetUnknowns).refusal(), uint32_t{BYOD_REFUSAL_UNKNOWN_KIND});
  EXPECT_EQ(Get(ShowUnknowns).elements.size(), 1u);
}

class Watches : public StateRequests {
 protected:
  Answer AskFor(const Peer& peer) {
    Session session(state_, [&] { return peer; });
    return Ask(session, StartWatch, BYOD_OP_GET);
  }
  /// Has users watch until no more may. @return how many do
  size_t Fill(const Peer& peer) {
    size_t count = 0;
    while (AskFor(peer).watch) {
      registrations_.push_back(
          std::make_unique<WatchHub::Registration>(state_.watch_hub, watcher_, peer.user));
      ++count;
    }
    return count;
  }

  Watcher watcher_{[] {}};
  std::vector<std::unique_ptr<WatchHub::Registration>> registrations_;
};

TEST_F(Watches, AreLeftToTheConnectionUpToALimit) {
  EXPECT_EQ(Fill({0, true, true}), WatchHub::kMaxWatchers);
  const Answer refused = AskFor({0, true, true});
  EXPECT_FALSE(refused.watch);
  EXPECT_EQ(refused.refusal(), uint32_t{BYOD_REFUSAL_BUSY});
  EXPECT_EQ(refused.result.reason, "too many clients watch already");
}

TEST_F(Watches, OfOneUserAreAQuarter) {
  EXPECT_EQ(Fill({1000}), WatchHub::kMaxWatchers / 4);
  EXPECT_EQ(AskFor({1000}).result.reason, "user 1000 has its share of 8 watches");
  EXPECT_TRUE(AskFor({1001}).watch);
}

TEST_F(Watches, AreLeftOverForThoseWhoMayChangeTheConfiguration) {
  for (uid_t user = 1000; user < 1010; ++user)
    Fill({user});
  EXPECT_EQ(registrations_.size(), 30u);
  EXPECT_EQ(Fill({2000, true}), 2u);
}

TEST_F(StateRequests, CategoriesAreGivenOnceEachInOrder) {
  AddPredefined("a", "", "", "phone");
  AddPredefined("b", "", "", "camera");
  AddPredefined("c", "", "", "phone");
  Set(ChangeRuleAttribute<UserAgentKind>,
      {Text(BYOD_TLV_USERAGENT, "c"), Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_CATEGORY),
       Text(BYOD_TLV_DEVTYPE, "tablet")});
  EXPECT_EQ(Get(ListCategories).TextsOf(BYOD_TLV_DEVTYPE),
            (std::vector<std::string>{"camera", "phone", "tablet"}));
}

TEST_F(StateRequests, IdleRulesAreListedWithAReason) {
  TextKey key = {};
  CopyText(key.text, "gone");
  ByodDeviceInfo info = {};
  CopyText(info.name, "Phone");
  state_.idle_rules.Put<UserAgentKind>(key, &info, true);
  const auto rules = Get(ListIdleRules).NestedIn(BYOD_EXT_RULE);
  ASSERT_EQ(rules.size(), 1u);
  Answer rule;
  rule.elements = rules[0];
  EXPECT_TRUE(rule.Has(Number(BYOD_EXT_METHOD, BYOD_METHOD_USERAGENT)));
  EXPECT_EQ(rule.TextOf(BYOD_TLV_USERAGENT), "gone");
  EXPECT_EQ(rule.TextOf(BYOD_TLV_DEVNAME), "Phone");
  EXPECT_NE(rule.TextOf(BYOD_EXT_REASON), "");
  EXPECT_FALSE(state_.idle_rules.Empty()) << "a listing leaves the rules where they are";
}

class Registry : private HandlerDirectory, public Handlers {
 protected:
  Registry() : Handlers(ReadingFrom(path())) {}
  static Options ReadingFrom(const std::string& directory) {
    Options options = WithoutDatabase();
    options.ieee = directory;
    return options;
  }
  void WriteAll(const std::string& rows) {
    for (const char* const name : {"oui.csv", "mam.csv", "oui36.csv", "iab.csv"}) {
      Write(name, "Assignment,Organization Name\n" + rows);
      Date(name, 1600000000);
    }
  }
  void Date(const std::string& name, time_t seconds) {
    const timespec times[] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, (path() + "/" + name).c_str(), times, 0), 0);
  }
};

TEST_F(Registry, StatusHasTheDateOfTheNewestFileThatIsInEffect) {
  EXPECT_FALSE(Get(ShowStatus).HasType(BYOD_EXT_REGISTRY_TIME));
  WriteAll("");
  Date("mam.csv", 1700000000);
  EXPECT_FALSE(Get(ShowStatus).HasType(BYOD_EXT_REGISTRY_TIME)) << "not read yet";
  Set(ReloadRules);
  EXPECT_TRUE(Get(ShowStatus).Has(Counter(BYOD_EXT_REGISTRY_TIME, 1700000000000000)));
  WriteAll("not a block,X\n");
  Date("oui.csv", 1800000000);
  EXPECT_EQ(Set(ReloadRules).refusal(), uint32_t{BYOD_REFUSAL_BAD_DATA});
  EXPECT_TRUE(Get(ShowStatus).Has(Counter(BYOD_EXT_REGISTRY_TIME, 1700000000000000)));
}

class RuleFiles : private HandlerDirectory, public Handlers {
 protected:
  RuleFiles() : Handlers(ReadingFrom(path())) {}
  static Options ReadingFrom(const std::string& directory) {
    Options options = WithoutDatabase();
    options.rules = directory;
    return options;
  }
  void WriteUserAgents(const std::string& rows) {
    Write("user-agent.csv", "expression,name,vendor,category,os\n" + rows);
  }
};

TEST_F(RuleFiles, ReloadTakesTheNewRules) {
  WriteUserAgents("iPhone,Apple iPhone,,,\n");
  EXPECT_TRUE(Set(ReloadRules).result.Ok());
  EXPECT_EQ(UserAgentKind::Count(), 1u);
  EXPECT_EQ(Set(ReloadRules).refusal(), uint32_t{BYOD_REFUSAL_NO_CHANGE});
}

TEST_F(RuleFiles, RefusedReloadIsShownInTheStatusUntilOneSucceeds) {
  WriteUserAgents("iPhone,Apple iPhone,,,\n");
  Set(ReloadRules);
  WriteUserAgents("too,few\n");
  EXPECT_EQ(Set(ReloadRules).refusal(), uint32_t{BYOD_REFUSAL_BAD_DATA});
  EXPECT_EQ(UserAgentKind::Count(), 1u);
  EXPECT_NE(Get(ShowStatus).TextOf(BYOD_EXT_RELOAD_FAILURE), "");
  WriteUserAgents("iPhone,Apple iPhone,,,\n");
  Set(ReloadRules);
  EXPECT_EQ(Get(ShowStatus).TextOf(BYOD_EXT_RELOAD_FAILURE), "");
}

}  // namespace
}  // namespace byod::lauthd
