#include "provider/provider.h"

#include <atomic>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/retired.h"
#include "base/status.h"
#include "dispatch/control_manager.h"
#include "dispatch/event_manager.h"
#include "lifetime/custom_object_container.h"
#include "lifetime/thread_container.h"
#include "provider/test_provider.h"

namespace {

using ::testing::ElementsAre;

using ProviderInstance = ProviderTest;
using ReleasedModule = ProviderTest;
using ProviderObject = ProviderTest;

// Container 1, control manager 4, event manager 1, thread container 1.
constexpr std::size_t kSectionsOfTheManagers = 7;

TEST_F(ProviderInstance, IsTheSamePointerTheSecondTimeAndCreatesTheFourManagersOnce) {
  EXPECT_EQ(CKtProvider::Existing(), nullptr);
  CKtProvider* const first = CKtProvider::Instance();
  EXPECT_EQ(framework_.Outstanding().sections, kSectionsOfTheManagers);
  const CKtControlManager* const controls = &CKtControlManager::Instance();
  const CKtEventManager* const events = &CKtEventManager::Instance();
  const CKtThreadContainer* const threads = &CKtThreadContainer::Instance();
  const CKtCustomObjectContainer* const objects = &CKtCustomObjectContainer::Instance();

  EXPECT_EQ(CKtProvider::Instance(), first);
  EXPECT_EQ(CKtProvider::Existing(), first);
  EXPECT_EQ(TheScript().made, 1u);
  EXPECT_EQ(framework_.Outstanding().sections, kSectionsOfTheManagers);
  EXPECT_EQ(&CKtControlManager::Instance(), controls);
  EXPECT_EQ(&CKtEventManager::Instance(), events);
  EXPECT_EQ(&CKtThreadContainer::Instance(), threads);
  EXPECT_EQ(&CKtCustomObjectContainer::Instance(), objects);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(ProviderInstance, IsOneObjectHoweverManyThreadsAreTheFirst) {
  constexpr std::size_t kThreads = 8;
  std::atomic<bool> go{false};
  std::vector<CKtProvider*> seen(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      while (!go) std::this_thread::yield();
      seen[i] = CKtProvider::Instance();
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  for (CKtProvider* const provider : seen) EXPECT_EQ(provider, CKtProvider::Existing());
  EXPECT_EQ(framework_.Outstanding().sections, kSectionsOfTheManagers);
  EXPECT_EQ(TheScript().made - TheScript().destroyed, 1u);
  EXPECT_TRUE(fake::NothingTraced()) << "an object that came second stops no manager";
}

TEST_F(ProviderInstance, IsTheObjectOfAnotherCreatorWhenNoneCouldBeMadeHere) {
  for (const auto making : {Script::Making::kReturnsNull, Script::Making::kThrows}) {
    TheScript().making = making;
    CKtProvider* others = nullptr;
    bool inside = false;
    TheScript().while_making = [&] {
      if (std::exchange(inside, true)) return;
      TheScript().making = Script::Making::kWorks;
      others = CKtProvider::Instance();
    };
    EXPECT_EQ(CKtProvider::Instance(), others);
    EXPECT_NE(others, nullptr);
    EXPECT_TRUE(fake::NothingTraced());
    CKtProvider::ReleaseInstance();
  }
}

TEST_F(ProviderInstance, CreatesContainerControlEventAndThreadManagersInThisOrder) {
  const auto sections = [this](const char* function) {
    std::vector<std::string> found;
    for (const fake::Call& call : framework_.Calls()) {
      if (call.function == function) found.push_back(call.arguments);
    }
    framework_.ForgetCalls();
    return found;
  };
  CKtProvider::Instance();
  const std::vector<std::string> created = sections("KtInitializeCriticalSection");
  ASSERT_EQ(created.size(), kSectionsOfTheManagers);
  // Each manager is known by the lock that it takes.
  static_cast<void>(CKtCustomObjectContainer::Instance().Count());
  EXPECT_THAT(sections("KtEnterCriticalSection"), ElementsAre(created[0]));
  static_cast<void>(CKtControlManager::Instance().ActivityCount());
  EXPECT_THAT(sections("KtEnterCriticalSection"), ElementsAre(created[4]));
  static_cast<void>(CKtEventManager::Instance().DispatcherCount());
  EXPECT_THAT(sections("KtEnterCriticalSection"), ElementsAre(created[5]));
  static_cast<void>(CKtThreadContainer::Instance().Count());
  EXPECT_THAT(sections("KtEnterCriticalSection"), ElementsAre(created[6]));
}

TEST_F(ProviderInstance, ThrowsUnexpectedAfterCreatingTheManagersWhenNoObjectCanBeMade) {
  for (const auto making : {Script::Making::kReturnsNull, Script::Making::kThrows}) {
    framework_.ForgetTraces();
    TheScript().making = making;
    try {
      CKtProvider::Instance();
      ADD_FAILURE() << "no exception";
    } catch (const KtStatus status) {
      EXPECT_EQ(status, KTERROR_UNEXPECTED);
    }
    EXPECT_EQ(CKtProvider::Existing(), nullptr);
    EXPECT_EQ(framework_.Outstanding().sections, kSectionsOfTheManagers);
    EXPECT_THAT(framework_.Traces(),
                ElementsAre(fake::Error(
                    "hostkit: ERROR: CKtProvider::Instance(), Unable to construct provider")));
  }
}

TEST_F(ProviderObject, CopiesItsNameIntoTheCallersText) {
  KtWString name = KT_W("something longer than that");
  EXPECT_EQ(&CKtProvider::Instance()->GetName(name), &name);
  EXPECT_EQ(name, KT_W("hostkit"));
}

TEST_F(ProviderObject, StopsNothingWhenItIsNotTheModulesProvider) {
  CKtProvider* const stored = CKtProvider::Instance();
  { const CKtProvider other; }
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_EQ(CKtProvider::Existing(), stored);
}

TEST_F(ReleasedModule, DestroysTheProviderWithoutTheShutdownSequence) {
  Start();
  kt::ReleaseModule();
  EXPECT_EQ(TheScript().destroyed, 1u);
  EXPECT_EQ(CKtProvider::Existing(), nullptr);
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(ReleasedModule, TakesAProviderThatAHandlerCreatedAfterShutdown) {
  Start();
  __KtApiShutdown(0);
  CKtProvider::Instance();
  EXPECT_EQ(TheScript().made, 2u);
  framework_.ForgetTraces();
  kt::ReleaseModule();
  EXPECT_EQ(TheScript().destroyed, 2u);
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(ReleasedModule, TakesWhatARetiredThingBringsBackToLife) {
  struct Troublemaker {
    Troublemaker() = default;
    Troublemaker(const Troublemaker&) = delete;
    Troublemaker& operator=(const Troublemaker&) = delete;
    ~Troublemaker() {
      static_cast<void>(CKtControlManager::Instance());
      static_cast<void>(CKtEventManager::Instance());
    }
  };
  kt::Retire(std::make_unique<Troublemaker>());
  kt::ReleaseModule();
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(ReleasedModule, CanBeReleasedTwiceAndHasNothingTheSecondTime) {
  Start();
  kt::ReleaseModule();
  framework_.ForgetCalls();
  kt::ReleaseModule();
  EXPECT_TRUE(framework_.Calls().empty());
}

TEST_F(ReleasedModule, KeepsNothingLifeAfterLife) {
  for (int life = 0; life < 3; ++life) {
    Start();
    Control();
    EXPECT_EQ(__KtApiShutdown(0), 0u);
    kt::ReleaseModule();
    kt::ResetApiState();
    EXPECT_TRUE(fake::NothingKept());
  }
  EXPECT_EQ(TheScript().made, 3u);
}

}  // namespace
