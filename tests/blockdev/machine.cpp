#include "machine.h"

#include "base/module.h"
#include "blockdev/blockdev_provider.h"

using kt::blockdev::BlockDevice;
using kt::blockdev::DeviceKind;

namespace kt {

const KtWchar* const kModuleName = KT_W("blockdev");

CKtProvider* MakeProvider() {
  return new blockdev::CBlockDev([] {
    if (TheMachine().while_listing) TheMachine().while_listing();
    return TheMachine().devices;
  });
}

}  // namespace kt

Machine& TheMachine() {
  static Machine machine;
  return machine;
}

BlockDevice DiskNamed(const std::string& name) {
  BlockDevice device;
  device.kind = DeviceKind::kDisk;
  device.name = name;
  device.device_path = "/dev/" + name;
  device.size = 1'000'000'000'000;
  device.model = "Fast Disk";
  device.serial = "S-" + name;
  device.transport = "ata";
  device.rotational = true;
  device.logical_block_size = 512;
  device.physical_block_size = 4096;
  return device;
}

BlockDevice CdromNamed(const std::string& name) {
  BlockDevice device = DiskNamed(name);
  device.kind = DeviceKind::kCdrom;
  device.size = 0;
  device.removable = true;
  device.read_only = true;
  return device;
}

BlockDevice PartitionNamed(const std::string& name, const std::string& disk) {
  BlockDevice device = DiskNamed(name);
  device.kind = DeviceKind::kPartition;
  device.partition_number = 2;
  device.partition_type = "0x83";
  device.parents = {"/dev/" + disk};
  return device;
}

BlockDevice OemPartitionNamed(const std::string& name, const std::string& disk) {
  BlockDevice device = PartitionNamed(name, disk);
  device.kind = DeviceKind::kOemPartition;
  device.partition_number = 1;
  device.partition_type = "0xef";
  return device;
}

BlockDevice VolumeNamed(const std::string& name, const std::string& parent) {
  BlockDevice device = DiskNamed(name);
  device.kind = DeviceKind::kVolume;
  device.file_system = "ext4";
  device.label = "data";
  device.mount_points = {"/", "/my disk"};
  device.parents = {"/dev/" + parent};
  return device;
}

std::vector<BlockDevice> UsualDevices() {
  return {DiskNamed("sda"), OemPartitionNamed("sda1", "sda"), PartitionNamed("sda2", "sda"),
          VolumeNamed("sda2", "sda2"), CdromNamed("sr0")};
}
