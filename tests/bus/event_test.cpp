// Events: patterns, who gets a notice and how often, the order of delivery.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

struct PatternCase {
  const char* name;
  const char* pattern;
  bool matches;
};

constexpr std::array kPatternCases{
    PatternCase{"a", "a", true},
    PatternCase{"a", "b", false},
    PatternCase{"a.b.c", "a.b.c", true},
    PatternCase{"a.b.c", "a.*.c", true},
    PatternCase{"a.b.c", "*.*.*", true},
    PatternCase{"a.b.c", "*", false},
    PatternCase{"a.b.c", "a.*", false},
    PatternCase{"a.b", "a.*.c", false},
    PatternCase{"a.b.c.d", "a.*.d", false},
    PatternCase{"a.b.c", "A.b.c", false},
    PatternCase{"a.bx.c", "a.b*.c", false},
    PatternCase{"a.b*.c", "a.b*.c", true},
    PatternCase{"a.*.c", "a.*.c", true},
    PatternCase{"a.*.c", "a.b.c", false},
    PatternCase{"a..c", "a.*.c", false},
    PatternCase{"a..c", "a..c", true},
    PatternCase{"a.", "a", false},
    PatternCase{"a", "a.", false},
    PatternCase{"", "", true},
    PatternCase{"", "*", false},
    PatternCase{"x", "*", true},
    PatternCase{"event.qelm.dom.initialization.blockdev.complete",
                "event.qelm.dom.initialization.*.complete", true},
    PatternCase{"event.qelm.dom.initialization.complete",
                "event.qelm.dom.initialization.*.complete", false},
    PatternCase{"event.qelm.dom.initialization.a.b.complete",
                "event.qelm.dom.initialization.*.complete", false},
};

class EventTest : public BusTest {
 protected:
  void SetUp() override {
    BusTest::SetUp();
    alpha().notify = notices_.Recorder();
  }
  Notices notices_;
};

TEST_F(EventTest, AStarStandsForExactlyOneWholePart) {
  for (const PatternCase& one : kPatternCases) {
    EXPECT_EQ(EvMatch(database(), one.name, one.pattern) != 0, one.matches)
        << one.name << " against " << one.pattern;
  }
}

TEST_F(EventTest, ANullNameOrPatternMatchesNothing) {
  EXPECT_EQ(EvMatch(database(), nullptr, "a"), 0);
  EXPECT_EQ(EvMatch(database(), "a", nullptr), 0);
}

TEST_F(EventTest, NothingMatchesInADatabaseThatWasClosedOrNeverWas) {
  KtDatabase other = nullptr;
  ASSERT_EQ(KtBusOpenDatabase(&other), kOk);
  EXPECT_EQ(EvMatch(other, "a", "a"), 1);
  EXPECT_EQ(EvMatch(database(), "a", "a"), 1);
  EXPECT_EQ(EvMatch(other, "a", "*"), 1);
  KtBusCloseDatabase(other);
  EXPECT_EQ(EvMatch(other, "a", "*"), 0);
  EXPECT_EQ(EvMatch(database(), "a", "*"), 1);
  EXPECT_EQ(EvMatch(nullptr, "a", "a"), 0);
}

TEST_F(EventTest, ASubscriptionGetsWhatItsPatternMatches) {
  for (const PatternCase& one : kPatternCases) {
    if (*one.name == '\0' || *one.pattern == '\0') continue;
    const std::size_t before = notices_.size();
    const KtCookie cookie = Subscribe(alpha(), one.pattern);
    EXPECT_EQ(Raise(one.name), kOk);
    Deliver();
    EXPECT_EQ(notices_.size() - before, one.matches ? 1U : 0U)
        << one.name << " against " << one.pattern;
    EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
  }
}

TEST_F(EventTest, ANoticeSaysWhatWhereAndWith) {
  struct Seen {
    std::string name;
    KtDatabase database = nullptr;
    std::uintptr_t kind = 0;
    std::uint32_t value = 0;
  } seen;
  alpha().notify = [&](const KtEventRecord& record) {
    seen.name = record.name;
    seen.database = record.database;
    seen.kind = record.kind;
    seen.value = ValueOf<std::uint32_t>(Find(record.properties, "x"));
    return kOk;
  };
  const KtCookie cookie = Subscribe(alpha(), "a.b");
  const KtPropset properties = NewSet();
  AddUint32(properties, "x", 17);
  EXPECT_EQ(EvRaiseEvent(database(), provider(), "a.b", properties), kOk);
  PsDestroyPropset(properties);
  Deliver();
  EXPECT_EQ(seen.name, "a.b");
  EXPECT_EQ(seen.database, database());
  EXPECT_EQ(seen.kind, KTBUS_NOTICE_EVENT);
  EXPECT_EQ(seen.value, 17U);
  EvUnregisterEvent(database(), cookie);
}

TEST_F(EventTest, AnEventWithoutPropertiesComesWithAnEmptySetThatEndsWithTheCall) {
  KtPropset kept = nullptr;
  alpha().notify = [&](const KtEventRecord& record) {
    kept = record.properties;
    EXPECT_EQ(AddUint32(record.properties, "own", 1), kOk);
    return kOk;
  };
  const KtCookie cookie = Subscribe(alpha(), "a");
  Raise("a");
  Deliver();
  EXPECT_NE(kept, nullptr);
  EXPECT_EQ(AddUint32(kept, "late", 1), kNoObject);
  EvUnregisterEvent(database(), cookie);
}

TEST_F(EventTest, EveryProviderGetsAnOwnCopyOfTheProperties) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  std::atomic<int> clean{0};
  const auto spoil = [&](const KtEventRecord& record) {
    if (AddUint32(record.properties, "spoiled", 1) == kOk) ++clean;
    PsDestroyPropset(record.properties);
    return kOk;
  };
  alpha().notify = spoil;
  beta.notify = spoil;
  const KtCookie first = Subscribe(alpha(), "a");
  const KtCookie second = Subscribe(beta, "a");
  Raise("a");
  Deliver();
  EXPECT_EQ(clean, 2);
  EvUnregisterEvent(database(), first);
  EvUnregisterEvent(database(), second);
}

TEST_F(EventTest, AProviderGetsOneNoticeHoweverManyOfItsSubscriptionsMatch) {
  std::vector<KtCookie> cookies;
  for (const char* const name : {"a.b.c", "a.b.c", "a.*.c", "*.b.*", "*.*.*"}) {
    cookies.push_back(Subscribe(alpha(), name));
  }
  Raise("a.b.c");
  Deliver();
  EXPECT_EQ(notices_.size(), 1U);
  for (const KtCookie cookie : cookies) EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
}

TEST_F(EventTest, AnEventThatNobodyWaitsForGoesNowhere) {
  EXPECT_EQ(Raise("a"), kOk);
  Deliver();
  EXPECT_EQ(notices_.size(), 0U);
}

TEST_F(EventTest, NoticesComeInTheOrderInWhichTheyWereRaised) {
  const KtCookie cookie = Subscribe(alpha(), "n.*");
  std::vector<std::string> raised;
  for (int i = 0; i < 500; ++i) {
    raised.push_back("n." + std::to_string(i));
    Raise(raised.back().c_str());
  }
  Deliver();
  EXPECT_EQ(notices_.names(), raised);
  EvUnregisterEvent(database(), cookie);
}

TEST_F(EventTest, TwoProvidersSeeOneOrderWhoeverRaises) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  Notices others;
  beta.notify = others.Recorder();
  const KtCookie first = Subscribe(alpha(), "n.*");
  const KtCookie second = Subscribe(beta, "*.*");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 100; ++i) Raise(("n." + std::to_string(t * 1000 + i)).c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  Deliver();
  EXPECT_EQ(notices_.size(), 400U);
  EXPECT_EQ(notices_.names(), others.names());
  EvUnregisterEvent(database(), first);
  EvUnregisterEvent(database(), second);
}

TEST_F(EventTest, NoticesReachAProviderOneAtATime) {
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  alpha().notify = [&](const KtEventRecord&) {
    if (++inside != 1) overlapped = true;
    std::this_thread::yield();
    --inside;
    return kOk;
  };
  const KtCookie cookie = Subscribe(alpha(), "n");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i) Raise("n");
    });
  }
  for (std::thread& thread : threads) thread.join();
  Deliver();
  EXPECT_FALSE(overlapped);
  EvUnregisterEvent(database(), cookie);
}

// A provider whose ChangeNotify waits for a signal.
class Gate {
 public:
  void Open() {
    const std::lock_guard guard(lock_);
    open_ = true;
    signal_.notify_all();
  }
  void Wait() {
    std::unique_lock guard(lock_);
    entered_ = true;
    signal_.notify_all();
    signal_.wait(guard, [&] { return open_; });
  }
  void WaitUntilEntered() {
    std::unique_lock guard(lock_);
    signal_.wait(guard, [&] { return entered_; });
  }

 private:
  std::mutex lock_;
  std::condition_variable signal_;
  bool open_ = false;
  bool entered_ = false;
};

// Records each notice, and waits at the gate with it.
auto RecorderAt(Gate& gate, Notices& notices) {
  return [&](const KtEventRecord& record) {
    notices.Add(record.name);
    gate.Wait();
    return kOk;
  };
}

TEST_F(EventTest, RaisingNeverWaitsForADeliveryAndASlowProviderHoldsUpOnlyItself) {
  ScriptedProvider slow;
  slow.Attach(database(), "slow");
  Gate gate;
  slow.notify = [&](const KtEventRecord&) {
    gate.Wait();
    return kOk;
  };
  const KtCookie first = Subscribe(slow, "a");
  const KtCookie second = Subscribe(alpha(), "a");
  for (int i = 0; i < 10; ++i) Raise("a");
  gate.WaitUntilEntered();
  while (notices_.size() < 10) std::this_thread::yield();
  EXPECT_EQ(KtBusWaitForDelivery(database(), 10), KTBUS_TIMEOUT);
  gate.Open();
  Deliver();
  EvUnregisterEvent(database(), first);
  EvUnregisterEvent(database(), second);
}

TEST_F(EventTest, WhatWaitsWhenTheSubscriptionIsTakenBackIsNotDelivered) {
  Gate gate;
  alpha().notify = RecorderAt(gate, notices_);
  const KtCookie a = Subscribe(alpha(), "a");
  const KtCookie b = Subscribe(alpha(), "b");
  Raise("a");
  gate.WaitUntilEntered();
  Raise("b");
  EXPECT_EQ(EvUnregisterEvent(database(), b), kOk);
  const KtCookie late = Subscribe(alpha(), "b");
  gate.Open();
  Deliver();
  EXPECT_THAT(notices_.names(), testing::ElementsAre("a"));
  EvUnregisterEvent(database(), a);
  EvUnregisterEvent(database(), late);
}

TEST_F(EventTest, ASubscriptionGetsNothingThatWasRaisedBefore) {
  Raise("a");
  const KtCookie cookie = Subscribe(alpha(), "a");
  Deliver();
  EXPECT_EQ(notices_.size(), 0U);
  EvUnregisterEvent(database(), cookie);
}

TEST_F(EventTest, ANameThatWasRaisedBeforeReachesWhoSubscribesLaterAndNobodyWhoLeft) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  Notices others;
  beta.notify = others.Recorder();
  const KtCookie first = Subscribe(alpha(), "a.b");
  Raise("a.b");
  Deliver();
  const KtCookie second = Subscribe(beta, "a.*");
  Raise("a.b");
  Deliver();
  EXPECT_EQ(EvUnregisterEvent(database(), first), kOk);
  Raise("a.b");
  Deliver();
  EXPECT_EQ(notices_.size(), 2U);
  EXPECT_EQ(others.size(), 2U);
  EXPECT_EQ(EvUnregisterEvent(database(), second), kOk);
  Raise("a.b");
  Deliver();
  EXPECT_EQ(others.size(), 2U);
}

TEST_F(EventTest, ANoticeStaysWantedWhenAnotherSubscriptionGoesWhileItWaits) {
  Gate gate;
  alpha().notify = RecorderAt(gate, notices_);
  const KtCookie a = Subscribe(alpha(), "a");
  const KtCookie b = Subscribe(alpha(), "b");
  const KtCookie also = Subscribe(alpha(), "*");
  Raise("a");
  gate.WaitUntilEntered();
  Raise("b");
  EXPECT_EQ(EvUnregisterEvent(database(), b), kOk);
  gate.Open();
  Deliver();
  EXPECT_THAT(notices_.names(), testing::ElementsAre("a", "b"));
  EvUnregisterEvent(database(), a);
  EvUnregisterEvent(database(), also);
}

TEST_F(EventTest, ACallBackMaySubscribeUnsubscribeAndRaise) {
  std::atomic<KtCookie> extra{0};
  KtCookie own = 0;
  alpha().notify = [&](const KtEventRecord& record) {
    notices_.Add(record.name);
    if (std::string(record.name) == "first") {
      KtCookie cookie = 0;
      EXPECT_EQ(EvRegisterEvent(database(), provider(), "second", &cookie), kOk);
      extra = cookie;
      EXPECT_EQ(EvRaiseEvent(database(), provider(), "second", nullptr), kOk);
      EXPECT_EQ(EvUnregisterEvent(database(), own), kOk);
    }
    return kOk;
  };
  own = Subscribe(alpha(), "first");
  Raise("first");
  Deliver();
  Deliver();
  EXPECT_THAT(notices_.names(), testing::ElementsAre("first", "second"));
  EXPECT_EQ(EvUnregisterEvent(database(), extra), kOk);
}

TEST_F(EventTest, ACookieThatIsNoneIsAStatus) {
  const KtCookie cookie = Subscribe(alpha(), "a");
  EXPECT_EQ(EvUnregisterEvent(database(), 0), kNoObject);
  EXPECT_EQ(EvUnregisterEvent(database(), cookie + 1000), kNoObject);
  EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
  EXPECT_EQ(EvUnregisterEvent(database(), cookie), kNoObject);
}

TEST_F(EventTest, ACookieOfAnotherDatabaseIsForeign) {
  const KtCookie cookie = Subscribe(alpha(), "a");
  KtDatabase other = nullptr;
  ASSERT_EQ(KtBusOpenDatabase(&other), kOk);
  EXPECT_EQ(EvUnregisterEvent(other, cookie), kNoObject);
  KtBusCloseDatabase(other);
  EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
}

TEST_F(EventTest, EventsOfOneDatabaseDoNotReachAnother) {
  KtDatabase other = nullptr;
  ASSERT_EQ(KtBusOpenDatabase(&other), kOk);
  const KtCookie cookie = Subscribe(alpha(), "a");
  EXPECT_EQ(KtBusRaiseEvent(other, "a", nullptr), kOk);
  EXPECT_EQ(KtBusWaitForDelivery(other, 600000), kOk);
  Deliver();
  EXPECT_EQ(notices_.size(), 0U);
  EvUnregisterEvent(database(), cookie);
  KtBusCloseDatabase(other);
}

TEST_F(EventTest, ARefusedEmptyNameRaisesNothing) {
  EXPECT_EQ(Raise(""), kInvalid);
  EXPECT_EQ(EvRaiseEvent(database(), provider(), "", nullptr), kInvalid);
}

class AlertTest : public EventTest {
 protected:
  KtStatus Publish(const ScriptedProvider& who, const char* name) {
    const KtAlertDefinition definition{name, "what it is", 3, 0};
    return ObPublishAlert(database(), who.handle(), &definition);
  }
  KtCookie SubscribeAlert(const ScriptedProvider& who, const char* name = "event.alert") {
    KtCookie cookie = 0;
    EXPECT_EQ(ObRegisterAlert(database(), who.handle(), name, &cookie), kOk);
    return cookie;
  }
  KtStatus RaiseAlert(const char* name, KtPropset properties = nullptr,
                      const KtObjId* object = nullptr) {
    return ObRaiseAlert(database(), provider(), name, properties, object);
  }
};

TEST_F(AlertTest, ReachesAProviderAsANoticeNamedEventAlert) {
  ASSERT_EQ(Publish(alpha(), "disk.full"), kOk);
  std::uintptr_t kind = 0;
  std::string text;
  std::string name;
  alpha().notify = [&](const KtEventRecord& record) {
    notices_.Add(record.name);
    kind = record.kind;
    text = TextOf(Find(record.properties, "AlertMsg0"));
    name = TextOf(Find(record.properties, "AlertName"));
    EXPECT_EQ(TextOf(Find(record.properties, "AlertDescription")), "what it is");
    EXPECT_EQ(ValueOf<std::uint32_t>(Find(record.properties, "AlertSeverity")), 3U);
    return kOk;
  };
  const KtCookie cookie = SubscribeAlert(alpha());
  const KtPropset properties = NewSet();
  AddText(properties, "AlertMsg0", "it is full");
  EXPECT_EQ(RaiseAlert("disk.full", properties), kOk);
  PsDestroyPropset(properties);
  Deliver();
  EXPECT_THAT(notices_.names(), testing::ElementsAre("event.alert"));
  EXPECT_EQ(kind, KTBUS_NOTICE_ALERT);
  EXPECT_EQ(text, "it is full");
  EXPECT_EQ(name, "disk.full");
  EXPECT_EQ(ObUnregisterAlert(database(), cookie), kOk);
}

TEST_F(AlertTest, CarriesTheObjectThatItIsAbout) {
  ASSERT_EQ(Publish(alpha(), "x"), kOk);
  const KtObjId object = NewObject();
  KtObjId seen{};
  alpha().notify = [&](const KtEventRecord& record) {
    seen = ValueOf<KtObjId>(Find(record.properties, "AlertObject"));
    return kOk;
  };
  const KtCookie cookie = SubscribeAlert(alpha());
  EXPECT_EQ(RaiseAlert("x", nullptr, &object), kOk);
  Deliver();
  EXPECT_TRUE(SameId(seen, object));
  ObUnregisterAlert(database(), cookie);
}

TEST_F(AlertTest, TakesTheZeroIdForNoObjectAndRefusesAnUnknownOne) {
  ASSERT_EQ(Publish(alpha(), "x"), kOk);
  const KtObjId zero{};
  const KtObjId unknown{kInterfaceA};
  EXPECT_EQ(RaiseAlert("x", nullptr, &zero), kOk);
  EXPECT_EQ(RaiseAlert("x", nullptr, &unknown), kNoObject);
}

TEST_F(AlertTest, KeepsAPropertyOfItsOwnThatHasAFrameworkName) {
  ASSERT_EQ(Publish(alpha(), "x"), kOk);
  std::string name;
  alpha().notify = [&](const KtEventRecord& record) {
    name = TextOf(Find(record.properties, "AlertName"));
    return kOk;
  };
  const KtCookie cookie = SubscribeAlert(alpha());
  const KtPropset properties = NewSet();
  AddText(properties, "AlertName", "mine");
  RaiseAlert("x", properties);
  PsDestroyPropset(properties);
  Deliver();
  EXPECT_EQ(name, "mine");
  ObUnregisterAlert(database(), cookie);
}

TEST_F(AlertTest, ThatIsNotPublishedCannotBeRaised) {
  EXPECT_EQ(RaiseAlert("x"), kAlertNotPublished);
  ASSERT_EQ(Publish(alpha(), "x"), kOk);
  EXPECT_EQ(ObUnpublishAlert(database(), provider(), "x"), kOk);
  EXPECT_EQ(RaiseAlert("x"), kAlertNotPublished);
}

TEST_F(AlertTest, CannotBePublishedTwice) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  EXPECT_EQ(Publish(alpha(), "x"), kOk);
  EXPECT_EQ(Publish(alpha(), "x"), kAlertPublished);
  EXPECT_EQ(Publish(beta, "x"), kAlertPublished);
}

TEST_F(AlertTest, IsUnpublishedByItsPublisherAlone) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  ASSERT_EQ(Publish(alpha(), "x"), kOk);
  EXPECT_EQ(ObUnpublishAlert(database(), beta.handle(), "x"), kAlertNotPublished);
  EXPECT_EQ(ObUnpublishAlert(database(), provider(), "missing"), kAlertNotPublished);
  EXPECT_EQ(ObUnpublishAlert(database(), provider(), "x"), kOk);
}

TEST_F(AlertTest, GoesWithItsPublisher) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  ASSERT_EQ(Publish(beta, "x"), kOk);
  KtBusDetachProvider(beta.handle());
  EXPECT_EQ(RaiseAlert("x"), kAlertNotPublished);
  EXPECT_EQ(Publish(alpha(), "x"), kOk);
}

TEST_F(AlertTest, DefinitionWithoutANameIsRefused) {
  EXPECT_EQ(Publish(alpha(), nullptr), kInvalid);
  EXPECT_EQ(Publish(alpha(), ""), kInvalid);
}

TEST_F(AlertTest, RegistrationsForItsOwnNameGetItAloneAndOnce) {
  ASSERT_EQ(Publish(alpha(), "disk.full"), kOk);
  ASSERT_EQ(Publish(alpha(), "disk.gone"), kOk);
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  Notices others;
  beta.notify = others.Recorder();
  const std::vector<KtCookie> cookies{SubscribeAlert(alpha(), "disk.*"), SubscribeAlert(alpha()),
                                      SubscribeAlert(beta, "disk.gone")};
  RaiseAlert("disk.full");
  RaiseAlert("disk.gone");
  Deliver();
  EXPECT_EQ(notices_.size(), 2U);
  EXPECT_EQ(others.size(), 1U);
  for (const KtCookie cookie : cookies) EXPECT_EQ(ObUnregisterAlert(database(), cookie), kOk);
}

TEST_F(AlertTest, AndEventsAreKeptApart) {
  ASSERT_EQ(Publish(alpha(), "x"), kOk);
  const KtCookie event = Subscribe(alpha(), "event.alert");
  RaiseAlert("x");
  Deliver();
  EXPECT_EQ(notices_.size(), 0U);
  Raise("event.alert");
  Deliver();
  EXPECT_EQ(notices_.size(), 1U);
  EvUnregisterEvent(database(), event);
  const KtCookie alert = SubscribeAlert(alpha());
  Raise("event.alert");
  Deliver();
  EXPECT_EQ(notices_.size(), 1U);
  ObUnregisterAlert(database(), alert);
}

TEST_F(AlertTest, AndEventsKeepOneOrderTogether) {
  ASSERT_EQ(Publish(alpha(), "x"), kOk);
  const KtCookie event = Subscribe(alpha(), "e");
  const KtCookie alert = SubscribeAlert(alpha());
  std::vector<std::string> expected;
  for (int i = 0; i < 50; ++i) {
    RaiseAlert("x");
    Raise("e");
    expected.insert(expected.end(), {"event.alert", "e"});
  }
  Deliver();
  EXPECT_EQ(notices_.names(), expected);
  EvUnregisterEvent(database(), event);
  ObUnregisterAlert(database(), alert);
}

TEST_F(AlertTest, CookieGivenToTheEventFunctionIsAWrongReleaseAndStaysRegistered) {
  const KtCookie alert = SubscribeAlert(alpha());
  const KtCookie event = Subscribe(alpha(), "e");
  const auto before = Row("", "registrations").wrongFrees;
  EXPECT_EQ(EvUnregisterEvent(database(), alert), kNoObject);
  EXPECT_EQ(ObUnregisterAlert(database(), event), kNoObject);
  EXPECT_EQ(Row("", "registrations").wrongFrees - before, 2U);
  EXPECT_EQ(ObUnregisterAlert(database(), alert), kOk);
  EXPECT_EQ(EvUnregisterEvent(database(), event), kOk);
}

}  // namespace
}  // namespace bus_test
