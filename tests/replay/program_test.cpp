// The programs: a recorded life of a built provider, replayed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host_system.h"
#include "replay/recordings.h"
#include "service/program.h"

namespace replay_test {
namespace {

using ktreplay::ItemKind;
using Json = nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

class ReplayProgram : public testing::Test {
 protected:
  [[nodiscard]] std::filesystem::path File() const { return folder_.path() / "life.ktrec"; }

  ktsvc_test::Result Record(const std::vector<std::string>& providers) {
    std::vector<std::string> words{"run", "--once", "--record", ktsvc::PathText(File())};
    words.insert(words.end(), providers.begin(), providers.end());
    return ktsvc_test::RunKtsvc(std::move(words), Surroundings());
  }

  ktsvc_test::Result Replay(const std::string& module, std::vector<std::string> words = {}) {
    std::filesystem::path program = ktsvc_test::BuiltProgram().parent_path() / "ktcheck";
    program += ktsvc_test::BuiltProgram().extension();
    words.insert(words.end(), {"--replay", ktsvc::PathText(File()), module});
    return ktsvc_test::Program(std::move(words), Surroundings(), program).Wait();
  }

 private:
  // An empty registry and a service manager that does nothing.
  ktsvc_test::Environment Surroundings() const {
    ktsvc_test::Environment environment = ktsvc_test::HarmlessServices(folder_);
    environment["KT_REGISTRY"] = ktsvc::PathText(folder_.path());
    return environment;
  }

  ktsvc_test::ScratchFolder folder_;
};

TEST_F(ReplayProgram, ALifeOfHostkitReplaysWithoutADifference) {
  const auto recorded = Record({"hostkit", "blockdev"});
  ASSERT_EQ(recorded.status, 0) << recorded.errors;
  EXPECT_THAT(recorded.errors, HasSubstr("ktsvc: recorded "));
  const auto replayed = Replay("hostkit");
  EXPECT_EQ(replayed.status, 0) << replayed.output << replayed.errors;
  EXPECT_THAT(replayed.output, StartsWith("hostkit: no difference; 6 functions called"));
}

TEST_F(ReplayProgram, AChangedStatusIsTold) {
  ASSERT_EQ(Record({"hostkit"}).status, 0);
  auto items = ItemsOf(File());
  FindItem(items, ItemKind::kLeave, "Control").result.number = 0xC1000002;
  WriteItems(File(), items);
  const auto replayed = Replay("hostkit");
  EXPECT_EQ(replayed.status, 1) << replayed.output << replayed.errors;
  EXPECT_THAT(replayed.output, HasSubstr("hostkit: the first difference is at item "));
  EXPECT_THAT(replayed.output, HasSubstr("= 0xC1000002"));
}

TEST_F(ReplayProgram, TellsTheFirstDifferenceAsJson) {
  RecordLife(File());
  const auto replayed = Replay(ktsvc::PathText(Variant("output")), {"--json"});
  EXPECT_EQ(replayed.status, 1) << replayed.errors;
  const Json result = Json::parse(replayed.output, nullptr, false);
  ASSERT_TRUE(result.is_object()) << replayed.output;
  EXPECT_EQ(result.at("module"), "replayed");
  EXPECT_FALSE(result.at("passed").get<bool>());
  EXPECT_EQ(result.at("exitStatus"), 1);
  EXPECT_THAT(result.at("difference").at("came").get<std::string>(), HasSubstr("{sum:UINT32=43}"));
  EXPECT_TRUE(result.at("findings").empty());
}

TEST_F(ReplayProgram, TellsAsJsonThatThereIsNoDifference) {
  RecordLife(File());
  const auto replayed = Replay(ktsvc::PathText(Variant("same")), {"--json"});
  EXPECT_EQ(replayed.status, 0) << replayed.output << replayed.errors;
  const Json result = Json::parse(replayed.output, nullptr, false);
  ASSERT_TRUE(result.is_object()) << replayed.output;
  EXPECT_TRUE(result.at("passed").get<bool>());
  EXPECT_TRUE(result.at("difference").is_null());
  EXPECT_EQ(result.at("functions"), 8);
}

TEST_F(ReplayProgram, TellsWhereAModuleCrashesAndEndsAsWithADifference) {
  RecordLife(File());
  const auto replayed = Replay(ktsvc::PathText(Variant("crash")));
  EXPECT_EQ(replayed.status, 1) << replayed.errors;
  EXPECT_THAT(replayed.output, StartsWith("replayed: it did not come to the end"));
  EXPECT_THAT(replayed.output, HasSubstr("\n1. "));  // each system calls it something else
  EXPECT_THAT(replayed.output, HasSubstr("found by the replay"));
}

TEST_F(ReplayProgram, RefusesWordsThatAreOfChecks) {
  RecordLife(File());
  for (const auto& words : std::vector<std::vector<std::string>>{
           {"--only", "life"}, {"--seed", "1"}, {"--codes", "1-5"}, {"--registry", "/"}}) {
    const auto replayed = Replay(ktsvc::PathText(Variant("same")), words);
    EXPECT_EQ(replayed.status, 2) << words.front();
    EXPECT_THAT(replayed.errors, HasSubstr(words.front()));
    EXPECT_EQ(replayed.output, "");
  }
}

TEST_F(ReplayProgram, SaysWhatIsNoRecording) {
  const auto replayed = Replay("hostkit");
  EXPECT_EQ(replayed.status, 2);
  EXPECT_THAT(replayed.errors, HasSubstr("life.ktrec: it cannot be opened"));
}

TEST_F(ReplayProgram, TheServiceRefusesAFileThatCannotBeMade) {
  std::filesystem::create_directory(File());
  const auto recorded = Record({"hostkit"});
  EXPECT_EQ(recorded.status, 2);
  EXPECT_THAT(recorded.errors, HasSubstr("--record: "));
  EXPECT_THAT(recorded.errors, HasSubstr("cannot be opened for writing"));
}

}  // namespace
}  // namespace replay_test
