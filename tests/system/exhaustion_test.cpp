// The system provider without memory of its own.
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "dispatch/control_request.h"
#include "dispatch/event_manager.h"
#include "provider/api_table.h"
#include "provider/module_state.h"
#include "provider/provider.h"
#include "support/client.h"
#include "support/failing_new.h"
#include "system/system_controls.h"
#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;

// The second product key is the last thing that the start looks up before it listens: from there on
// an allocation fails.
class ForgetfulPlatform : public FakePlatform {
 public:
  explicit ForgetfulPlatform(int after) : after_(after) {}
  std::uint32_t OpenKey(const KtWchar* path, kt::KeyAccess access, kt::RegistryKey& key) override {
    const std::uint32_t result = FakePlatform::OpenKey(path, access, key);
    if (KtWString(path) == kVolumeProductKey) failing_.emplace(after_);
    return result;
  }
  void HaveMemory() { failing_.reset(); }

 private:
  int after_;
  std::optional<support::FailAllocation> failing_;
};

// The framework's own work does not fail with that of the module.
class SparingTheFramework : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    framework_.SetShield({&support::Suspend, &support::Resume});
  }
  void TearDown() override {
    framework_.SetShield({});
    SystemTest::TearDown();
  }
};

class WithoutMemoryForTheListener : public SparingTheFramework {
 protected:
  enum class Start { kFailed, kListens, kIsMissingItsListener };

  // A start on a platform that runs out of memory.
  Start StartWith(ForgetfulPlatform& platform) {
    framework_.Reset();
    framework_.RecordCalls(false);
    kt::ReleaseModule();
    kt::ResetApiState();
    input_ = framework_.MakePropset();
    output_ = framework_.MakePropset();
    framework_.PutUInt32(input_, "tracelevel", 3);
    const KtStatus status = Initialize();
    platform.HaveMemory();
    if (status != 0) return Start::kFailed;
    return CKtEventManager::Instance().DispatcherCount() == 0 ? Start::kIsMissingItsListener
                                                              : Start::kListens;
  }

  // What each start without a listener lets `look` see. Each is shut down afterwards.
  std::size_t ForEachStartWithoutAListener(const std::function<void()>& look) {
    std::size_t starts = 0;
    for (int after = 0; after < 1000; ++after) {
      ForgetfulPlatform platform(after);
      const kt::PlatformOverride override(platform);
      const Start start = StartWith(platform);
      if (start == Start::kIsMissingItsListener) {
        ++starts;
        look();
        if (!kt::GetApiState().shutting_down) {
          EXPECT_EQ(__KtApiShutdown(0), 0u);
        }
        kt::ReleaseModule();
        EXPECT_TRUE(fake::NothingKept());
      } else if (starts != 0) {
        kt::ReleaseModule();
        break;  // past the listener
      }
    }
    framework_.Reset();
    return starts;
  }
};

TEST_F(WithoutMemoryForTheListener, TheStartSucceedsAndTheControlsAreServed) {
  const std::size_t starts = ForEachStartWithoutAListener([this] {
    EXPECT_TRUE(fake::Traced(4, "HostKit: CSys::Exiting Initialize()"));
    EXPECT_EQ(Control(client::kSystemInterface, client::kTraceLevelControl), 0u);
    EXPECT_EQ(Notify(client::kReadyEvent), KTERROR_NO_EVENT);
  });
  EXPECT_GE(starts, 3u) << "the holder, its path, the path's place";
}

// A path that was made and not registered is the event manager's to miss.
TEST_F(WithoutMemoryForTheListener, TheShutdownMissesTheListenerAndGoesOn) {
  const std::string no_listener =
      "ERROR: CKtEventListener::UnRegister() failed : KTERROR_INVALIDARG";
  const std::string no_dispatcher = "ERROR: CKtEventManager::UnRegisterEventPath() failed";
  std::size_t without_path = 0;
  const std::size_t starts = ForEachStartWithoutAListener([&] {
    const bool refused = framework_.HasTrace(
        6, "ERROR: CKtEventManager::RegisterEventPath() failed : KTERROR_OUTOFMEMORY");
    framework_.ForgetTraces();
    EXPECT_EQ(__KtApiShutdown(0), 0u);
    EXPECT_THAT(framework_.TracesAt(6), ElementsAre("hostkit::__KtApiShutdown(), started.",
                                                    refused ? no_dispatcher : no_listener,
                                                    "hostkit::__KtApiShutdown(), completed."));
    EXPECT_TRUE(fake::Traced(4, "HostKit - exiting CSys::Shutdown"));
    if (!refused) ++without_path;
  });
  EXPECT_GE(without_path, 2u) << "the holder, its path";
  EXPECT_GT(starts, without_path);
}

// Without memory of the module's own for anything that follows the registration of its type, the
// provider comes up all the same, with what succeeded.
TEST_F(WithoutMemoryForTheListener, NothingAfterTheTypesMakesTheStartFail) {
  int after = 0;
  for (bool past = false; !past && after < 1000; ++after) {
    ForgetfulPlatform platform(after);
    const kt::PlatformOverride override(platform);
    const Start start = StartWith(platform);
    EXPECT_NE(start, Start::kFailed) << after;
    EXPECT_TRUE(fake::Traced(4, "HostKit: CSys::Exiting Initialize()")) << after;
    past = start == Start::kListens &&
           Control(client::kSystemInterface, client::kTraceLevelControl) == 0 &&
           Control(client::kTraceInterface, client::kTraceLevelControl) == 0 &&
           framework_.TracesAt(6).size() == 1;  // gMPXSA=FALSE
    EXPECT_EQ(__KtApiShutdown(0), 0u) << after;
    kt::ReleaseModule();
    EXPECT_TRUE(fake::NothingKept()) << after;
  }
  EXPECT_GT(after, 10) << "allocations of the start";
  framework_.Reset();
}

using WithoutMemory = SparingTheFramework;

TEST_F(WithoutMemory, TheShutdownOfTheProviderIsZeroAndGoesOn) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.ForgetTraces();
  KtStatus status = 1;
  {
    const support::FailAllocation failing(0);
    status = CKtProvider::Existing()->Shutdown(0);
  }
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(framework_.Traces().back(), fake::Warning("HostKit - exiting CSys::Shutdown"));
}

TEST_F(WithoutMemory, TheVersionIsNotGivenAndTheStatusSaysWhy) {
  ASSERT_EQ(Initialize(), 0u);
  KtWchar* text = nullptr;
  KtStatus status = 0;
  {
    const support::FailAllocation failing(0);
    status = __KtApiVersion(&text);
  }
  EXPECT_EQ(status, E_OUTOFMEMORY);
  EXPECT_EQ(text, nullptr);
}

// A handler makes its provider where there is none; it needs nothing of it.
TEST_F(WithoutMemory, TheTraceLevelIsSetWithoutAProvider) {
  ASSERT_EQ(CKtProvider::Existing(), nullptr);
  framework_.PutUInt32(input_, "tracelevel", 3);
  CKtControlRequest request({}, 0, kt::kTraceLevelControl, input_, output_, 0, 0, 0, 0, 0, 0,
                            nullptr);
  KtStatus status = 1;
  {
    const support::FailAllocation failing(0);
    status = kt::SetTraceLevel(nullptr, request);
  }
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(framework_.TraceLevel(), 3u);
  EXPECT_TRUE(fake::Traced(6,
                           "hostkit: ERROR: CKtProvider::Instance(), Unable to construct "
                           "provider"));
}

TEST_F(WithoutMemory, TheRestartFailsWithItsStatusAndGivesItsCredentialsBack) {
  ASSERT_EQ(Initialize(), 0u);
  platform_.on_restart = [] { throw std::bad_alloc(); };
  CKtControlRequest request({}, 0, kt::kRebootControl, input_, output_, 0, 0, 0, 0, 0, 0, nullptr);
  EXPECT_EQ(kt::Reboot(nullptr, request), KTERROR_REBOOT_FAILED);
  EXPECT_EQ(platform_.open_credentials, 0u);
}

}  // namespace
