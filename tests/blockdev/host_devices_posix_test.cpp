// The list of this machine's devices beside the kernel's own: every disk and partition that it
// counts is listed, and nothing is listed that it does not know.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "blockdev/devices/device_source.h"

namespace kt::blockdev {
namespace {

// Kernel names of the disks and partitions of the machine. Device numbers that may stand for
// nothing (loop devices and the like) are left out: which of them count is a rule of its own.
std::set<std::string> NamesOfTheKernel() {
  std::ifstream file("/proc/partitions");
  std::set<std::string> names;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    unsigned long major = 0;
    unsigned long minor = 0;
    unsigned long long blocks = 0;
    std::string name;
    if (!(words >> major >> minor >> blocks >> name) || blocks == 0) continue;
    bool counts = true;
    for (const char* kind : {"loop", "ram", "zram", "dm-", "nbd"}) {
      counts = counts && name.rfind(kind, 0) != 0;
    }
    if (counts) names.insert(name);
  }
  return names;
}

TEST(ListDevices, HasEveryDiskAndPartitionThatTheKernelHas) {
  std::set<std::string> listed;
  for (const BlockDevice& device : ListDevices()) listed.insert(device.name);
  for (const std::string& name : NamesOfTheKernel()) {
    EXPECT_THAT(listed, testing::Contains(name));
  }
}

TEST(ListDevices, HasNothingThatTheKernelHasNot) {
  const std::string folder = "/dev/";
  for (const BlockDevice& device : ListDevices()) {
    ASSERT_EQ(device.device_path.rfind(folder, 0), 0u) << device.device_path;
    std::string name = device.device_path.substr(folder.size());
    std::replace(name.begin(), name.end(), '/', '!');  // as the kernel writes it
    EXPECT_TRUE(std::filesystem::exists("/sys/class/block/" + name)) << name;
  }
}

}  // namespace
}  // namespace kt::blockdev
