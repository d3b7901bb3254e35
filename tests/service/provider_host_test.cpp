#include "provider_host.h"

#include <gtest/gtest.h>

#include <thread>

#include "host_system.h"
#include "ktbus3/ktbus3_host.h"
#include "service/program.h"
#include "service/scratch_folder.h"
#include "trace_level_control.h"

namespace ktsvc {
namespace {

using ktsvc_test::ScratchFolder;
using ktsvc_test::TestModules;

class ProviderHostTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(KtBusOpenDatabase(&database_), 0U); }
  void TearDown() override { KtBusCloseDatabase(database_); }

  // A detachment on another thread may still be under way.
  void WaitUntilNoneIsAttached() const {
    for (int attached = 1; attached != 0; std::this_thread::yield()) {
      attached = 0;
      ASSERT_EQ(KtBusVisitProviders(
                    database_,
                    [](const KtBusProviderInfo*, void* context) -> cuvo_bool {
                      ++*static_cast<int*>(context);
                      return 1;
                    },
                    &attached),
                0U);
    }
  }

  KtDatabase database_ = nullptr;
  Progress progress_{true};
};

// What a provider of that name reports after it was started and, where it ran, stopped.
class ProviderHostFailure : public ProviderHostTest {
 protected:
  ProviderReport ReportOf(const std::string& word) {
    ProviderHost host(database_, progress_);
    host.Start(word, TestModules());
    host.StopAll();
    EXPECT_EQ(host.AnyFailed(), !host.Reports().front().failures.empty());
    return host.Reports().front();
  }

  std::string FailureOf(const std::string& word) {
    const ProviderReport report = ReportOf(word);
    EXPECT_EQ(report.state, ProviderState::kFailed);
    return report.failures.empty() ? "" : report.failures.front().what;
  }
};

TEST_F(ProviderHostTest, RunsAProviderFromStartToStop) {
  ProviderHost host(database_, progress_);
  EXPECT_TRUE(host.Start("good", TestModules()));
  ProviderReport report = host.Reports().front();
  EXPECT_EQ(report.state, ProviderState::kRunning);
  EXPECT_EQ(report.version, "GOOD.1.2.3");
  EXPECT_EQ(report.initialize, 0U);
  EXPECT_TRUE(report.file.is_absolute());

  host.StopAll();
  report = host.Reports().front();
  EXPECT_EQ(report.state, ProviderState::kStopped);
  EXPECT_EQ(report.shutdown, 0U);
  EXPECT_FALSE(host.AnyFailed());
}

TEST_F(ProviderHostTest, LoadsAndUnloadsTheSameModuleAgainAndAgain) {
  for (int i = 0; i < 3; ++i) {
    ProviderHost host(database_, progress_);
    EXPECT_TRUE(host.Start("plain", TestModules()));
  }
}

TEST_F(ProviderHostTest, TakesAModuleByItsPath) {
  ProviderHost host(database_, progress_);
  const auto file = TestModules() / ("plain" + std::string(ModuleSuffix()));
  EXPECT_TRUE(host.Start(PathText(file), "not-looked-at"));
  EXPECT_EQ(host.Reports().front().name, "plain");
}

TEST_F(ProviderHostTest, HasNoVersionForAProviderThatGivesNone) {
  ProviderHost host(database_, progress_);
  EXPECT_TRUE(host.Start("plain", TestModules()));
  EXPECT_FALSE(host.Reports().front().version.has_value());
}

TEST_F(ProviderHostTest, StartsAProviderOnlyOnce) {
  ProviderHost host(database_, progress_);
  EXPECT_TRUE(host.Start("plain", TestModules()));
  EXPECT_FALSE(host.Start("plain", TestModules()));
  const auto reports = host.Reports();
  EXPECT_EQ(reports[0].state, ProviderState::kRunning);
  EXPECT_EQ(reports[1].failures.front().what.rfind("a provider of this name is running already", 0),
            0U);
}

TEST_F(ProviderHostTest, GoesOnAfterAProviderThatFails) {
  ProviderHost host(database_, progress_);
  EXPECT_FALSE(host.Start("refusing", TestModules()));
  EXPECT_TRUE(host.Start("plain", TestModules()));
  EXPECT_TRUE(host.AnyFailed());
}

TEST_F(ProviderHostTest, CountsTheControlsThatAProviderServed) {
  ProviderHost host(database_, progress_);
  ASSERT_TRUE(host.Start("good", TestModules()));
  const TraceLevelAnswer answer = SendTraceLevel(database_, 4);
  EXPECT_TRUE(answer.Served());
  EXPECT_EQ(answer.previous, 4U);
  host.StopAll();
  EXPECT_EQ(host.Reports().front().controls, 1U);
}

TEST_F(ProviderHostFailure, NamesTheFileThatIsNotThere) {
  EXPECT_EQ(FailureOf("nobody").rfind("there is no file ", 0), 0U);
}

TEST_F(ProviderHostFailure, NamesTheExportsThatAreMissing) {
  EXPECT_EQ(FailureOf("exportless"),
            "it is no provider module: it does not export DllInit and ProviderEntry");
}

TEST_F(ProviderHostFailure, ExplainsAModuleThatRefusesItsName) {
  const ProviderReport report = ReportOf("misnamed");
  EXPECT_EQ(report.failures.front().what.rfind("it refuses the name \"misnamed\": 0xC1000005", 0),
            0U);
  EXPECT_NE(report.failures.front().advice.find("name of its file"), std::string::npos);
}

TEST_F(ProviderHostFailure, GivesTheStatusOfAnInitializeThatFails) {
  EXPECT_EQ(FailureOf("refusing"),
            "its Initialize fails: 0x8007000E E_OUTOFMEMORY (out of memory)");
}

TEST_F(ProviderHostFailure, ShutsDownWhatCouldNotInitialize) {
  const ProviderReport report = ReportOf("refusing");
  EXPECT_EQ(report.initialize, 0x8007000EU);
  EXPECT_EQ(report.shutdown, 0U);
}

TEST_F(ProviderHostFailure, TellsAnExceptionFromAStatus) {
  EXPECT_EQ(FailureOf("throwing"), "its Initialize threw an exception");
  EXPECT_EQ(FailureOf("explosive"), "its Shutdown threw an exception");
}

TEST_F(ProviderHostFailure, BlamesAnExceptionOnTheFunctionThatThrew) {
  const ProviderReport report = ReportOf("nervous");
  EXPECT_EQ(report.shutdown, 0U);
  ASSERT_EQ(report.failures.size(), 1U);
  EXPECT_EQ(report.failures.front().what, "exceptions left its functions: 1");
}

TEST_F(ProviderHostFailure, KeepsAModuleInMemoryThatTheBusDoesNotLetGo) {
  for (const char* version : {"1", "2"}) {  // the module counts on, for it was not unloaded
    ProviderHost host(database_, progress_);
    ASSERT_TRUE(host.Start("clinging", TestModules()));
    EXPECT_EQ(host.Reports().front().version, version);
    host.StopAll();
    const ProviderReport report = host.Reports().front();
    EXPECT_EQ(report.shutdown, 0U);
    ASSERT_EQ(report.failures.size(), 1U);
    EXPECT_EQ(report.failures.front().what.rfind("the bus does not let go of it: 0xC1000010", 0),
              0U);
    EXPECT_NE(report.failures.front().advice.find("stays in memory"), std::string::npos);
    WaitUntilNoneIsAttached();
  }
}

TEST_F(ProviderHostFailure, DoesNotAskAProviderThatTheBusRefused) {
  KtProvider holder = nullptr;
  const KtProviderTable table{};
  ASSERT_EQ(KtBusAttachProvider(database_, "plain", &table, nullptr, &holder), 0U);
  const ProviderReport report = ReportOf("plain");
  EXPECT_EQ(report.failures.front().what.rfind("the bus does not take it: 0xC1000044", 0), 0U);
  EXPECT_FALSE(report.initialize.has_value());
  EXPECT_FALSE(report.shutdown.has_value());
}

TEST_F(ProviderHostFailure, GivesTheStatusOfAShutdownThatFails) {
  EXPECT_EQ(FailureOf("stubborn").rfind("its Shutdown fails: 0xC1000001", 0), 0U);
}

TEST_F(ProviderHostFailure, RefusesAFileThatIsNoLibrary) {
  const ScratchFolder folder;
  const auto file = folder.Write("text" + std::string(ModuleSuffix()), "no library");
  EXPECT_EQ(FailureOf(PathText(file)).rfind("the system's loader refused it: ", 0), 0U);
}

TEST_F(ProviderHostFailure, CountsExceptionsThatLeftAnyFunction) {
  ProviderHost host(database_, progress_);
  ASSERT_TRUE(host.Start("jumpy", TestModules()));
  KtBusRaiseEvent(database_, "event.qelm.dom.initialization.test.complete", nullptr);
  KtBusWaitForDelivery(database_, 60000);
  host.StopAll();
  const ProviderReport report = host.Reports().front();
  EXPECT_EQ(report.exceptions, 1U);
  EXPECT_EQ(report.failures.front().what, "exceptions left its functions: 1");
}

TEST_F(ProviderHostTest, AStopNamesWhatIsStillWaitedFor) {
  Progress loud(false);
  testing::internal::CaptureStderr();
  {
    ProviderHost host(
        database_, loud,
        [](const std::string& provider) {
          return std::vector<std::string>{"control 7 for alice of " + provider,
                                          "control 8 for bob"};
        },
        std::chrono::hours(1));
    host.Start("plain", TestModules());
    host.StopAll();
  }
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("ktsvc: plain is waited for: control 7 for alice of plain; "
                      "control 8 for bob\n"),
            std::string::npos)
      << said;
}

TEST_F(ProviderHostTest, AStopThatWaitsForNothingNamesNothing) {
  Progress loud(false);
  testing::internal::CaptureStderr();
  {
    ProviderHost host(
        database_, loud, [](const std::string&) { return std::vector<std::string>{}; },
        std::chrono::hours(1));
    host.Start("plain", TestModules());
    host.StopAll();
  }
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_EQ(said.find("waited for"), std::string::npos) << said;
}

}  // namespace
}  // namespace ktsvc
