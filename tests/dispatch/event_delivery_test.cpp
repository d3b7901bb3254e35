#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/status.h"
#include "dispatch/control_manager.h"
#include "dispatch/event_manager.h"
#include "support/event.h"
#include "support/managers_test.h"

namespace {

using support::BodyPath;
using support::Notice;

class EventDeliveryTest : public support::ManagersTest {
 protected:
  CKtEventManager& manager() { return CKtEventManager::Instance(); }

  KtStatus Notify(const char* name) {
    const KtEventRecord notice = Notice(name);
    return manager().Notify(&notice);
  }
  KtStatus Notify(const char* name, KtDatabase database) {
    const KtEventRecord notice = Notice(name, database);
    return manager().Notify(&notice);
  }

  // A registered path that writes its number and does what the test wants.
  BodyPath& Listening(const char* name, int number, std::function<void()> more = {}) {
    paths_.push_back(std::make_unique<BodyPath>(
        name, [this, number, more = std::move(more)](const KtEventRecord&) {
          called_.push_back(number);
          if (more) more();
          return KtStatus{0};
        }));
    EXPECT_EQ(manager().RegisterEventPath(**paths_.back()), 0u);
    return *paths_.back();
  }

  void ReleaseModuleState() override {
    paths_.clear();
    ManagersTest::ReleaseModuleState();
  }

  // The numbers of `count` paths, made first to last, in the order of their addresses.
  std::vector<int> InAddressOrder(int first, int count) {
    std::vector<int> order;
    for (int i = 0; i < count; ++i) order.push_back(first + i);
    std::sort(order.begin(), order.end(), [&](int left, int right) {
      return std::less<>()(&**paths_[static_cast<std::size_t>(left - first)],
                           &**paths_[static_cast<std::size_t>(right - first)]);
    });
    return order;
  }

  std::vector<std::unique_ptr<BodyPath>> paths_;
  std::vector<int> called_;
};

TEST_F(EventDeliveryTest, APatternReceivesAnySinglePartInPlaceOfItsStar) {
  Listening("event.qelm.dom.initialization.*.complete", 1);
  EXPECT_EQ(Notify("event.qelm.dom.initialization.blockdev.complete"), 0u);
  EXPECT_EQ(Notify("event.qelm.dom.initialization.x.complete"), 0u);
  EXPECT_EQ(called_, (std::vector{1, 1}));
  EXPECT_EQ(Notify("event.qelm.dom.initialization.a.b.complete"), KTERROR_NO_EVENT);
  EXPECT_EQ(Notify("event.qelm.dom.initialization.complete"), KTERROR_NO_EVENT);
  EXPECT_EQ(called_.size(), 2u);
}

TEST_F(EventDeliveryTest, AsksForAMatchOfEveryNameBeforeTheOneThatEqualsAndOfNoOther) {
  for (const char* const name : {"a.*", "event.on", "event.one", "event.*", "b"}) {
    Listening(name, 1);
  }
  framework_.ForgetCalls();
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(framework_.CountOf("EvMatch"), 2u);
  framework_.ForgetCalls();
  EXPECT_EQ(Notify("nothing"), KTERROR_NO_EVENT);
  EXPECT_EQ(framework_.CountOf("EvMatch"), 5u);
}

TEST_F(EventDeliveryTest, ANameThatWasCutBelongsToTheNextOneOnceTheFirstHasGone) {
  const std::string kept(1023, 'x');
  Listening((kept + "yy").c_str(), 1);
  Listening((kept + "z").c_str(), 2);
  EXPECT_EQ(Notify(kept.c_str()), 0u);
  EXPECT_EQ(called_, std::vector{1});
  paths_.erase(paths_.begin());
  EXPECT_EQ(Notify(kept.c_str()), 0u);
  EXPECT_EQ(called_, (std::vector{1, 2}));
  Listening(kept.c_str(), 3);
  EXPECT_EQ(manager().DispatcherCount(), 1u) << "the name itself finds the one that is left";
  paths_.clear();
  EXPECT_EQ(Notify(kept.c_str()), KTERROR_NO_EVENT);
}

TEST_F(EventDeliveryTest, APathReceivesOnlyWhatItsOwnDatabaseRaised) {
  Listening("event.one", 1);
  EXPECT_EQ(Notify("event.one", framework_.MakeDatabase()), 0u) << "0 also when nobody was called";
  EXPECT_TRUE(called_.empty());
  EXPECT_EQ(Notify("event.one", framework_.database()), 0u);
  EXPECT_EQ(called_, std::vector{1});
}

TEST_F(EventDeliveryTest, APathWithoutADatabaseReceivesWhatTheProvidersOwnRaised) {
  int calls = 0;
  BodyPath path(
      "event.one", [&](const KtEventRecord&) { return ++calls, KtStatus{0}; }, nullptr, nullptr);
  manager().RegisterEventPath(*path);
  EXPECT_EQ(Notify("event.one", framework_.MakeDatabase()), 0u);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(Notify("event.one", framework_.database()), 0u);
  EXPECT_EQ(calls, 1);
}

TEST_F(EventDeliveryTest, CallsThePathsOfOneNameInOrderOfTheirAddresses) {
  const auto path = [this](int number) {
    return BodyPath("event.one", [this, number](const KtEventRecord&) {
      called_.push_back(number);
      return KtStatus{0};
    });
  };
  // One array, registered from its end: neither order of registration nor luck gives this order.
  BodyPath paths[] = {path(1), path(2), path(3), path(4)};
  for (std::size_t i = std::size(paths); i-- > 0;) manager().RegisterEventPath(*paths[i]);
  EXPECT_EQ(manager().DispatcherCount(), 1u);
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(called_, (std::vector{1, 2, 3, 4}));
}

TEST_F(EventDeliveryTest, ReachesOnlyTheFirstDispatcherThatEqualsOrMatches) {
  Listening("event.*", 1);
  Listening("event.one", 2);
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(called_, std::vector{1}) << "in order of creation, the better match notwithstanding";
}

TEST_F(EventDeliveryTest, AsksTheFrameworkToMatchTheEventsNameAgainstTheDispatchers) {
  Listening("event.two", 1);
  Listening("event.*", 2);
  framework_.ForgetCalls();
  EXPECT_EQ(Notify("event.one"), 0u);
  std::vector<std::string> matches;
  for (const std::string& text : framework_.CallTexts()) {
    if (text.rfind("EvMatch", 0) == 0) matches.push_back(text);
  }
  EXPECT_EQ(matches, (std::vector<std::string>{"EvMatch(db#1, \"event.one\", \"event.two\")",
                                               "EvMatch(db#1, \"event.one\", \"event.*\")"}));
}

TEST_F(EventDeliveryTest, AnswersNoEventAfterALineWhenNobodyListens) {
  Listening("event.one", 1);
  EXPECT_EQ(Notify("event.two"), 0xC100000Du);
  EXPECT_EQ(framework_.TracesAt(6),
            std::vector<std::string>{"ERROR: CKtEventManager::Notify(event.two) failed with error "
                                     "KTERROR_NO_EVENT, no listener for event."});
}

TEST_F(EventDeliveryTest, RefusesANullNoticeWithoutALine) {
  EXPECT_EQ(manager().Notify(nullptr), E_INVALIDARG);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(EventDeliveryTest, ANoticeWithoutANameMatchesNobody) {
  Listening("*", 1);
  EXPECT_EQ(Notify(nullptr), KTERROR_NO_EVENT);
  EXPECT_TRUE(called_.empty());
}

TEST_F(EventDeliveryTest, HoldsItsLockAndAnActivityScopeWhileACallBackRuns) {
  std::size_t held = 0;
  std::uint32_t activity = 0;
  Listening("event.one", 1, [&] {
    held = framework_.Outstanding().held_sections;
    activity = CKtControlManager::Instance().ActivityCount();
  });
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(held, 1u);
  EXPECT_EQ(activity, 1u);
  EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
  EXPECT_EQ(CKtControlManager::Instance().ActivityCount(), 0u);
}

TEST_F(EventDeliveryTest, GoesOnAfterACallBackThatThrowsAStatusWithoutAnotherLine) {
  Listening("event.one", 1, [] { throw std::uint32_t{0xC1000010}; });
  Listening("event.one", 2, [] { throw std::uint32_t{0xC1000010}; });
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(called_.size(), 2u);
  EXPECT_TRUE(framework_.TracesAt(6).empty());
  EXPECT_EQ(CKtControlManager::Instance().ActivityCount(), 0u);
  EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
}

TEST_F(EventDeliveryTest, GoesOnAfterACallBackThatThrowsAnythingElseWithOneLine) {
  Listening("event.one", 1, [] { throw std::runtime_error("x"); });
  Listening("event.one", 2, [] { throw 1; });
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(called_.size(), 2u);
  EXPECT_EQ(framework_.TracesAt(6).size(), 2u);
  EXPECT_EQ(CKtControlManager::Instance().ActivityCount(), 0u);
}

TEST_F(EventDeliveryTest, DoesNotCallAPathThatACallBackTookOut) {
  bool done = false;
  for (int i = 1; i <= 3; ++i) {
    Listening("event.one", i, [&] {
      // The one that is called first takes out the one that would be called last.
      if (std::exchange(done, true)) return;
      const int last = InAddressOrder(1, 3)[2];
      manager().UnRegisterEventPath(**paths_[static_cast<std::size_t>(last - 1)]);
    });
  }
  const std::vector<int> order = InAddressOrder(1, 3);
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(called_, (std::vector{order[0], order[1]}));
}

TEST_F(EventDeliveryTest, LetsACallBackDestroyItsOwnPathAndEveryOther) {
  for (int i = 1; i <= 3; ++i) {
    Listening("event.one", i, [&] { paths_.clear(); });
  }
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(called_.size(), 1u) << "the dispatcher itself is gone";
  EXPECT_EQ(manager().DispatcherCount(), 0u);
  EXPECT_TRUE(framework_.Subscriptions().empty());
}

TEST_F(EventDeliveryTest, DoesNotCallForTheNoticeUnderWayWhatACallBackAdds) {
  bool added = false;
  Listening("event.one", 1, [&] {
    if (!std::exchange(added, true)) Listening("event.one", 2);
  });
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(called_, std::vector{1});
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(called_.size(), 3u);
}

TEST_F(EventDeliveryTest, LetsACallBackShutTheManagerDown) {
  Listening("event.one", 1, [&] { CKtEventManager::Instance().Shutdown(); });
  Listening("event.one", 2, [&] { CKtEventManager::Instance().Shutdown(); });
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(called_.size(), 1u);
  EXPECT_TRUE(framework_.Subscriptions().empty());
}

TEST_F(EventDeliveryTest, DeliversANoticeInsideANotice) {
  Listening("event.outer", 1, [&] { EXPECT_EQ(Notify("event.inner"), 0u); });
  Listening("event.inner", 2);
  EXPECT_EQ(Notify("event.outer"), 0u);
  EXPECT_EQ(called_, (std::vector{1, 2}));
}

}  // namespace
