#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "lifetime/custom_object_container.h"
#include "support/managers_test.h"
#include "support/wrapper.h"

namespace {

using support::Wrapper;

class LazyDeleteTest : public support::ManagersTest {
 protected:
  void SetUp() override {
    ManagersTest::SetUp();
    framework_.AddType("disk");
  }

  CKtCustomObjectContainer& container() { return CKtCustomObjectContainer::Instance(); }

  // A named object with a registered wrapper that writes its number to `gone_` when it goes.
  Wrapper* Registered(int number, std::function<void()> farewell = {}) {
    const KtObjId id = framework_.AddObject("disk");
    framework_.PutWideText(id, "Name", KT_W("disk"));
    auto wrapper = std::make_unique<Wrapper>(id, [this, number, farewell = std::move(farewell)] {
      gone_.push_back(number);
      if (farewell) farewell();
    });
    Wrapper* const lent = wrapper.get();
    EXPECT_EQ(container().Add(std::move(wrapper)), 0u);
    framework_.ForgetTraces();
    return lent;
  }

  std::vector<int> gone_;
};

TEST_F(LazyDeleteTest, DeletesTheBusObjectAtOnceAndTheWrapperAtTheFlush) {
  Wrapper* const wrapper = Registered(1);
  const KtObjId id = wrapper->Id();
  EXPECT_EQ(container().LazyDelete(wrapper), 0u);
  EXPECT_FALSE(framework_.HasObject(id));
  EXPECT_TRUE(kt::IsNullId(wrapper->Id()));
  EXPECT_TRUE(gone_.empty());
  EXPECT_EQ(container().Count().object_slots, 0u);
  EXPECT_TRUE(container().OfType("disk").empty());
  EXPECT_EQ(container().Count().queued, 1u);
  EXPECT_EQ(container().FlushLazyDeleteQueue(), 0u);
  EXPECT_EQ(gone_, std::vector{1});
  EXPECT_EQ(container().Count().queued, 0u);
}

TEST_F(LazyDeleteTest, TellsItsStepsAtLevelOne) {
  Wrapper* const wrapper = Registered(1);
  container().LazyDelete(wrapper);
  container().FlushLazyDeleteQueue();
  const std::string prefix = "hostkit: INFO: CKtCustomObjectContainer::";
  EXPECT_EQ(framework_.Traces(),
            (std::vector{fake::Info(prefix + "LazyDelete() Entering ....."),
                         fake::Info(prefix + "LazyDelete() Destroying Object [disk]"),
                         fake::Info(prefix + "LazyDelete() Exiting ....."),
                         fake::Info(prefix + "FlushLazyDeleteQueue() Entering ....."),
                         fake::Info(prefix + "FlushLazyDeleteQueue() Exiting .....")}));
}

TEST_F(LazyDeleteTest, LeavesAWrapperAloneThatWasNeverRegisteredButForANullEntry) {
  const KtObjId id = framework_.AddObject("disk");
  Wrapper stranger(id);
  EXPECT_EQ(container().LazyDelete(&stranger), 0u);
  EXPECT_TRUE(framework_.HasObject(id));
  EXPECT_EQ(container().Count().queued, 0u);
  EXPECT_EQ(container().Count().object_slots, 1u);
  EXPECT_EQ(container().Count().objects, 0u);
  EXPECT_EQ(container().Find(id), nullptr);
}

TEST_F(LazyDeleteTest, LeavesAnotherWrapperOfARegisteredIdAlone) {
  Wrapper* const registered = Registered(1);
  const KtObjId id = registered->Id();
  Wrapper second(id);
  EXPECT_EQ(container().LazyDelete(&second), 0u);
  EXPECT_TRUE(framework_.HasObject(id));
  EXPECT_EQ(container().Count().queued, 0u);
  EXPECT_EQ(container().Find(id), registered);
}

TEST_F(LazyDeleteTest, DoesNothingWithANullPointer) {
  EXPECT_EQ(container().LazyDelete(nullptr), 0u);
  EXPECT_EQ(container().Count().object_slots, 0u);
}

TEST_F(LazyDeleteTest, QueuesAWrapperWithoutANameAndFreesItAtTheNextFlush) {
  Wrapper* const wrapper = Registered(1);
  const KtObjId id = wrapper->Id();
  framework_.FailCall("ObGetProperty", 1, 0xC1000011);
  EXPECT_EQ(container().LazyDelete(wrapper), 0u);
  EXPECT_TRUE(framework_.HasObject(id)) << "the later steps are left out";
  EXPECT_EQ(container().Find(id), wrapper);
  EXPECT_EQ(container().OfType("disk"), std::vector<CKtObject*>{wrapper});
  EXPECT_EQ(container().Count().queued, 1u);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, std::vector{1});
  EXPECT_EQ(container().Find(id), nullptr) << "nothing names a wrapper that is gone";
  EXPECT_TRUE(container().OfType("disk").empty());
}

TEST_F(LazyDeleteTest, QueuesAWrapperWhoseTypeCannotBeReadAndFreesItAtTheNextFlush) {
  Wrapper* const wrapper = Registered(1);
  const KtObjId id = wrapper->Id();
  framework_.FailCall("ObGetObjectType", 1, KTERROR_NO_OBJECT);
  EXPECT_EQ(container().LazyDelete(wrapper), 0u);
  EXPECT_TRUE(framework_.HasObject(id));
  EXPECT_EQ(container().Find(id), nullptr);
  EXPECT_EQ(container().OfType("disk"), std::vector<CKtObject*>{wrapper});
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, std::vector{1});
  EXPECT_TRUE(container().OfType("disk").empty());
}

TEST_F(LazyDeleteTest, QueuesAWrapperWhoseBusObjectCannotBeDeletedAndFreesItAtTheNextFlush) {
  Wrapper* const wrapper = Registered(1);
  const KtObjId id = wrapper->Id();
  framework_.FailCall("ObDeleteObject", 1, KTERROR_UNEXPECTED);
  EXPECT_EQ(container().LazyDelete(wrapper), 0u);
  EXPECT_TRUE(framework_.HasObject(id));
  EXPECT_EQ(container().Count().queued, 1u);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, std::vector{1});
  EXPECT_TRUE(framework_.HasObject(id)) << "no second attempt";
}

TEST_F(LazyDeleteTest, LetsNothingOutAndLosesNothingWhicheverCallFails) {
  const std::size_t happened = fake::FailEveryCallInTurn(
      {std::begin(fake::kFailures), std::end(fake::kFailures)}, [&](const auto& arm, KtStatus) {
        gone_.clear();
        Wrapper* const wrapper = Registered(1);
        arm();
        EXPECT_EQ(wrapper->LazyDelete(), 0u);
        EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
        EXPECT_TRUE(gone_.empty());
        EXPECT_EQ(container().FlushLazyDeleteQueue(), 0u);
        EXPECT_EQ(gone_, std::vector{1});
        EXPECT_EQ(container().Count().objects, 0u);
        EXPECT_TRUE(container().OfType("disk").empty());
      });
  EXPECT_GE(happened, 3u * std::size(fake::kFailures)) << "name, type and deletion at least";
}

TEST_F(LazyDeleteTest, FreesTwoWrappersThatOneIdHadOneAfterTheOther) {
  Wrapper* const first = Registered(1);
  const KtObjId id = first->Id();
  framework_.FailCall("ObDeleteObject", 1, KTERROR_UNEXPECTED);
  container().LazyDelete(first);
  auto second = std::make_unique<Wrapper>(id, [this] { gone_.push_back(2); });
  Wrapper* const lent = second.get();
  ASSERT_EQ(container().Add(std::move(second)), 0u);
  container().LazyDelete(lent);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, (std::vector{1, 2}));
}

TEST_F(LazyDeleteTest, QueuesAWrapperOnceHoweverOftenItIsAsked) {
  Wrapper* const wrapper = Registered(1);
  framework_.FailCall("ObGetProperty", 1, 0xC1000011);
  container().LazyDelete(wrapper);
  container().LazyDelete(wrapper);
  EXPECT_EQ(container().Count().queued, 1u);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, std::vector{1});
}

TEST_F(LazyDeleteTest, FlushFreesTheQueueInOrderOfIds) {
  Wrapper* const lower = Registered(1);
  Wrapper* const higher = Registered(2);
  container().LazyDelete(higher);
  container().LazyDelete(lower);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, (std::vector{1, 2}));
}

TEST_F(LazyDeleteTest, FlushGoesOnAfterADestructorThatThrowsAndEmptiesTheQueue) {
  Wrapper* const thrower = Registered(1, [] { throw std::uint32_t{5}; });
  Wrapper* const stranger = Registered(2, [] { throw std::string("anything"); });
  Wrapper* const last = Registered(3);
  container().LazyDelete(thrower);
  container().LazyDelete(stranger);
  container().LazyDelete(last);
  EXPECT_EQ(container().FlushLazyDeleteQueue(), 0u);
  EXPECT_EQ(gone_, (std::vector{1, 2, 3}));
  EXPECT_EQ(container().Count().queued, 0u);
  EXPECT_EQ(framework_.TracesAt(6),
            std::vector<std::string>(
                2,
                "hostkit: ERROR: CKtCustomObjectContainer::FlushLazyDeleteQueue() : caught "
                "exception."));
}

TEST_F(LazyDeleteTest, FlushFreesWhatADestructorQueuesMeanwhile) {
  Wrapper* lower = Registered(1);
  Wrapper* const higher = Registered(2, [&] { container().LazyDelete(lower); });
  container().LazyDelete(higher);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, (std::vector{2, 1}));
  EXPECT_EQ(container().Count().queued, 0u);
}

TEST_F(LazyDeleteTest, FlushInsideAFlushFreesNothingTwice) {
  Wrapper* const first = Registered(1, [&] { container().FlushLazyDeleteQueue(); });
  Wrapper* const second = Registered(2);
  container().LazyDelete(first);
  container().LazyDelete(second);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, (std::vector{1, 2}));
}

TEST_F(LazyDeleteTest, FlushLetsADestructorTakeItsOwnWrapperOut) {
  Wrapper* self = nullptr;
  KtStatus status = 1;
  self = Registered(1, [&] { status = container().Remove(self); });
  framework_.FailCall("ObGetProperty", 1, 0xC1000011);  // so that it stays registered
  container().LazyDelete(self);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(container().Count().objects, 0u);
}

// ---- A wrapper that is registered and queued at once: its name could not be had ----------------

class RegisteredAndQueued : public LazyDeleteTest {
 protected:
  Wrapper* Make(std::function<void()> farewell = {}) {
    Wrapper* const wrapper = Registered(1, std::move(farewell));
    framework_.FailCall("ObGetProperty", 1, 0xC1000011);
    container().LazyDelete(wrapper);
    EXPECT_EQ(container().Count().queued, 1u);
    EXPECT_EQ(container().Count().objects, 1u);
    return wrapper;
  }
};

TEST_F(RegisteredAndQueued, IsFreedOnceWhenItsDestructorAsksForItAgain) {
  Wrapper* wrapper = nullptr;
  wrapper = Make([&] { container().LazyDelete(wrapper); });
  Registered(2);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, std::vector{1});
  EXPECT_EQ(container().Count().objects, 1u);
}

TEST_F(RegisteredAndQueued, LeavesThoseBehindItInTheQueueWhenItsDestructorAsksForItAgain) {
  Wrapper* wrapper = nullptr;
  wrapper = Make([&] { container().LazyDelete(wrapper); });
  container().LazyDelete(Registered(2));
  container().FlushLazyDeleteQueue();
  EXPECT_THAT(gone_, testing::UnorderedElementsAre(1, 2));
}

TEST_F(RegisteredAndQueued, IsFreedOnceByAShutdownWhenItsDestructorFlushes) {
  Make([&] { container().FlushLazyDeleteQueue(); });
  container().Shutdown();
  EXPECT_EQ(gone_, std::vector{1});
}

TEST_F(RegisteredAndQueued, IsFreedOnceByAFlushWhenItsDestructorShutsDown) {
  CKtCustomObjectContainer& before = container();
  Make([&] { before.Shutdown(); });
  Registered(2);
  before.FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, (std::vector{1, 2}));
}

TEST_F(RegisteredAndQueued, IsQueuedOnceThoughItWasTakenOutAndRegisteredAgain) {
  Wrapper* const wrapper = Make();
  EXPECT_EQ(container().Remove(wrapper), 0u);
  EXPECT_EQ(container().Add(std::unique_ptr<CKtObject>(wrapper)), 0u);
  container().LazyDelete(wrapper);
  EXPECT_EQ(container().Count().queued, 1u);
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, std::vector{1});
}

TEST_F(LazyDeleteTest, SurvivesADestructorThatEndsTheListsItStillStandsIn) {
  CKtCustomObjectContainer& before = container();
  Wrapper* const wrapper = Registered(1, [&] { before.Shutdown(); });
  framework_.FailCall("ObGetObjectType", 1, 0xC1000010);
  before.LazyDelete(wrapper);
  before.FlushLazyDeleteQueue();
  EXPECT_EQ(gone_, std::vector{1});
}

}  // namespace
