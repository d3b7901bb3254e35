#include "provider_host.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <thread>
#include <utility>

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
  // A module with the mark of another processor in its header.
  static std::filesystem::path WriteForeignModule(const ScratchFolder& folder) {
    const std::string suffix(ModuleSuffix());
    std::ifstream stream(TestModules() / ("plain" + suffix), std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (bytes.starts_with("MZ")) {
      const auto header = static_cast<unsigned char>(bytes.at(60)) +
                          256U * static_cast<unsigned char>(bytes.at(61));
      bytes.at(header + 4) = '\x64';
      bytes.at(header + 5) = '\xAA';
    } else {
      bytes.at(18) = '\xB7';
    }
    return folder.Write("foreign" + suffix, bytes);
  }

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
  EXPECT_EQ(FailureOf(PathText(file)),
            "it is no shared library: it begins with neither an ELF nor a PE header");
}

TEST_F(ProviderHostFailure, RefusesAModuleForAnotherProcessor) {
  const ScratchFolder folder;
  const ProviderReport report = ReportOf(PathText(WriteForeignModule(folder)));
  EXPECT_EQ(report.failures.front().what, "it is for another processor: ARM64, 64 bits");
  EXPECT_NE(report.failures.front().advice.find("take the one that was built for it"),
            std::string::npos);
}

TEST_F(ProviderHostFailure, GivesTheLoadersWordsForALibraryThatIsMissing) {
  const std::string failure = FailureOf("orphaned");
  EXPECT_EQ(failure.rfind("the system's loader refused it: ", 0), 0U) << failure;
}

TEST_F(ProviderHostFailure, GivesTheStatusOfAProviderEntryThatFails) {
  EXPECT_EQ(FailureOf("poor"), "its ProviderEntry fails: 0x8007000E E_OUTOFMEMORY (out of memory)");
}

TEST_F(ProviderHostFailure, SurvivesAProviderEntryThatThrows) {
  EXPECT_EQ(FailureOf("bursting"), "it threw an exception while it was being started");
}

TEST_F(ProviderHostFailure, LetsTheOthersRunWhateverIsWrongWithOne) {
  const ScratchFolder folder;
  const std::string foreign = PathText(WriteForeignModule(folder));
  const std::string text =
      PathText(folder.Write("text" + std::string(ModuleSuffix()), "no library"));
  for (const std::string& bad :
       {std::string("nobody"), std::string("misnamed"), std::string("exportless"),
        std::string("refusing"), std::string("throwing"), std::string("orphaned"),
        std::string("poor"), std::string("bursting"), foreign, text}) {
    ProviderHost host(database_, progress_);
    EXPECT_TRUE(host.Start("good", TestModules())) << bad;
    EXPECT_FALSE(host.Start(bad, TestModules())) << bad;
    EXPECT_TRUE(host.Start("plain", TestModules())) << bad;
    const auto reports = host.Reports();
    EXPECT_EQ(reports[0].state, ProviderState::kRunning) << bad;
    EXPECT_EQ(reports[1].state, ProviderState::kFailed) << bad;
    EXPECT_EQ(reports[1].failures.size(), 1U) << bad;
    EXPECT_EQ(reports[2].state, ProviderState::kRunning) << bad;
  }
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
  EXPECT_NE(said.find("ktsvc: plain is waited for: 2 controls in flight: control 7 for alice "
                      "of plain; control 8 for bob\n"),
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

TEST_F(ProviderHostTest, AStopEndsWithWhatTheProviderKept) {
  Progress loud(false);
  testing::internal::CaptureStderr();
  {
    ProviderHost host(database_, loud);
    host.Start("plain", TestModules());
    host.StopAll();
  }
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find(" ms, nothing kept\n"), std::string::npos) << said;
}

TEST_F(ProviderHostTest, AReportDuringAStopTellsWhatIsWaitedFor) {
  std::vector<ProviderReport> seen;
  const ProviderHost* looked = nullptr;
  {
    bool asking = false;
    ProviderHost host(
        database_, progress_,
        [&](const std::string&) {
          if (!std::exchange(asking, true)) {
            seen = looked->Reports();
          }
          return std::vector<std::string>{"control 7 for alice"};
        },
        std::chrono::hours(1));
    looked = &host;
    host.Start("plain", TestModules());
    EXPECT_TRUE(host.Reports().front().waitsFor.empty());
    host.StopAll();
    EXPECT_EQ(host.Reports().front().state, ProviderState::kStopped);
    EXPECT_TRUE(host.Reports().front().waitsFor.empty());
  }
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen.front().state, ProviderState::kStopping);
  ASSERT_EQ(seen.front().waitsFor.size(), 1U);
  EXPECT_EQ(seen.front().waitsFor.front(), "1 control in flight: control 7 for alice");
}

}  // namespace
}  // namespace ktsvc
