#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "base/status.h"
#include "dispatch/activity_scope.h"
#include "dispatch/control_manager.h"
#include "dispatch/control_map.h"
#include "dispatch/event_listener.h"
#include "dispatch/event_manager.h"
#include "lifetime/custom_object_container.h"
#include "lifetime/thread_container.h"
#include "objmodel/object.h"
#include "provider/test_provider.h"
#include "support/event.h"
#include "support/failing_new.h"
#include "support/threads.h"
#include "support/wrapper.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

class Shutdown : public ProviderTest {
 protected:
  // The whole trace of a shutdown, with `between` before the managers' four lines.
  static std::vector<fake::TraceLine> WholeTrace(const std::vector<fake::TraceLine>& before = {}) {
    std::vector<fake::TraceLine> lines{fake::Error("hostkit::__KtApiShutdown(), started.")};
    lines.insert(lines.end(), before.begin(), before.end());
    lines.push_back(NoWorkers());
    for (const fake::TraceLine& line : ManagersStopped()) lines.push_back(line);
    lines.push_back(fake::Error("hostkit::__KtApiShutdown(), completed."));
    return lines;
  }
  static fake::TraceLine NoWorkers() {
    return fake::Warning("hostkit: INFO: CKtThreadContainer: Requested the stop of 0 threads.");
  }

  // The target of Control(), put on the bus.
  const KtObjId& Target() {
    framework_.AddType("spare");
    framework_.SetNextObjectId(object_);
    framework_.AddObject("spare");
    return object_;
  }
};

// A handler that says when it is entered and answers 5 once it may leave.
struct HeldUp {
  support::Gate entered;
  support::Gate leave;

  static KtStatus Handle(void* context, CKtControlRequest&) {
    auto* const self = static_cast<HeldUp*>(context);
    self->entered.Open();
    self->leave.Wait();
    return 5;
  }
};

TEST_F(Shutdown, TracesItsStepsInOrderAndReturnsWhatTheProvidersShutdownReturned) {
  std::uint64_t argument = 0;
  TheScript().shutdown = [&](std::uint64_t passed) {
    argument = passed;
    return KtStatus{0x1234};
  };
  Start();
  EXPECT_EQ(__KtApiShutdown(99), 0x1234u);
  EXPECT_EQ(argument, 99u);
  EXPECT_THAT(framework_.Traces(), ElementsAreArray(WholeTrace()));
  EXPECT_EQ(CKtProvider::Existing(), nullptr);
  EXPECT_EQ(TheScript().destroyed, 1u);
  EXPECT_FALSE(kt::GetApiState().initialised);
  EXPECT_TRUE(kt::GetApiState().shutting_down);
  EXPECT_EQ(framework_.Sleeps(), 0u);
}

TEST_F(Shutdown, WithoutAProviderIsUnexpectedAndLeavesTheFlagClear) {
  EXPECT_EQ(__KtApiShutdown(0), KTERROR_UNEXPECTED);
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit::__KtApiShutdown(), started."),
                          fake::Error("hostkit::__KtApiShutdown(), ERROR: Provider object is not "
                                      "instantiated.")));
  EXPECT_FALSE(kt::GetApiState().shutting_down);
  EXPECT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), 0u);
}

TEST_F(Shutdown, ASecondTimeOnlySaysThatItStarted) {
  Start();
  ASSERT_EQ(__KtApiShutdown(0), 0u);
  framework_.ForgetTraces();
  EXPECT_EQ(__KtApiShutdown(0), KTERROR_PROVIDER_SHUTTING_DOWN);
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit::__KtApiShutdown(), started.")));
}

TEST_F(Shutdown, SetsItsFlagBeforeTheProvidersShutdownRuns) {
  KtStatus inside = 0;
  TheScript().shutdown = [&](std::uint64_t) {
    inside = __KtApiGetAttr(1, 2, 3, 4);
    return KtStatus{0};
  };
  Start();
  __KtApiShutdown(0);
  EXPECT_EQ(inside, KTERROR_PROVIDER_SHUTTING_DOWN);
}

TEST_F(Shutdown, OfAProviderThatThrowsSaysCaughtThenCompletedAndClearsPointerAndFlag) {
  TheScript().shutdown = [](std::uint64_t) -> KtStatus { throw KTERROR_NO_OBJECT; };
  Start();
  EXPECT_EQ(__KtApiShutdown(0), KTERROR_UNEXPECTED);
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit::__KtApiShutdown(), started."),
                          fake::Error("hostkit::__KtApiShutdown(), caught unhandled exception."),
                          fake::Error("hostkit::__KtApiShutdown(), completed.")));
  EXPECT_EQ(CKtProvider::Existing(), nullptr);
  EXPECT_FALSE(kt::GetApiState().initialised);
  EXPECT_EQ(TheScript().destroyed, 0u);
  kt::ReleaseModule();
  EXPECT_EQ(TheScript().destroyed, 1u) << "the object that was not run again is not lost either";
}

TEST_F(Shutdown, ContainsExceptionsThatAreNoStatus) {
  TheScript().shutdown = [](std::uint64_t) -> KtStatus { throw std::runtime_error("no"); };
  Start();
  EXPECT_EQ(__KtApiShutdown(0), KTERROR_UNEXPECTED);
  EXPECT_TRUE(fake::Traced(6, "hostkit::__KtApiShutdown(), completed."));
}

TEST_F(Shutdown, StopsTheWorkersFirst) {
  class Worker : public CKtWorker {
   public:
    void RequestStop() noexcept override {
      CKtWorker::RequestStop();
      MarkStopped();
    }
  };
  Start();
  Worker worker;
  worker.MarkRunning();
  CKtThreadContainer::Instance().Add(worker);
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  EXPECT_TRUE(worker.IsStopRequested());
  EXPECT_TRUE(
      fake::Traced(4, "hostkit: INFO: CKtThreadContainer: Requested the stop of 1 threads."));
  CKtThreadContainer::Instance().Remove(worker);
}

// A wrapper whose destructor throws, as a provider's own may.
class ThrowingWrapper : public CKtObject {
 public:
  using CKtObject::CKtObject;
  ~ThrowingWrapper() noexcept(false) override { throw KTERROR_NO_OBJECT; }
};

TEST_F(Shutdown, ReturnsTheProvidersResultWhenAWrappersDestructorEndsTheSequence) {
  TheScript().shutdown = [](std::uint64_t) { return KtStatus{3}; };
  Start();
  framework_.AddType("spare");
  ASSERT_EQ(CKtCustomObjectContainer::Instance().Add(
                std::make_unique<ThrowingWrapper>(framework_.AddObject("spare"))),
            0u);
  EXPECT_EQ(__KtApiShutdown(0), 3u);
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit::__KtApiShutdown(), started."), NoWorkers(),
                          ManagersStopped().front(),
                          fake::Error("hostkit::__KtApiShutdown(), caught unhandled exception."),
                          fake::Error("hostkit::__KtApiShutdown(), completed.")));
  EXPECT_EQ(CKtProvider::Existing(), nullptr);
  EXPECT_EQ(TheScript().destroyed, 1u);
}

TEST_F(Shutdown, DeletesTheRegisteredWrappersInItsSecondStep) {
  Start();
  framework_.AddType("spare");
  const KtObjId id = framework_.AddObject("spare");
  ASSERT_EQ(CKtCustomObjectContainer::Instance().Add(std::make_unique<CKtObject>(id)), 0u);
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  EXPECT_EQ(CKtCustomObjectContainer::Instance().Count().objects, 0u);
  EXPECT_TRUE(framework_.HasObject(id)) << "a wrapper that goes leaves the object on the bus";
}

TEST_F(Shutdown, WithdrawsEventRegistrationsInItsLastStep) {
  Start();
  CKtEventListener listener(framework_.database(), framework_.provider());
  listener.Register("event.one", [](void*, const CKtEventView*, std::uint64_t, std::uint64_t) {
    return KtStatus{0};
  });
  ASSERT_THAT(framework_.Subscriptions(), ElementsAre("event.one"));
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  EXPECT_THAT(framework_.Subscriptions(), ::testing::IsEmpty());
}

TEST_F(Shutdown, KeepsControlsRegisteredUntilTheModuleGoes) {
  Start();
  CKtControlMap map;
  map.Register(interface_, 1, 2, [](void*, CKtControlRequest&) { return KtStatus{0}; });
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  framework_.ForgetTraces();
  const std::uint32_t selector = 1;
  const std::uint32_t code = 2;
  EXPECT_EQ(CKtControlManager::Instance().UnRegisterPath(interface_, selector, code, KtObjId{}),
            0u);
}

TEST_F(Shutdown, WhileAControlIsStillRunningWaitsForItAndTracesAllFourLinesInOrder) {
  Start();
  HeldUp handler;
  support::Gate left;
  CKtControlMap map;
  ASSERT_EQ(map.Register(interface_, 1, 2, &HeldUp::Handle, Target(), &handler), 0u);
  framework_.ForgetTraces();
  KtStatus answer = 0;
  std::thread host([&] {
    answer = Control();
    left.Open();
  });
  handler.entered.Wait();

  std::vector<std::uint32_t> naps;
  framework_.OnSleep([&](std::uint32_t milliseconds) {
    naps.push_back(milliseconds);
    if (naps.size() != 3) return;
    handler.leave.Open();
    left.Wait();
  });
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  host.join();

  EXPECT_EQ(answer, 5u);
  EXPECT_THAT(naps, ElementsAre(1000u, 1000u, 1000u));
  std::vector<fake::TraceLine> lines;
  for (const fake::TraceLine& line : framework_.Traces()) {
    if (line.text.find("shutdown completed.") != std::string::npos) lines.push_back(line);
  }
  EXPECT_THAT(lines, ElementsAreArray(ManagersStopped()));
  EXPECT_EQ(TheScript().destroyed, 1u);
}

TEST_F(Shutdown, HasStoppedWorkersAndWrappersButNoEventWhileItWaitsForControls) {
  Start();
  CKtWorker worker;
  CKtThreadContainer::Instance().Add(worker);
  bool wrapper_is_gone = false;
  framework_.AddType("spare");
  ASSERT_EQ(CKtCustomObjectContainer::Instance().Add(
                std::make_unique<support::Wrapper>(framework_.AddObject("spare"),
                                                   [&] {
                                                     EXPECT_TRUE(worker.IsStopRequested());
                                                     wrapper_is_gone = true;
                                                   })),
            0u);
  CKtEventListener listener(framework_.database(), framework_.provider());
  listener.Register("event.one", [](void*, const CKtEventView*, std::uint64_t, std::uint64_t) {
    return KtStatus{0};
  });
  std::size_t naps = 0;
  framework_.OnSleep([&](std::uint32_t) {
    ++naps;
    EXPECT_TRUE(wrapper_is_gone);
    EXPECT_THAT(framework_.Subscriptions(), ElementsAre("event.one"));
    EXPECT_NE(CKtProvider::Existing(), nullptr);
  });
  {
    const CKtActivityScope running;
    EXPECT_EQ(__KtApiShutdown(0), 0u);
  }
  EXPECT_EQ(naps, 120u);
  EXPECT_THAT(framework_.Subscriptions(), ::testing::IsEmpty());
  CKtThreadContainer::Instance().Remove(worker);
}

TEST_F(Shutdown, GivesUpAfter120ChecksOnAControlThatThenOutlivesTheProviderAndAnswers) {
  Start();
  HeldUp handler;
  CKtControlMap map;
  ASSERT_EQ(map.Register(interface_, 1, 2, &HeldUp::Handle, Target(), &handler), 0u);
  KtStatus answer = 0;
  std::thread host([&] { answer = Control(); });
  handler.entered.Wait();
  framework_.ForgetTraces();

  EXPECT_EQ(__KtApiShutdown(0), 0u);
  EXPECT_EQ(framework_.Sleeps(), 120u);
  EXPECT_EQ(framework_.SleptMs(), 120'000u);
  EXPECT_THAT(framework_.Traces(), ElementsAreArray(WholeTrace()));
  EXPECT_EQ(TheScript().destroyed, 1u);

  handler.leave.Open();
  host.join();
  EXPECT_EQ(answer, 5u);
  EXPECT_EQ(CKtProvider::Existing(), nullptr) << "nothing has made another";
}

TEST_F(Shutdown, GivesUpAfter120ChecksOnANoticeThatEndsLater) {
  Start();
  struct Held {
    support::Gate entered;
    support::Gate leave;
  } held;
  support::BodyPath path("event.one", [&](const KtEventRecord&) {
    held.entered.Open();
    held.leave.Wait();
    return KtStatus{0};
  });
  CKtEventManager::Instance().RegisterEventPath(*path);
  const KtEventRecord event = support::Notice("event.one");
  KtStatus answer = 1;
  std::thread host(
      [&] { answer = __KtApiChangeNotify(0, 0, 0, reinterpret_cast<std::uintptr_t>(&event)); });
  held.entered.Wait();
  std::size_t naps = 0;
  framework_.OnSleep([&](std::uint32_t) {
    // It would wait for ever at the event manager's lock.
    if (++naps == 120) held.leave.Open();
  });
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  host.join();
  EXPECT_EQ(answer, 0u);
  EXPECT_EQ(TheScript().destroyed, 1u);
}

TEST_F(Shutdown, GivesHandlersTheSameProviderUntilTheManagersHaveStopped) {
  Start();
  {
    const CKtActivityScope running;
    framework_.OnSleep([](std::uint32_t) { CKtProvider::Instance(); });
    EXPECT_EQ(__KtApiShutdown(0), 0u);
  }
  EXPECT_EQ(TheScript().made, 1u) << "the pointer stands until the managers have stopped";
  framework_.OnSleep({});
}

TEST_F(Shutdown, TakesAllItsStepsWithoutMemoryForAManagerThatIsMissing) {
  Start();
  framework_.RecordCalls(false);  // the framework of the tests shares our operator new
  std::optional<support::FailAllocation> failing;
  TheScript().shutdown = [&](std::uint64_t) {
    CKtThreadContainer::ReleaseInstance();
    failing.emplace(0);
    return KtStatus{0};
  };
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  failing.reset();
  std::vector<fake::TraceLine> lines = WholeTrace();
  std::erase(lines, NoWorkers());
  EXPECT_THAT(framework_.Traces(), ElementsAreArray(lines));
  EXPECT_EQ(TheScript().destroyed, 1u);
}

TEST_F(Shutdown, RunsWithEveryCallOfItFailingInTurnAndKeepsNothing) {
  const auto life = [&](const std::function<void()>& arm, KtStatus) {
    framework_.Reset();
    kt::ResetApiState();
    ASSERT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), 0u);
    auto listener =
        std::make_unique<CKtEventListener>(framework_.database(), framework_.provider());
    listener->Register("event.one", [](void*, const CKtEventView*, std::uint64_t, std::uint64_t) {
      return KtStatus{0};
    });
    framework_.AddType("spare");
    ASSERT_EQ(CKtCustomObjectContainer::Instance().Add(
                  std::make_unique<CKtObject>(framework_.AddObject("spare"))),
              0u);
    arm();
    EXPECT_EQ(__KtApiShutdown(0), 0u);
    EXPECT_TRUE(fake::Traced(6, "hostkit::__KtApiShutdown(), completed."));
    listener.reset();
    kt::ReleaseModule();
    EXPECT_TRUE(fake::NothingKept());
  };
  EXPECT_GT(
      fake::FailEveryCallInTurn({std::begin(fake::kFailures), std::end(fake::kFailures)}, life),
      0u);
}

}  // namespace
