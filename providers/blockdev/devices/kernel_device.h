// From what the Linux kernel and udev say about block devices to what an operator calls them.
//
// The reading (linux_device_source.cpp) and the judging (this) are apart, so that the rules can be
// tried on any machine with devices that it does not have:
//   - A device number without a device behind it is left out: a loop device without a file, a
//     memory disk, a network disk that is not connected, the hidden paths of a multipath NVMe.
//   - Optical drives are cdroms. Partitions are partitions, and OEM partitions where their type
//     says so (EFI system, Microsoft reserved, recovery, boot helper, vendor's).
//   - Arrays and device-mapper devices are volumes, but a multipath device is a disk and a
//     partition mapped on it a partition.
//   - A disk or partition with a file system right on it is also the volume that this file system
//     makes of it: it is listed twice, once as what it is and once as a volume.
//   - Everything else is a disk.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "blockdev/devices/block_device.h"
#include "blockdev/devices/mount_table.h"

namespace kt::blockdev {

using TextMap = std::map<std::string, std::string, std::less<>>;

// One device as the kernel names it. A text that the system does not have is absent or empty.
struct KernelDevice {
  std::string name;  // "sda1"
  std::string node;  // "/dev/sda1"
  std::string type;  // "disk" or "partition"
  std::string path;  // its folder below /sys
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  TextMap attributes;               // files below its folder, kWantedAttributes
  TextMap properties;               // of the udev database, which may be missing
  std::string disk;                 // of a partition: the whole disk's kernel name
  std::vector<std::string> slaves;  // kernel names of the devices that it stands on
};

// The attributes that the rules read.
inline constexpr const char* kWantedAttributes[] = {
    "size",
    "removable",
    "ro",
    "hidden",
    "partition",
    "queue/rotational",
    "device/model",
    "device/serial",
    "queue/logical_block_size",
    "device/type",
    "serial",
    "queue/physical_block_size",
    "dm/name",
    "dm/uuid",
    "md/level",
    "loop/backing_file",
    "backing_dev",
};

// The devices in the order given, a volume that a file system makes right behind its device.
[[nodiscard]] std::vector<BlockDevice> DescribeDevices(const std::vector<KernelDevice>& devices,
                                                       const std::vector<Mount>& mounts);

}  // namespace kt::blockdev
