// What one block device of this machine is, in the words of a storage operator, whatever the
// operating system calls its parts.
//
// A value: copied freely, compared member by member to see whether a device has changed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kt::blockdev {

enum class DeviceKind {
  kDisk,          // a whole disk, or what behaves like one (a multipath disk, a backed loop device)
  kCdrom,         // an optical drive, with or without a medium
  kOemPartition,  // a partition that the machine keeps to itself: EFI system, recovery, vendor's
  kPartition,     // any other partition
  kVolume,        // what carries a file system or can: a logical volume, an array, a drive letter
};

constexpr bool IsPartition(DeviceKind kind) noexcept {
  return kind == DeviceKind::kPartition || kind == DeviceKind::kOemPartition;
}

// Texts are UTF-8 and empty when unknown. A number or a flag that may be unknown is optional.
struct BlockDevice {
  DeviceKind kind = DeviceKind::kDisk;
  std::string name;         // "sda", "vg-root", "C:"; never empty
  std::string device_path;  // how a program opens it: "/dev/sda", "\\.\PhysicalDrive0"
  std::uint64_t size = 0;   // bytes; 0 for a drive without a medium
  std::string model;
  std::string serial;
  std::string transport;  // "nvme", "ata", "usb", "virtio", "virtual", ...
  std::optional<bool> rotational;
  bool removable = false;
  bool read_only = false;
  std::optional<std::uint32_t> logical_block_size;   // bytes
  std::optional<std::uint32_t> physical_block_size;  // bytes
  std::vector<std::string> mount_points;             // in the system's order, each once
  std::string file_system;                           // "ext4", "NTFS"
  std::string label;
  std::optional<std::uint32_t> partition_number;  // from 1
  std::string partition_type;                     // a GPT type GUID, or "0x83" of an MBR
  std::vector<std::string> parents;               // device paths of what it stands on

  bool operator==(const BlockDevice&) const = default;
};

}  // namespace kt::blockdev
