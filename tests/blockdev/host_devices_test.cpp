// What is listed on the machine that the tests run on. Every machine is different, and a container
// may have no disk at all: what holds everywhere is that the list is fit to be published. The rules
// by which it is made have devices of their own (kernel_device_test.cpp).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "blockdev/devices/device_source.h"

namespace kt::blockdev {
namespace {

// What of a list could not be published; nothing for a good one.
std::vector<std::string> Unfit(const std::vector<BlockDevice>& devices) {
  std::vector<std::string> unfit;
  std::set<std::tuple<DeviceKind, std::string>> seen;
  for (const BlockDevice& device : devices) {
    const std::string& path = device.device_path;
    if (device.name.empty()) unfit.push_back(path + " has no name");
    if (path.empty()) unfit.push_back(device.name + " has no path");
    if (!seen.emplace(device.kind, path).second) unfit.push_back(path + " is there twice");
    for (const std::string& point : device.mount_points) {
      if (point.empty()) unfit.push_back(path + " is mounted nowhere");
    }
    for (const std::string& parent : device.parents) {
      if (IsPartition(device.kind) && parent == path) unfit.push_back(path + " stands on itself");
    }
  }
  return unfit;
}

BlockDevice Device(DeviceKind kind, const std::string& name, const std::string& path) {
  BlockDevice device;
  device.kind = kind;
  device.name = name;
  device.device_path = path;
  return device;
}

TEST(ListDevices, GivesDevicesFitToBePublished) {
  EXPECT_THAT(Unfit(ListDevices()), testing::IsEmpty());
}

TEST(ListDevices, IsJudgedByRulesThatFindEveryFault) {
  BlockDevice nowhere = Device(DeviceKind::kVolume, "c", "/dev/c");
  nowhere.mount_points = {""};
  BlockDevice itself = Device(DeviceKind::kPartition, "d1", "/dev/d1");
  itself.parents = {"/dev/d1"};
  EXPECT_THAT(Unfit({Device(DeviceKind::kDisk, "", "/dev/a"), Device(DeviceKind::kDisk, "b", ""),
                     Device(DeviceKind::kDisk, "a", "/dev/a"), nowhere, itself}),
              testing::ElementsAre("/dev/a has no name", "b has no path", "/dev/a is there twice",
                                   "/dev/c is mounted nowhere", "/dev/d1 stands on itself"));
}

}  // namespace
}  // namespace kt::blockdev
