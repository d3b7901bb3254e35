// What the service's observer is told, and that nobody waits for it.
#include <atomic>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ObserverTest : public BusTest {
 protected:
  struct Seen {
    std::uint32_t what;
    std::string name;
    std::string provider;
    KtObjId object;
    std::string type;
    std::string description;
    std::uint32_t severity;
    std::string text;  // the property "text"
    std::uint64_t time;
    std::uint64_t lost;
    std::thread::id thread;
  };

  void SetUp() override {
    BusTest::SetUp();
    ASSERT_EQ(KtBusObserve(database(), &Remember, this), kOk);
  }
  void TearDown() override {
    Release();
    EXPECT_EQ(KtBusObserve(database(), nullptr, nullptr), kOk);
    BusTest::TearDown();
  }

  static void Remember(const KtBusObservation* told, void* context) {
    auto& test = *static_cast<ObserverTest*>(context);
    EXPECT_EQ(told->size, sizeof(KtBusObservation));
    Seen seen{told->what,
              told->name,
              told->provider,
              told->object,
              told->type,
              told->description,
              told->severity,
              {},
              told->time,
              told->lost,
              std::this_thread::get_id()};
    EXPECT_EQ(told->properties != nullptr,
              told->what == KTBUS_OBSERVED_EVENT || told->what == KTBUS_OBSERVED_ALERT);
    if (told->properties != nullptr && TextHere(told->properties)) {
      seen.text = TextOf(Find(told->properties, "text"));
    }
    {
      const std::lock_guard guard(test.lock_);
      test.seen_.push_back(std::move(seen));
    }
    if (test.blocks_) test.gate_.wait();
    if (test.also_) test.also_();
  }

  static bool TextHere(KtPropset set) {
    cuvo_property* found = nullptr;
    const bool there = PsFindProperty(set, "text", &found) == kOk;
    if (there) PsFreeProperty(found);
    return there;
  }

  std::vector<Seen> All() {
    Deliver();
    const std::lock_guard guard(lock_);
    return std::exchange(seen_, {});
  }
  std::vector<std::uint32_t> Kinds() {
    std::vector<std::uint32_t> kinds;
    for (const auto& one : All()) kinds.push_back(one.what);
    return kinds;
  }

  // From the next call on the observer waits until Release().
  void Block() { blocks_ = true; }
  void Release() {
    if (!std::exchange(released_, true)) open_.set_value();
  }
  void WaitUntilItIsCalled() {
    for (;;) {
      {
        const std::lock_guard guard(lock_);
        if (!seen_.empty()) return;
      }
      std::this_thread::yield();
    }
  }

  std::mutex lock_;
  std::vector<Seen> seen_;
  std::atomic<bool> blocks_{false};
  std::promise<void> open_;
  const std::shared_future<void> gate_{open_.get_future()};
  bool released_ = false;
  std::function<void()> also_;
};

TEST_F(ObserverTest, AnEventIsToldWithItsRaiserAndItsProperties) {
  const KtPropset set = NewSet();
  ASSERT_EQ(AddText(set, "text", "hello"), kOk);
  ASSERT_EQ(EvRaiseEvent(database(), provider(), "event.a", set), kOk);
  ASSERT_EQ(KtBusRaiseEvent(database(), "event.b", nullptr), kOk);
  PsDestroyPropset(set);
  const auto seen = All();
  ASSERT_THAT(seen, SizeIs(2));
  EXPECT_EQ(seen[0].what, KTBUS_OBSERVED_EVENT);
  EXPECT_EQ(seen[0].name, "event.a");
  EXPECT_EQ(seen[0].provider, "alpha");
  EXPECT_EQ(seen[0].text, "hello");
  EXPECT_GT(seen[0].time, 1'600'000'000'000U);
  EXPECT_EQ(seen[1].name, "event.b");
  EXPECT_EQ(seen[1].provider, "");
}

TEST_F(ObserverTest, AnAlertIsToldWithItsDefinitionAndItsObject) {
  const KtObjId object = NewObject();
  const KtAlertDefinition definition{"full", "no room is left", 3, 0};
  ASSERT_EQ(ObPublishAlert(database(), provider(), &definition), kOk);
  static_cast<void>(All());
  ASSERT_EQ(ObRaiseAlert(database(), provider(), "full", nullptr, &object), kOk);
  const auto seen = All();
  ASSERT_THAT(seen, SizeIs(1));
  EXPECT_EQ(seen[0].what, KTBUS_OBSERVED_ALERT);
  EXPECT_EQ(seen[0].name, "full");
  EXPECT_EQ(seen[0].provider, "alpha");
  EXPECT_EQ(seen[0].description, "no room is left");
  EXPECT_EQ(seen[0].severity, 3U);
  EXPECT_TRUE(SameId(seen[0].object, object));
  EXPECT_EQ(seen[0].type, "QELM_Object");
}

TEST_F(ObserverTest, AnObjectIsToldWhenItComesAndWhenItGoes) {
  const KtObjId object = NewObject();
  ASSERT_EQ(ObDeleteObject(database(), &object), kOk);
  const auto seen = All();
  ASSERT_THAT(seen, SizeIs(2));
  EXPECT_EQ(seen[0].what, KTBUS_OBSERVED_CREATED);
  EXPECT_EQ(seen[1].what, KTBUS_OBSERVED_DELETED);
  for (const auto& one : seen) {
    EXPECT_TRUE(SameId(one.object, object));
    EXPECT_EQ(one.type, "QELM_Object");
    EXPECT_EQ(one.provider, "alpha");
  }
}

TEST_F(ObserverTest, EachKindOfChangeIsTold) {
  const KtObjId parent = NewObject();
  const KtObjId child = NewObject();
  static_cast<void>(All());
  const auto expect_change = [&](const char* what) {
    const auto seen = All();
    ASSERT_THAT(seen, SizeIs(1)) << what;
    EXPECT_EQ(seen[0].what, KTBUS_OBSERVED_CHANGED) << what;
    EXPECT_TRUE(SameId(seen[0].object, parent)) << what;
  };
  const std::uint32_t value = 7;
  const cuvo_property record = Record("n", TYPE_UINT32, 4, &value);
  ASSERT_EQ(ObSetProperty(database(), &parent, &record), kOk);
  expect_change("property");
  ASSERT_EQ(ObRegisterInterface(database(), &parent, provider(), &kInterfaceA), kOk);
  expect_change("interface");
  ASSERT_EQ(ObAttachChildObject(database(), &parent, &child), kOk);
  expect_change("attached");
  ASSERT_EQ(ObDetachChildObject(database(), &parent, &child), kOk);
  expect_change("detached");
}

TEST_F(ObserverTest, WhatFailsIsNotTold) {
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  static_cast<void>(All());
  KtObjId out{};
  const KtObjId unknown{};
  EXPECT_EQ(ObCreateObject(database(), provider(), "none", &out), kUnknownType);
  EXPECT_EQ(ObDeleteObject(database(), &unknown), kNoObject);
  EXPECT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA),
            kDuplicateInterface);
  EXPECT_EQ(ObDetachChildObject(database(), &object, &object), kInvalid);
  EXPECT_EQ(ObRaiseAlert(database(), provider(), "none", nullptr, nullptr), kAlertNotPublished);
  EXPECT_EQ(KtBusRaiseEvent(database(), "", nullptr), kInvalid);
  EXPECT_THAT(Kinds(), IsEmpty());
}

TEST_F(ObserverTest, AChangeOfATypeIsNoObjectsChange) {
  KtObjId type{};
  ASSERT_EQ(ObCreateTypeObject(database(), "mine", nullptr, nullptr, &type), kOk);
  const std::uint32_t value = 7;
  const cuvo_property record = Record("n", TYPE_UINT32, 4, &value);
  ASSERT_EQ(ObSetProperty(database(), &type, &record), kOk);
  EXPECT_THAT(Kinds(), IsEmpty());
}

TEST_F(ObserverTest, ChangesInARowThatWaitAreToldAsOne) {
  Block();
  ASSERT_EQ(Raise("first"), kOk);
  WaitUntilItIsCalled();
  const KtObjId object = NewObject();
  const KtObjId other = NewObject();
  const std::uint32_t value = 7;
  const cuvo_property record = Record("n", TYPE_UINT32, 4, &value);
  for (int i = 0; i < 5; ++i) ASSERT_EQ(ObSetProperty(database(), &object, &record), kOk);
  for (int i = 0; i < 5; ++i) ASSERT_EQ(ObSetProperty(database(), &other, &record), kOk);
  Release();
  EXPECT_THAT(Kinds(),
              ElementsAre(KTBUS_OBSERVED_EVENT, KTBUS_OBSERVED_CREATED, KTBUS_OBSERVED_CREATED,
                          KTBUS_OBSERVED_CHANGED, KTBUS_OBSERVED_CHANGED));
}

TEST_F(ObserverTest, NobodyWaitsForAnObserverThatDoesNotComeBack) {
  alpha().notify = [](const KtEventRecord&) { return kOk; };
  const KtCookie cookie = Subscribe(alpha(), "event.*");
  Block();
  ASSERT_EQ(Raise("event.first"), kOk);
  WaitUntilItIsCalled();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(Raise("event.more"), kOk);
    const KtObjId object = NewObject();
    ASSERT_EQ(ObDeleteObject(database(), &object), kOk);
  }
  EXPECT_EQ(KtBusWaitForDelivery(database(), 0), KTBUS_TIMEOUT);
  Release();
  EXPECT_THAT(All(), SizeIs(301));
  EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
}

TEST_F(ObserverTest, WhatIsMoreThanCanWaitIsCountedAndToldAtItsPlace) {
  constexpr std::size_t kMaxWaiting = 65536;
  Block();
  ASSERT_EQ(Raise("first"), kOk);
  WaitUntilItIsCalled();
  for (std::size_t i = 0; i < kMaxWaiting + 10; ++i) ASSERT_EQ(Raise("more"), kOk);
  Release();
  auto seen = All();
  // The loss comes after all that waited, so that a notice more finds it told.
  ASSERT_EQ(Raise("last"), kOk);
  const auto rest = All();
  seen.insert(seen.end(), rest.begin(), rest.end());
  ASSERT_THAT(seen, SizeIs(kMaxWaiting + 3));
  EXPECT_EQ(seen[kMaxWaiting].name, "more");
  EXPECT_EQ(seen[kMaxWaiting + 1].what, KTBUS_OBSERVED_LOST);
  EXPECT_EQ(seen[kMaxWaiting + 1].lost, 10U);
  EXPECT_EQ(seen[kMaxWaiting + 2].name, "last");
}

TEST_F(ObserverTest, WhatIsMoreThanSixteenMebibytesIsCountedAsLostHoweverFewItAre) {
  constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;
  KtPropset large = NewSet();
  KtPropset inner = NewSet();
  ASSERT_EQ(AddText(inner, "text", std::string(kMebibyte / 2, 'x').c_str()), kOk);
  ASSERT_EQ(AddText(large, "text", std::string(kMebibyte / 2, 'x').c_str()), kOk);
  ASSERT_EQ(AddSet(large, "inner", inner), kOk);
  Block();
  ASSERT_EQ(Raise("first"), kOk);
  WaitUntilItIsCalled();
  for (int i = 0; i < 20; ++i) ASSERT_EQ(Raise("large", large), kOk);
  ASSERT_EQ(Raise("small"), kOk);
  Release();
  const auto seen = All();
  ASSERT_THAT(seen, SizeIs(18));
  EXPECT_EQ(seen[15].name, "large");
  EXPECT_EQ(seen[16].what, KTBUS_OBSERVED_LOST);
  EXPECT_EQ(seen[16].lost, 5U);
  EXPECT_EQ(seen[17].name, "small");
  // What has been taken makes room again.
  for (int i = 0; i < 15; ++i) ASSERT_EQ(Raise("large", large), kOk);
  EXPECT_THAT(All(), SizeIs(15));
  EXPECT_EQ(PsDestroyPropset(large), kOk);
  EXPECT_EQ(PsDestroyPropset(inner), kOk);
}

TEST_F(ObserverTest, TheObserverMayCallTheBus) {
  also_ = [this] {
    EXPECT_EQ(KtBusVisitObjects(
                  database(), nullptr, [](const KtBusObjectInfo*, void*) -> cuvo_bool { return 1; },
                  nullptr),
              kOk);
    EXPECT_EQ(KtBusObserve(database(), nullptr, nullptr), kInvalid);
    EXPECT_EQ(KtBusCloseDatabase(database()), kInvalid);
  };
  static_cast<void>(NewObject());
  EXPECT_THAT(Kinds(), ElementsAre(KTBUS_OBSERVED_CREATED));
}

TEST_F(ObserverTest, AllIsToldOnOneThreadThatIsNobodyElses) {
  static_cast<void>(NewObject());
  ASSERT_EQ(Raise("a"), kOk);
  const auto seen = All();
  ASSERT_THAT(seen, SizeIs(2));
  EXPECT_NE(seen[0].thread, std::this_thread::get_id());
  EXPECT_EQ(seen[0].thread, seen[1].thread);
}

TEST_F(ObserverTest, AfterTheEndNothingIsTold) {
  ASSERT_EQ(KtBusObserve(database(), nullptr, nullptr), kOk);
  ASSERT_EQ(Raise("a"), kOk);
  EXPECT_THAT(All(), IsEmpty());
}

TEST_F(ObserverTest, AnotherObserverTakesThePlaceOfTheFormer) {
  static std::atomic<int> calls{0};
  calls = 0;
  ASSERT_EQ(KtBusObserve(
                database(), [](const KtBusObservation*, void*) { ++calls; }, nullptr),
            kOk);
  ASSERT_EQ(Raise("a"), kOk);
  EXPECT_THAT(All(), IsEmpty());
  EXPECT_EQ(calls, 1);
}

TEST_F(ObserverTest, ClosingTheDatabaseEndsItsObserver) {
  KtDatabase other = nullptr;
  ASSERT_EQ(KtBusOpenDatabase(&other), kOk);
  ASSERT_EQ(KtBusObserve(other, &Remember, this), kOk);
  ASSERT_EQ(KtBusCloseDatabase(other), kOk);
  EXPECT_EQ(KtBusObserve(other, &Remember, this), kNoObject);
  EXPECT_THAT(All(), IsEmpty());
}

TEST_F(ObserverTest, EachObjectIsToldOfBeforeItsEndWhoeverMakesThem) {
  constexpr int kThreads = 4;
  constexpr int kEach = 200;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([this] {
      for (int j = 0; j < kEach; ++j) {
        const KtObjId object = NewObject();
        EXPECT_EQ(ObDeleteObject(database(), &object), kOk);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const auto seen = All();
  ASSERT_THAT(seen, SizeIs(2 * kThreads * kEach));
  std::vector<KtObjId> living;
  for (const auto& one : seen) {
    if (one.what == KTBUS_OBSERVED_CREATED) {
      living.push_back(one.object);
    } else {
      EXPECT_EQ(std::erase_if(living, [&](const auto& id) { return SameId(id, one.object); }), 1U);
    }
  }
  EXPECT_THAT(living, IsEmpty());
}

}  // namespace
}  // namespace bus_test
