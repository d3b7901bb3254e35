#include "lifetime/custom_object_container.h"

#include <memory>
#include <thread>
#include <vector>

#include "base/status.h"
#include "support/managers_test.h"
#include "support/wrapper.h"

namespace {

using support::Wrapper;

constexpr const char* kNull =
    "hostkit: ERROR: CKtCustomObjectContainer::Remove() : Object is NULL.";
constexpr const char* kNotFound =
    "hostkit: ERROR: CKtCustomObjectContainer::Remove() : Object not found.";

class CustomObjectContainerTest : public support::ManagersTest {
 protected:
  void SetUp() override {
    ManagersTest::SetUp();
    framework_.AddType("disk");
    framework_.AddType("volume");
  }

  CKtCustomObjectContainer& container() { return CKtCustomObjectContainer::Instance(); }

  // A wrapper that the container has taken over.
  Wrapper* Registered(const KtObjId& id) {
    auto wrapper = std::make_unique<Wrapper>(id);
    Wrapper* const lent = wrapper.get();
    EXPECT_EQ(container().Add(std::move(wrapper)), 0u);
    return lent;
  }
};

TEST_F(CustomObjectContainerTest, IsOneUntilItIsShutDown) {
  CKtCustomObjectContainer* const first = &container();
  EXPECT_EQ(first, &container());
  first->Shutdown();
  EXPECT_NE(first, &container());
}

TEST_F(CustomObjectContainerTest, AddPutsAWrapperUnderItsIdAndIntoTheListOfItsType) {
  const KtObjId first = framework_.AddObject("disk");
  const KtObjId second = framework_.AddObject("disk");
  Wrapper* const later = Registered(second);
  Wrapper* const earlier = Registered(first);
  EXPECT_EQ(container().Find(first), earlier);
  EXPECT_EQ(container().Find(second), later);
  EXPECT_EQ(container().OfType("disk"), (std::vector<CKtObject*>{later, earlier}))
      << "in order of insertion";
  EXPECT_TRUE(container().OfType("volume").empty());
}

TEST_F(CustomObjectContainerTest, AddRefusesNothingAndTheNullIdAndLeavesTheWrapperToTheCaller) {
  EXPECT_EQ(container().Add(nullptr), KTERROR_NO_OBJECT);
  std::unique_ptr<CKtObject> unbound = std::make_unique<Wrapper>(kt::kNullObjId);
  EXPECT_EQ(container().Add(std::move(unbound)), KTERROR_NO_OBJECT);
  EXPECT_NE(unbound, nullptr);
  EXPECT_EQ(container().Count().object_slots, 0u);
  EXPECT_EQ(framework_.TracesAt(6).size(), 2u);
}

TEST_F(CustomObjectContainerTest, AddRefusesASecondWrapperOfOneId) {
  const KtObjId id = framework_.AddObject("disk");
  Wrapper* const first = Registered(id);
  std::unique_ptr<CKtObject> second = std::make_unique<Wrapper>(id);
  EXPECT_EQ(container().Add(std::move(second)), KTERROR_UNEXPECTED);
  EXPECT_NE(second, nullptr);
  EXPECT_EQ(container().Find(id), first);
}

TEST_F(CustomObjectContainerTest, AddThrowsWhatTheTypesLookUpGivesAndTakesNothing) {
  std::unique_ptr<CKtObject> lost = std::make_unique<Wrapper>(fake::ObjectNumber(77));
  EXPECT_THROW(container().Add(std::move(lost)), std::uint32_t);
  EXPECT_NE(lost, nullptr);
  EXPECT_EQ(container().Count().objects, 0u);
  EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
}

TEST_F(CustomObjectContainerTest, RemoveOfANullPointerReturnsNoObjectAndChangesNothing) {
  Registered(framework_.AddObject("disk"));
  framework_.ForgetTraces();
  EXPECT_EQ(container().Remove(nullptr), KTERROR_NO_OBJECT);
  EXPECT_EQ(framework_.Traces(), std::vector{fake::Error(kNull)});
  EXPECT_EQ(container().Count().object_slots, 1u);
  EXPECT_EQ(container().Count().type_slots, 1u);
}

TEST_F(CustomObjectContainerTest, RemoveOfAWrapperWithTheZeroIdReturnsNoObjectAndChangesNothing) {
  Registered(framework_.AddObject("disk"));
  framework_.ForgetTraces();
  Wrapper unbound(kt::kNullObjId);
  EXPECT_EQ(container().Remove(&unbound), KTERROR_NO_OBJECT);
  EXPECT_EQ(framework_.Traces(), std::vector{fake::Error(kNull)});
  EXPECT_EQ(container().Count().object_slots, 1u);
  EXPECT_EQ(container().Count().type_slots, 1u);
}

TEST_F(CustomObjectContainerTest, RemoveGivesTheWrapperBackAndKeepsTheOrderOfTheRest) {
  std::vector<Wrapper*> wrappers;
  for (int i = 0; i < 4; ++i) wrappers.push_back(Registered(framework_.AddObject("disk")));
  const std::unique_ptr<Wrapper> removed(wrappers[1]);
  EXPECT_EQ(container().Remove(removed.get()), 0u);
  EXPECT_EQ(container().OfType("disk"),
            (std::vector<CKtObject*>{wrappers[0], wrappers[2], wrappers[3]}));
  EXPECT_EQ(container().Find(removed->Id()), nullptr);
  EXPECT_EQ(container().Count().object_slots, 3u);
  EXPECT_TRUE(framework_.HasObject(removed->Id())) << "the object on the bus is left alone";
}

TEST_F(CustomObjectContainerTest, RemoveOfAWrapperWhoseTypeHasNoListErasesItsIdFirst) {
  const KtObjId id = framework_.AddObject("disk");
  const std::unique_ptr<Wrapper> wrapper(Registered(id));
  // The id is given to an object of another type behind the container's back.
  framework_.RemoveObject(id);
  framework_.SetNextObjectId(id);
  framework_.AddObject("volume");
  EXPECT_EQ(container().Remove(wrapper.get()), KTERROR_NO_OBJECT);
  EXPECT_TRUE(fake::Traced(6,
                           "hostkit: ERROR: CKtCustomObjectContainer::Remove() : Object containter "
                           "not found for type."));
  EXPECT_EQ(container().Count().object_slots, 0u);
  EXPECT_EQ(container().Count().type_slots, 2u) << "the unknown type stays, without a list";
  EXPECT_TRUE(container().OfType("volume").empty());
}

TEST_F(CustomObjectContainerTest, RemoveOfAWrapperMissingFromItsListErasesItsIdAllTheSame) {
  const KtObjId id = framework_.AddObject("disk");
  const std::unique_ptr<Wrapper> registered(Registered(id));
  Wrapper stranger(id);
  EXPECT_EQ(container().Remove(&stranger), KTERROR_NO_OBJECT);
  EXPECT_TRUE(fake::Traced(6, kNotFound));
  EXPECT_EQ(container().Find(id), nullptr);
  EXPECT_EQ(container().OfType("disk"), std::vector<CKtObject*>{registered.get()});
  EXPECT_EQ(container().Remove(registered.get()), 0u);
}

TEST_F(CustomObjectContainerTest, RemoveThrowsWhatTheTypesLookUpGivesWithTheIdGoneAndTheLockFree) {
  const std::unique_ptr<Wrapper> wrapper(Registered(framework_.AddObject("disk")));
  for (const KtStatus status : fake::kFailures) {
    framework_.FailCall("ObGetObjectType", 1, status);
    try {
      container().Remove(wrapper.get());
      ADD_FAILURE() << "nothing was thrown";
    } catch (std::uint32_t thrown) {
      EXPECT_EQ(thrown, status);
    }
    EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
    EXPECT_EQ(container().Find(wrapper->Id()), nullptr);
  }
  EXPECT_EQ(container().Remove(wrapper.get()), 0u) << "it was still in its type's list";
}

TEST_F(CustomObjectContainerTest, AddThroughAForgottenContainerReachesTheOneThatIsThere) {
  CKtCustomObjectContainer& old = container();
  old.Shutdown();
  const KtObjId id = framework_.AddObject("disk");
  EXPECT_EQ(old.Add(std::make_unique<Wrapper>(id)), 0u);
  EXPECT_EQ(old.Count().objects, 0u);
  EXPECT_NE(container().Find(id), nullptr);
}

TEST_F(CustomObjectContainerTest, TakesWrappersFromManyThreads) {
  constexpr int kEach = 50;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([this] {
      for (int i = 0; i < kEach; ++i) {
        auto wrapper = std::make_unique<Wrapper>(framework_.AddObject("disk"));
        Wrapper* const lent = wrapper.get();
        ASSERT_EQ(container().Add(std::move(wrapper)), 0u);
        if (i % 3 == 0) {
          ASSERT_EQ(container().Remove(lent), 0u);
          delete lent;
        } else if (i % 3 == 1) {
          ASSERT_EQ(lent->LazyDelete(), 0u);
          container().FlushLazyDeleteQueue();
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  container().FlushLazyDeleteQueue();
  EXPECT_EQ(container().Count().queued, 0u);
  EXPECT_EQ(container().Count().objects, 8u * 16u);
  EXPECT_EQ(container().OfType("disk").size(), 8u * 16u);
}

}  // namespace
