#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "base/status.h"
#include "dispatch/event_dispatcher.h"
#include "dispatch/event_manager.h"
#include "support/event.h"
#include "support/managers_test.h"

namespace {

using support::BodyPath;
using support::Notice;

constexpr const char* kNotRegistered = "ERROR: CKtEventManager::UnRegisterEventPath() failed";

class EventRegistrationTest : public support::ManagersTest {
 protected:
  static KtStatus Ignore(const KtEventRecord&) { return 0; }
  CKtEventManager& manager() { return CKtEventManager::Instance(); }
};

TEST_F(EventRegistrationTest, MakesOneDispatcherForANameAndOneRegistrationForEachPath) {
  BodyPath first("event.one", &Ignore);
  BodyPath second("event.one", &Ignore);
  BodyPath other("event.two", &Ignore);
  EXPECT_EQ(manager().RegisterEventPath(*first), 0u);
  EXPECT_EQ(manager().RegisterEventPath(*second), 0u);
  EXPECT_EQ(manager().RegisterEventPath(*other), 0u);
  EXPECT_EQ(manager().DispatcherCount(), 2u);
  EXPECT_EQ(framework_.Subscriptions(),
            (std::vector<std::string>{"event.one", "event.one", "event.two"}));
}

TEST_F(EventRegistrationTest, WithdrawsEveryRegistrationOfANameWithItsLastPathOnly) {
  BodyPath first("event.one", &Ignore);
  BodyPath second("event.one", &Ignore);
  manager().RegisterEventPath(*first);
  manager().RegisterEventPath(*second);
  manager().UnRegisterEventPath(*first);
  EXPECT_EQ(framework_.Subscriptions().size(), 2u);
  manager().UnRegisterEventPath(*second);
  EXPECT_TRUE(framework_.Subscriptions().empty());
  EXPECT_EQ(manager().DispatcherCount(), 0u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(EventRegistrationTest, RegistersExactlyTheAlertNameWithTheAlertsAndLongerNamesAsEvents) {
  BodyPath alert("event.alert", &Ignore);
  BodyPath dotted("event.alert.disk", &Ignore);
  BodyPath longer("event.alerts", &Ignore);
  BodyPath shorter("event.aler", &Ignore);
  manager().RegisterEventPath(*alert);
  manager().RegisterEventPath(*dotted);
  manager().RegisterEventPath(*longer);
  manager().RegisterEventPath(*shorter);
  EXPECT_EQ(framework_.AlertSubscriptions(), std::vector<std::string>{"event.alert"});
  EXPECT_EQ(framework_.Subscriptions(),
            (std::vector<std::string>{"event.alert.disk", "event.alerts", "event.aler"}));
  framework_.ForgetCalls();
  manager().UnRegisterEventPath(*alert);
  manager().UnRegisterEventPath(*dotted);
  EXPECT_EQ(framework_.CallNames(),
            (std::vector<std::string>{"ObUnregisterAlert", "EvUnregisterEvent"}));
}

TEST_F(EventRegistrationTest, UsesTheProvidersOwnHandlesForAPathWithoutADatabase) {
  BodyPath path("event.one", &Ignore, nullptr, framework_.MakeProvider());
  framework_.ForgetCalls();
  manager().RegisterEventPath(*path);
  EXPECT_EQ(framework_.CallTexts(),
            std::vector<std::string>{"EvRegisterEvent(db#1, provider#1, \"event.one\")"});
}

TEST_F(EventRegistrationTest, UsesThePathsOwnHandlesOtherwise) {
  const KtDatabase database = framework_.MakeDatabase();
  const KtProvider context = framework_.MakeProvider();
  BodyPath path("event.one", &Ignore, database, context);
  framework_.ForgetCalls();
  manager().RegisterEventPath(*path);
  KtCookie cookie = 0;
  ASSERT_EQ(EvRegisterEvent(database, context, "event.one", &cookie), 0u);
  ASSERT_EQ(framework_.CallTexts().size(), 2u);
  EXPECT_EQ(framework_.CallTexts()[0], framework_.CallTexts()[1]);
  EXPECT_EQ(EvUnregisterEvent(database, cookie), 0u);
}

TEST_F(EventRegistrationTest, KeepsAPathWhoseRegistrationFailedAndSaysSo) {
  int calls = 0;
  BodyPath path("event.one", [&](const KtEventRecord&) { return ++calls, KtStatus{0}; });
  framework_.FailCall("EvRegisterEvent", 1, KTERROR_UNEXPECTED);
  EXPECT_EQ(manager().RegisterEventPath(*path), 0u);
  std::ostringstream handle;
  handle << std::hex
         << static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(framework_.database()));
  EXPECT_EQ(
      framework_.Traces(),
      std::vector{fake::Error("ERROR: RegisterForEvent(), Unable to register to receive event "
                              "'event.one' from database " +
                              handle.str())});
  const KtEventRecord notice = Notice("event.one");
  EXPECT_EQ(manager().Notify(&notice), 0u);
  EXPECT_EQ(calls, 1);
  framework_.ForgetCalls();
  manager().UnRegisterEventPath(*path);
  EXPECT_TRUE(framework_.CallNames().empty()) << "there is no registration to withdraw";
}

TEST_F(EventRegistrationTest, SaysWhenTheNameOfAPathHasNoDispatcher) {
  BodyPath path("event.one", &Ignore);
  manager().UnRegisterEventPath(*path);
  EXPECT_EQ(framework_.Traces(), std::vector{fake::Error(kNotRegistered)});
}

TEST_F(EventRegistrationTest, SaysWhenADispatcherDoesNotHaveThePathAndChangesNothing) {
  BodyPath registered("event.one", &Ignore);
  BodyPath stranger("event.one", &Ignore);
  manager().RegisterEventPath(*registered);
  manager().UnRegisterEventPath(*stranger);
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Error("ERROR: CKtEventDispatcher::Remove() failed : "
                                    "KTERROR_NO_EVENT")});
  EXPECT_EQ(manager().DispatcherCount(), 1u);
  EXPECT_EQ(framework_.Subscriptions().size(), 1u);
}

TEST_F(EventRegistrationTest, ComparesNamesByteForByteWithoutMatchingPatterns) {
  BodyPath pattern("event.*", &Ignore);
  BodyPath name("event.one", &Ignore);
  manager().RegisterEventPath(*pattern);
  manager().RegisterEventPath(*name);
  EXPECT_EQ(manager().DispatcherCount(), 2u);
}

TEST_F(EventRegistrationTest, KeepsTheFirst1023CharactersOfALongNameAndFindsItNoMore) {
  const std::string name(1500, 'x');
  BodyPath path(name, &Ignore);
  manager().RegisterEventPath(*path);
  manager().RegisterEventPath(*path);
  EXPECT_EQ(manager().DispatcherCount(), 2u) << "a second dispatcher for the same path";
  EXPECT_EQ(framework_.Subscriptions(), (std::vector<std::string>{name, name}));
  EXPECT_EQ((*path).GetEventName(), name);
  CKtEventDispatcher dispatcher(name);
  EXPECT_EQ(dispatcher.GetName(), std::string(1023, 'x'));
}

TEST_F(EventRegistrationTest, ForgetsAPathThatGoesThoughItsLongNameCouldNotBeFound) {
  std::optional<BodyPath> path(std::in_place, std::string(1500, 'x'), &Ignore);
  manager().RegisterEventPath(**path);
  manager().UnRegisterEventPath(**path);
  EXPECT_EQ(framework_.Traces(), std::vector{fake::Error(kNotRegistered)});
  path.reset();
  EXPECT_EQ(manager().DispatcherCount(), 0u);
  EXPECT_TRUE(framework_.Subscriptions().empty());
  EXPECT_EQ(framework_.Traces().size(), 1u) << "silently";
}

TEST_F(EventRegistrationTest, ForgetsAPathThatWasRegisteredTwiceAndUnregisteredOnce) {
  std::optional<BodyPath> path(std::in_place, "event.one", &Ignore);
  manager().RegisterEventPath(**path);
  manager().RegisterEventPath(**path);
  manager().UnRegisterEventPath(**path);
  EXPECT_EQ(manager().DispatcherCount(), 1u);
  path.reset();
  EXPECT_EQ(manager().DispatcherCount(), 0u);
}

TEST_F(EventRegistrationTest, ShutdownWithdrawsEveryRegistrationInOrderAndForgetsTheManager) {
  BodyPath first("event.one", &Ignore);
  BodyPath second("event.alert", &Ignore);
  manager().RegisterEventPath(*first);
  manager().RegisterEventPath(*second);
  CKtEventManager* const old = &manager();
  framework_.ForgetCalls();
  old->Shutdown();
  EXPECT_EQ(framework_.CallNames(),
            (std::vector<std::string>{"EvUnregisterEvent", "ObUnregisterAlert"}));
  EXPECT_NE(&manager(), old);
  EXPECT_EQ(manager().DispatcherCount(), 0u);
}

TEST_F(EventRegistrationTest, ANoticeAfterShutdownFindsAFreshEmptyManager) {
  BodyPath path("event.one", &Ignore);
  manager().RegisterEventPath(*path);
  manager().Shutdown();
  const KtEventRecord notice = Notice("event.one");
  EXPECT_EQ(manager().Notify(&notice), KTERROR_NO_EVENT);
  EXPECT_EQ(framework_.TracesAt(6),
            std::vector<std::string>{"ERROR: CKtEventManager::Notify(event.one) failed with error "
                                     "KTERROR_NO_EVENT, no listener for event."});
}

TEST_F(EventRegistrationTest, AForgottenManagerHandsOnToTheOneThatIsThere) {
  CKtEventManager& old = manager();
  old.Shutdown();
  int calls = 0;
  BodyPath path("event.one", [&](const KtEventRecord&) { return ++calls, KtStatus{0}; });
  EXPECT_EQ(old.RegisterEventPath(*path), 0u);
  EXPECT_EQ(old.DispatcherCount(), 0u);
  EXPECT_EQ(manager().DispatcherCount(), 1u);
  const KtEventRecord notice = Notice("event.one");
  EXPECT_EQ(old.Notify(&notice), 0u);
  EXPECT_EQ(calls, 1);
  old.UnRegisterEventPath(*path);
  EXPECT_EQ(manager().DispatcherCount(), 0u);
}

TEST_F(EventRegistrationTest, ComesAndGoesWhicheverCallFails) {
  const std::size_t happened = fake::FailEveryCallInTurn(
      {std::begin(fake::kFailures), std::end(fake::kFailures)}, [&](const auto& arm, KtStatus) {
        BodyPath event("event.one", &Ignore);
        BodyPath alert("event.alert", &Ignore);
        arm();
        EXPECT_EQ(manager().RegisterEventPath(*event), 0u);
        EXPECT_EQ(manager().RegisterEventPath(*alert), 0u);
        manager().UnRegisterEventPath(*event);
        manager().UnRegisterEventPath(*alert);
        EXPECT_EQ(manager().DispatcherCount(), 0u);
        EXPECT_EQ(framework_.Outstanding().registrations, 0u);
      });
  EXPECT_EQ(happened, 4u * std::size(fake::kFailures));
}

TEST_F(EventRegistrationTest, APathTellsWhatItWasMadeOf) {
  CKtEventPath path(nullptr, nullptr, "event.one", framework_.database(), framework_.provider());
  EXPECT_STREQ(path.GetEventName(), "event.one");
  EXPECT_TRUE(path.IsForEvent("event.one"));
  EXPECT_FALSE(path.IsForEvent("event.*"));
  EXPECT_EQ(path.GetDatabase(), framework_.database());
  EXPECT_EQ(path.GetContext(), framework_.provider());
  EXPECT_EQ(path.GetTag(), 0u);
}

TEST_F(EventRegistrationTest, APathRefusesToBeInvokedWithoutAnEvent) {
  CKtEventPath path(nullptr, nullptr, "event.one", nullptr, nullptr);
  EXPECT_EQ(path.Invoke(nullptr), KTERROR_NO_EVENT);
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Error("ERROR: CKtEventPath::Invoke() failed. Invalid event.")});
}

TEST_F(EventRegistrationTest, APathShowsTheRecordTwiceAndDropsTheStatusOfItsCallBack) {
  struct Seen {
    CKtEventView view{};
    std::uint64_t first = 0;
    std::uint64_t third = 0;
  } seen;
  CKtEventPath path(
      &seen,
      [](void* owner, const CKtEventView* view, std::uint64_t first, std::uint64_t third) {
        *static_cast<Seen*>(owner) = Seen{*view, first, third};
        return KTERROR_UNEXPECTED;
      },
      "event.one", nullptr, nullptr);
  const KtEventRecord notice = Notice("event.one");
  EXPECT_EQ(path.Invoke(&notice, 1, 3), 0u);
  EXPECT_EQ(seen.view.record, &notice);
  EXPECT_EQ(seen.view.event, &notice);
  EXPECT_EQ(seen.first, 1u);
  EXPECT_EQ(seen.third, 3u);
}

}  // namespace
