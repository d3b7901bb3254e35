#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>

#include "blockdev/devices/device_source.h"

namespace kt::blockdev {
namespace {

// Every machine is different, and a container may have no disk at all: what holds everywhere is
// that whatever is listed is fit to be published.
TEST(ListDevices, GivesEveryDeviceOfThisMachineANameAPathAndAKeyOfItsOwn) {
  std::set<std::tuple<DeviceKind, std::string>> seen;
  for (const BlockDevice& device : ListDevices()) {
    EXPECT_FALSE(device.name.empty());
    EXPECT_FALSE(device.device_path.empty()) << device.name;
    EXPECT_TRUE(seen.emplace(device.kind, device.device_path).second) << device.device_path;
    for (const std::string& point : device.mount_points) EXPECT_FALSE(point.empty());
  }
}

TEST(ListDevices, PutsNoPartitionOnItself) {
  for (const BlockDevice& device : ListDevices()) {
    if (device.kind == DeviceKind::kPartition || device.kind == DeviceKind::kOemPartition) {
      for (const std::string& parent : device.parents) EXPECT_NE(parent, device.device_path);
    }
  }
}

}  // namespace
}  // namespace kt::blockdev
