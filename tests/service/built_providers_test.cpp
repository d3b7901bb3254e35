// The program with the providers of the build, as the README tells a person to start it.

#include <gtest/gtest.h>

#include "host_system.h"
#include "service/json_search.h"
#include "service/program.h"

namespace ktsvc_test {
namespace {

using Json = nlohmann::json;

class BuiltProviders : public testing::Test {
 protected:
  // One whole life with an empty registry and a service manager that does nothing.
  Result Live(std::vector<std::string> words) {
    Environment environment = HarmlessServices(folder_);
    environment["KT_REGISTRY"] = ktsvc::PathText(folder_.path());
    words.insert(words.begin(), {"run", "--once"});
    Result result = RunKtsvc(std::move(words), environment);
    EXPECT_EQ(result.status, 0) << result.errors << result.output;
    return result;
  }

 private:
  ScratchFolder folder_;
};

TEST_F(BuiltProviders, PublishTheSystemObjectWithItsThreeInterfaces) {
  const Json life = Json::parse(Live({"--json", "hostkit"}).output);
  const Json system = FindBy(life["objects"], "type", "qelm_system");
  ASSERT_EQ(system["interfaces"].size(), 3U);
  for (const char* name : {"system", "reboot", "trace"}) {
    EXPECT_EQ(FindBy(system["interfaces"], "name", name)["owner"], "hostkit") << name;
  }
}

TEST_F(BuiltProviders, AnswerTheTraceLevelControlWithThePreviousLevel) {
  const Json life = Json::parse(Live({"--json", "--trace-level", "5", "hostkit"}).output);
  EXPECT_EQ(life["control"]["status"]["code"], 0);
  EXPECT_EQ(life["control"]["previousLevel"], 5);
}

TEST_F(BuiltProviders, KeepNothing) {
  const Json life = Json::parse(Live({"--json", "hostkit", "blockdev"}).output);
  EXPECT_EQ(life["ledger"]["clean"], true) << life["ledger"];
}

TEST_F(BuiltProviders, GiveTheirVersions) {
  const Json life = Json::parse(Live({"--json", "hostkit", "blockdev"}).output);
  EXPECT_EQ(FindBy(life["providers"], "name", "hostkit")["version"], "WINNT.6.1.0.445");
  EXPECT_TRUE(FindBy(life["providers"], "name", "blockdev")["version"].is_string());
}

TEST_F(BuiltProviders, TraceTheFourStepsOfShutdownInOrder) {
  const std::string trace = Live({"hostkit"}).errors;
  std::size_t at = 0;
  for (const char* step :
       {"CKtThreadContainer", "CKtCustomObjectContainer", "CKtControlManager", "CKtEventManager"}) {
    at = trace.find(std::string(step) + " shutdown completed.", at);
    ASSERT_NE(at, std::string::npos) << step << " in\n" << trace;
  }
}

TEST_F(BuiltProviders, GiveEachGroupTheInterfaceOfItsFirstChild) {
  const std::vector<std::pair<std::string, std::string>> expected{
      {"qelm_ktvm_disk", "disk"},
      {"qelm_ktvm_cdrom", "disk"},
      {"qelm_ktvm_volume", "volume"},
      {"qelm_ktvm_partition_oem", "volume"},
      {"qelm_ktvm_diskgroup", "disk-group"}};
  const Json life = Json::parse(Live({"--json", "hostkit", "blockdev"}).output);
  std::size_t groups = 0;
  for (const Json& group : life["objects"]) {
    if (group["type"] != "QELM_GenericGroup") {
      continue;
    }
    ++groups;
    std::string wanted;
    if (!group["children"].empty()) {
      const Json first = FindBy(life["objects"], "id", group["children"][0]);
      for (const auto& [type, name] : expected) {
        wanted = first["type"] == type ? name : wanted;
      }
    }
    const Json attached = FindBy(group["interfaces"], "owner", "hostkit");
    EXPECT_EQ(attached.is_null() ? "" : attached["name"], wanted) << group;
  }
  EXPECT_GT(groups, 0U);
}

}  // namespace
}  // namespace ktsvc_test
