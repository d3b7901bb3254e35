// Both providers of the house in one service: what blockdev publishes, hostkit decorates.
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "blockdev/device_kinds.h"
#include "host_system.h"
#include "service/program.h"

namespace {

using Json = nlohmann::json;

struct Group {
  std::set<std::string> interfaces;  // those with a name in the service
  std::size_t children = 0;
};

// The groups that a whole life of the service with these two shows, by name.
std::map<std::string, Group> GroupsOfALife() {
  const ktsvc_test::ScratchFolder folder;
  ktsvc_test::Environment environment = ktsvc_test::HarmlessServices(folder);
  // An empty registry, where the registry is a folder; Windows has its own.
  environment["KT_REGISTRY"] = ktsvc::PathText(folder.path());
  const ktsvc_test::Result result =
      ktsvc_test::RunKtsvc({"run", "--once", "--json", "--module-folder",
                            ktsvc::PathText(ktsvc_test::BuiltModules()), "hostkit", "blockdev"},
                           environment);
  EXPECT_EQ(result.status, 0) << result.errors;
  std::map<std::string, Group> groups;
  const Json life = Json::parse(result.output, nullptr, false);
  if (life.is_discarded()) {
    ADD_FAILURE() << result.output;
    return groups;
  }
  for (const Json& object : life.at("objects")) {
    if (object.at("type") != kt::blockdev::kGroupType) continue;
    Group group;
    group.children = object.at("children").size();
    for (const Json& offered : object.at("interfaces")) {
      if (offered.at("owner") == "hostkit") {
        group.interfaces.insert(offered.at("name").get<std::string>());
      }
    }
    for (const Json& property : object.at("properties")) {
      if (property.at("name") == "Name") groups[property.at("value").get<std::string>()] = group;
    }
  }
  return groups;
}

TEST(BlockDevInAService, LetsHostkitGiveEachGroupWithDevicesTheInterfaceOfItsKind) {
  std::map<std::string, Group> groups = GroupsOfALife();
  const std::map<std::string, std::set<std::string>> interfaces{
      {"disks", {"disk"}}, {"cdroms", {"disk"}},    {"oem_partitions", {"volume"}},
      {"partitions", {}},  {"volumes", {"volume"}},
  };
  ASSERT_EQ(groups.size(), interfaces.size());
  for (const auto& [name, expected] : interfaces) {
    ASSERT_EQ(groups.count(name), 1u) << name;
    const Group& group = groups[name];
    EXPECT_EQ(group.interfaces, group.children == 0 ? std::set<std::string>() : expected) << name;
  }
}

}  // namespace
