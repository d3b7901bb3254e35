#include <dirent.h>
#include <libudev.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "blockdev/devices/device_source.h"
#include "blockdev/devices/kernel_device.h"
#include "blockdev/devices/mount_table.h"

namespace kt::blockdev {
namespace {

template <auto Unref>
struct UdevDeleter {
  template <typename T>
  void operator()(T* pointer) const noexcept {
    Unref(pointer);
  }
};
using Udev = std::unique_ptr<udev, UdevDeleter<udev_unref>>;
using UdevEnumerate = std::unique_ptr<udev_enumerate, UdevDeleter<udev_enumerate_unref>>;
using UdevDevice = std::unique_ptr<udev_device, UdevDeleter<udev_device_unref>>;

std::string TextOf(const char* text) {
  return text == nullptr ? std::string() : std::string(text);
}

std::vector<std::string> NamesInFolder(const std::string& folder) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, UdevDeleter<closedir>> open(opendir(folder.c_str()));
  if (open == nullptr) return names;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream is this function's own
  while (const dirent* const entry = readdir(open.get())) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end());
  return names;
}

KernelDevice Read(udev_device* device) {
  KernelDevice read;
  read.name = TextOf(udev_device_get_sysname(device));
  read.node = TextOf(udev_device_get_devnode(device));
  read.type = TextOf(udev_device_get_devtype(device));
  read.path = TextOf(udev_device_get_syspath(device));
  const dev_t number = udev_device_get_devnum(device);
  read.major = major(number);
  read.minor = minor(number);
  for (const char* const name : kWantedAttributes) {
    const char* const value = udev_device_get_sysattr_value(device, name);
    if (value != nullptr) read.attributes.emplace(name, value);
  }
  udev_list_entry* entry = nullptr;
  udev_list_entry_foreach(entry, udev_device_get_properties_list_entry(device)) {
    read.properties.emplace(TextOf(udev_list_entry_get_name(entry)),
                            TextOf(udev_list_entry_get_value(entry)));
  }
  if (read.type == "partition") {
    // The parent belongs to the device and is not released.
    udev_device* const disk =
        udev_device_get_parent_with_subsystem_devtype(device, "block", "disk");
    if (disk != nullptr) read.disk = TextOf(udev_device_get_sysname(disk));
  }
  read.slaves = NamesInFolder(read.path + "/slaves");
  return read;
}

std::vector<KernelDevice> ReadKernelDevices() {
  const Udev context(udev_new());
  if (context == nullptr) throw std::runtime_error("udev cannot be opened");
  const UdevEnumerate enumerate(udev_enumerate_new(context.get()));
  if (enumerate == nullptr || udev_enumerate_add_match_subsystem(enumerate.get(), "block") < 0 ||
      udev_enumerate_scan_devices(enumerate.get()) < 0) {
    throw std::runtime_error("udev cannot list the block devices");
  }
  std::vector<KernelDevice> devices;
  udev_list_entry* entry = nullptr;
  udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate.get())) {
    const char* const path = udev_list_entry_get_name(entry);
    const UdevDevice device(udev_device_new_from_syspath(context.get(), path));
    // A device that went away meanwhile is no device of this machine any more.
    if (device != nullptr) devices.push_back(Read(device.get()));
  }
  return devices;
}

std::vector<Mount> ReadMounts(const char* path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  return ParseMountInfo(text);
}

// The machine's mounts. A service in a sandbox of its own has a table with the sandbox's mounts
// besides, which would look like mount points of the disks; process 1 has the machine's.
std::vector<Mount> ReadMounts() {
  std::vector<Mount> mounts = ReadMounts("/proc/1/mountinfo");
  return mounts.empty() ? ReadMounts("/proc/self/mountinfo") : mounts;
}

}  // namespace

std::vector<BlockDevice> ListDevices() {
  return DescribeDevices(ReadKernelDevices(), ReadMounts());
}

}  // namespace kt::blockdev
