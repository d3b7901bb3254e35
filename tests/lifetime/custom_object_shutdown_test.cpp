#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "lifetime/custom_object_container.h"
#include "support/managers_test.h"
#include "support/wrapper.h"

namespace {

using support::Wrapper;

class CustomObjectShutdownTest : public support::ManagersTest {
 protected:
  void SetUp() override {
    ManagersTest::SetUp();
    framework_.AddType("disk");
  }

  CKtCustomObjectContainer& container() { return CKtCustomObjectContainer::Instance(); }

  Wrapper* Registered(const KtObjId& id, int number, std::function<void()> farewell = {}) {
    auto wrapper = std::make_unique<Wrapper>(id, [this, number, farewell = std::move(farewell)] {
      gone_.push_back(number);
      if (farewell) farewell();
    });
    Wrapper* const lent = wrapper.get();
    EXPECT_EQ(container().Add(std::move(wrapper)), 0u);
    return lent;
  }

  std::vector<int> gone_;
};

TEST_F(CustomObjectShutdownTest, DeletesEveryWrapperInOrderOfIdsAndLeavesTheBusAlone) {
  const KtObjId lower = framework_.AddObject("disk");
  const KtObjId higher = framework_.AddObject("disk");
  Registered(higher, 2);
  Registered(lower, 1);
  container().Shutdown();
  EXPECT_EQ(gone_, (std::vector{1, 2}));
  EXPECT_TRUE(framework_.HasObject(lower));
  EXPECT_TRUE(framework_.HasObject(higher));
}

TEST_F(CustomObjectShutdownTest, ForgetsTheContainerSoThatALaterUseMakesAnEmptyOne) {
  Registered(framework_.AddObject("disk"), 1);
  CKtCustomObjectContainer* const old = &container();
  old->Shutdown();
  EXPECT_NE(old, &container());
  EXPECT_EQ(container().Count().object_slots, 0u);
  EXPECT_EQ(container().Count().type_slots, 0u);
}

TEST_F(CustomObjectShutdownTest, HoldsItsLockAndTheActivityLockWhileADestructorRuns) {
  std::size_t held = 0;
  Registered(framework_.AddObject("disk"), 1,
             [&] { held = framework_.Outstanding().held_sections; });
  container().Shutdown();
  EXPECT_EQ(held, 2u);
  EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
}

TEST_F(CustomObjectShutdownTest, DeletesWhatADestructorRegistersWhicheverIdItHas) {
  const KtObjId lower = framework_.AddObject("disk");
  const KtObjId middle = framework_.AddObject("disk");
  const KtObjId higher = framework_.AddObject("disk");
  Registered(middle, 1, [&] {
    Registered(lower, 3);
    Registered(higher, 2);
  });
  container().Shutdown();
  EXPECT_EQ(gone_, (std::vector{1, 2, 3}));
}

TEST_F(CustomObjectShutdownTest, PassesOverNullEntries) {
  Wrapper stranger(framework_.AddObject("disk"));
  container().LazyDelete(&stranger);
  Registered(framework_.AddObject("disk"), 1);
  container().Shutdown();
  EXPECT_EQ(gone_, std::vector{1});
}

TEST_F(CustomObjectShutdownTest, LeavesTheQueueUntilTheModuleGoes) {
  const KtObjId id = framework_.AddObject("disk");
  framework_.PutWideText(id, "Name", KT_W("disk"));
  container().LazyDelete(Registered(id, 1));
  container().Shutdown();
  EXPECT_TRUE(gone_.empty());
  container().FlushLazyDeleteQueue();
  EXPECT_TRUE(gone_.empty()) << "the fresh container's queue is another one";
  ReleaseModuleState();
  EXPECT_EQ(gone_, std::vector{1});
}

TEST_F(CustomObjectShutdownTest, FreesAWrapperOnceThatIsRegisteredAndQueued) {
  // Without a name the wrapper is queued and stays registered.
  container().LazyDelete(Registered(framework_.AddObject("disk"), 1));
  container().Shutdown();
  EXPECT_EQ(gone_, std::vector{1});
  ReleaseModuleState();
  EXPECT_EQ(gone_, std::vector{1});
}

TEST_F(CustomObjectShutdownTest, PassesOutWhatADestructorThrowsWithTheRestStillRegistered) {
  const KtObjId first = framework_.AddObject("disk");
  const KtObjId second = framework_.AddObject("disk");
  Registered(first, 1, [] { throw std::string("anything"); });
  Wrapper* const rest = Registered(second, 2);
  CKtCustomObjectContainer* const same = &container();
  EXPECT_THROW(container().Shutdown(), std::string);
  EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
  EXPECT_EQ(same, &container());
  EXPECT_EQ(container().Find(first), nullptr);
  EXPECT_EQ(container().Find(second), rest);
  ReleaseModuleState();
  EXPECT_EQ(gone_, (std::vector{1, 2}));
}

TEST_F(CustomObjectShutdownTest, LeavesWrappersAloneThatTheProviderFreesItself) {
  const std::unique_ptr<Wrapper> wrapper(Registered(framework_.AddObject("disk"), 1));
  container().SetEnabled(false);
  container().Shutdown();
  EXPECT_TRUE(gone_.empty());
}

TEST_F(CustomObjectShutdownTest, LetsADestructorTakeOutItsOwnAndAnotherWrapper) {
  Wrapper* first = nullptr;
  Wrapper* second = nullptr;
  std::vector<KtStatus> statuses;
  first = Registered(framework_.AddObject("disk"), 1, [&] {
    statuses.push_back(container().Remove(first));
    statuses.push_back(container().Remove(second));
    delete second;
  });
  second = Registered(framework_.AddObject("disk"), 2);
  container().Shutdown();
  EXPECT_EQ(statuses, (std::vector<KtStatus>{0, 0}));
  EXPECT_EQ(gone_, (std::vector{1, 2}));
}

TEST_F(CustomObjectShutdownTest, MayComeTwice) {
  Registered(framework_.AddObject("disk"), 1);
  CKtCustomObjectContainer& old = container();
  old.Shutdown();
  old.Shutdown();
  EXPECT_EQ(gone_, std::vector{1});
}

TEST_F(CustomObjectShutdownTest, MakesTheOldContainerRefuseWrappersThatItHasDeleted) {
  const KtObjId id = framework_.AddObject("disk");
  Wrapper survivor(id);
  CKtCustomObjectContainer& old = container();
  old.Shutdown();
  EXPECT_EQ(old.Remove(&survivor), KTERROR_NO_OBJECT);
  EXPECT_EQ(old.LazyDelete(&survivor), 0u);
  EXPECT_TRUE(framework_.HasObject(id));
  EXPECT_EQ(old.Count().object_slots, 0u);
}

TEST_F(CustomObjectShutdownTest, ReleaseFreesWhatWasNeverShutDownAndWhatDestructorsBringToLife) {
  Registered(framework_.AddObject("disk"), 1, [&] {
    // The container is unreachable by now: this makes another one, which has to go as well.
    static_cast<void>(CKtCustomObjectContainer::Instance());
    throw std::string("contained");
  });
  ReleaseModuleState();
  EXPECT_EQ(gone_, std::vector{1});
  EXPECT_EQ(framework_.Outstanding().sections, 0u);
}

}  // namespace
