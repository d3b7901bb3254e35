#include "blockdev/devices/kernel_device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kt::blockdev {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

KernelDevice Disk(const std::string& name) {
  KernelDevice device;
  device.name = name;
  device.node = "/dev/" + name;
  device.type = "disk";
  device.path = "/sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/block/" + name;
  device.major = 8;
  device.minor = 0;
  device.attributes = {{"size", "2048"}, {"removable", "0"}, {"ro", "0"}};
  return device;
}

KernelDevice Partition(const std::string& name, const std::string& disk,
                       const std::string& type = "") {
  KernelDevice device = Disk(name);
  device.type = "partition";
  device.minor = 1;
  device.disk = disk;
  device.attributes["partition"] = "1";
  if (!type.empty()) device.properties["ID_PART_ENTRY_TYPE"] = type;
  return device;
}

Mount MountOf(std::uint32_t major, std::uint32_t minor, const std::string& point,
              const std::string& source, const std::string& file_system = "ext4") {
  return Mount{major, minor, "/", point, file_system, source};
}

std::vector<DeviceKind> Kinds(const std::vector<BlockDevice>& devices) {
  std::vector<DeviceKind> kinds;
  kinds.reserve(devices.size());
  for (const BlockDevice& device : devices) kinds.push_back(device.kind);
  return kinds;
}

TEST(DescribeDevices, MakesADiskOfAWholeDisk) {
  KernelDevice disk = Disk("sda");
  disk.attributes["device/model"] = "Fast Disk       ";
  disk.attributes["queue/rotational"] = "1";
  disk.attributes["queue/logical_block_size"] = "512";
  disk.attributes["queue/physical_block_size"] = "4096";
  disk.properties["ID_SERIAL_SHORT"] = "S123";
  const auto devices = DescribeDevices({disk}, {});
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices[0].kind, DeviceKind::kDisk);
  EXPECT_EQ(devices[0].name, "sda");
  EXPECT_EQ(devices[0].device_path, "/dev/sda");
  EXPECT_EQ(devices[0].size, 2048u * 512u);
  EXPECT_EQ(devices[0].model, "Fast Disk");
  EXPECT_EQ(devices[0].serial, "S123");
  EXPECT_EQ(devices[0].transport, "ata");
  EXPECT_EQ(devices[0].rotational, true);
  EXPECT_FALSE(devices[0].removable);
  EXPECT_FALSE(devices[0].read_only);
  EXPECT_EQ(devices[0].logical_block_size, 512u);
  EXPECT_EQ(devices[0].physical_block_size, 4096u);
  EXPECT_THAT(devices[0].mount_points, IsEmpty());
}

TEST(DescribeDevices, LeavesUnknownFlagsAndNumbersUnset) {
  const auto devices = DescribeDevices({Disk("sda")}, {});
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_FALSE(devices[0].rotational.has_value());
  EXPECT_FALSE(devices[0].logical_block_size.has_value());
  EXPECT_FALSE(devices[0].partition_number.has_value());
}

TEST(DescribeDevices, TakesAnAttributeThatIsNoNumberAsUnknown) {
  KernelDevice disk = Disk("sda");
  disk.attributes["queue/logical_block_size"] = "many";
  disk.attributes["queue/physical_block_size"] = "99999999999999999999";
  const auto devices = DescribeDevices({disk}, {});
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_FALSE(devices[0].logical_block_size.has_value());
  EXPECT_FALSE(devices[0].physical_block_size.has_value());
}

TEST(DescribeDevices, TakesModelAndSerialFromTheFirstPlaceThatHasThem) {
  KernelDevice disk = Disk("sda");
  disk.properties["ID_MODEL_ENC"] = R"(My\x20Disk\x20\x20)";
  disk.properties["ID_MODEL"] = "My_Disk";
  disk.attributes["device/serial"] = " N77 ";
  const auto devices = DescribeDevices({disk}, {});
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices[0].model, "My Disk");
  EXPECT_EQ(devices[0].serial, "N77");
}

TEST(DescribeDevices, TakesTheSerialOfAVirtualDiskFromTheDiskItself) {
  KernelDevice disk = Disk("vda");
  disk.path = "/sys/devices/pci0000:00/0000:00:02.0/virtio1/block/vda";
  disk.attributes["serial"] = "root-disk";
  const auto devices = DescribeDevices({disk}, {});
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices[0].serial, "root-disk");
  EXPECT_EQ(devices[0].transport, "virtio");
}

TEST(DescribeDevices, NamesTheTransportByTheWayToTheDisk) {
  const auto transport = [](const std::string& path, const std::string& bus) {
    KernelDevice disk = Disk("x");
    disk.path = path;
    disk.properties["ID_BUS"] = bus;
    return DescribeDevices({disk}, {}).at(0).transport;
  };
  EXPECT_EQ(transport("/sys/devices/pci0000:00/0000:01:00.0/nvme/nvme0/nvme0n1", ""), "nvme");
  EXPECT_EQ(transport("/sys/devices/pci0000:00/usb1/1-1/host3/block/sdb", "usb"), "usb");
  EXPECT_EQ(transport("/sys/devices/pci0000:00/0000:00:05.0/host2/block/sdc", "scsi"), "scsi");
  EXPECT_EQ(transport("/sys/devices/platform/mmc_host/mmc0/block/mmcblk0", ""), "mmc");
  EXPECT_EQ(transport("/sys/devices/virtual/block/md0", ""), "virtual");
  EXPECT_EQ(transport("/sys/devices/somewhere/new", "newbus"), "newbus");
}

TEST(DescribeDevices, LeavesOutALoopDeviceWithoutAFileAndKeepsOneWithAFile) {
  KernelDevice empty = Disk("loop0");
  KernelDevice backed = Disk("loop1");
  backed.attributes["loop/backing_file"] = "/images/a.img";
  const auto devices = DescribeDevices({empty, backed}, {});
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices[0].name, "loop1");
  EXPECT_EQ(devices[0].kind, DeviceKind::kDisk);
}

TEST(DescribeDevices, LeavesOutMemoryDisksWithoutABackingDevice) {
  KernelDevice bare = Disk("zram0");
  KernelDevice none = Disk("zram1");
  none.attributes["backing_dev"] = "none\n";
  KernelDevice backed = Disk("zram2");
  backed.attributes["backing_dev"] = "/dev/sdb1";
  const auto devices = DescribeDevices({Disk("ram0"), bare, none, backed}, {});
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices[0].name, "zram2");
}

TEST(DescribeDevices, LeavesOutADiskOfNoSizeUnlessItsMediumCanBeTakenOut) {
  KernelDevice unconnected = Disk("nbd0");
  unconnected.attributes["size"] = "0";
  KernelDevice card_reader = Disk("sdb");
  card_reader.attributes["size"] = "0";
  card_reader.attributes["removable"] = "1";
  const auto devices = DescribeDevices({unconnected, card_reader}, {});
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_EQ(devices[0].name, "sdb");
  EXPECT_EQ(devices[0].size, 0u);
  EXPECT_TRUE(devices[0].removable);
}

TEST(DescribeDevices, LeavesOutTheHiddenPathsOfAMultipathDisk) {
  KernelDevice hidden = Disk("nvme0c0n1");
  hidden.attributes["hidden"] = "1";
  EXPECT_THAT(DescribeDevices({hidden}, {}), IsEmpty());
}

TEST(DescribeDevices, LeavesOutADeviceWithoutANameOrANode) {
  KernelDevice nameless = Disk("");
  KernelDevice nodeless = Disk("sda");
  nodeless.node.clear();
  EXPECT_THAT(DescribeDevices({nameless, nodeless}, {}), IsEmpty());
}

TEST(DescribeDevices, MakesACdromOfAnOpticalDriveWithOrWithoutAMedium) {
  KernelDevice by_name = Disk("sr0");
  by_name.attributes["size"] = "0";
  KernelDevice by_type = Disk("odd0");
  by_type.attributes["device/type"] = "5\n";
  KernelDevice by_udev = Disk("odd1");
  by_udev.properties["ID_CDROM"] = "1";
  EXPECT_THAT(Kinds(DescribeDevices({by_name, by_type, by_udev}, {})),
              ElementsAre(DeviceKind::kCdrom, DeviceKind::kCdrom, DeviceKind::kCdrom));
}

TEST(DescribeDevices, KeepsAMountedCdromACdrom) {
  KernelDevice drive = Disk("sr0");
  drive.major = 11;
  const auto devices =
      DescribeDevices({drive}, {MountOf(11, 0, "/media/cd", "/dev/sr0", "iso9660")});
  ASSERT_THAT(devices, SizeIs(1));
  EXPECT_THAT(devices[0].mount_points, ElementsAre("/media/cd"));
  EXPECT_EQ(devices[0].file_system, "iso9660");
}

TEST(DescribeDevices, MakesAPartitionOfADataPartitionAndPutsItOnItsDisk) {
  KernelDevice disk = Disk("sda");
  disk.attributes["device/model"] = "Fast Disk";
  disk.attributes["removable"] = "1";
  KernelDevice partition = Partition("sda1", "sda", "0fc63daf-8483-4772-8e79-3d69d8477de4");
  partition.attributes["size"] = "1024";
  const auto devices = DescribeDevices({disk, partition}, {});
  ASSERT_THAT(devices, SizeIs(2));
  EXPECT_EQ(devices[1].kind, DeviceKind::kPartition);
  EXPECT_EQ(devices[1].size, 1024u * 512u);
  EXPECT_EQ(devices[1].partition_number, 1u);
  EXPECT_EQ(devices[1].partition_type, "0fc63daf-8483-4772-8e79-3d69d8477de4");
  EXPECT_THAT(devices[1].parents, ElementsAre("/dev/sda"));
  EXPECT_EQ(devices[1].model, "Fast Disk");
  EXPECT_TRUE(devices[1].removable);
}

TEST(DescribeDevices, MakesAnOemPartitionOfEveryTypeThatTheMachineKeepsToItself) {
  for (const char* type :
       {"c12a7328-f81f-11d2-ba4b-00a0c93ec93b", "e3c9e316-0b5c-4db8-817d-f92df00215ae",
        "de94bba4-06d1-4d40-a16a-bfd50179d6ac", "21686148-6449-6e6f-744e-656564454649", "0xef",
        "0x27", "0x12", "0xde"}) {
    EXPECT_THAT(Kinds(DescribeDevices({Partition("sda1", "sda", type)}, {})),
                ElementsAre(DeviceKind::kOemPartition))
        << type;
  }
}

TEST(DescribeDevices, MakesAPlainPartitionOfOneWhoseTypeIsUnknown) {
  EXPECT_THAT(Kinds(DescribeDevices({Partition("sda1", "sda")}, {})),
              ElementsAre(DeviceKind::kPartition));
}

TEST(DescribeDevices, MakesAVolumeOfALogicalVolumeWithItsMappedNameAndItsParents) {
  KernelDevice mapped = Disk("dm-0");
  mapped.attributes["dm/name"] = "vg-home";
  mapped.attributes["dm/uuid"] = "LVM-abc";
  mapped.slaves = {"sda1", "sdb", "gone"};
  const auto devices = DescribeDevices({Partition("sda1", "sda"), Disk("sdb"), mapped}, {});
  ASSERT_THAT(devices, SizeIs(3));
  EXPECT_EQ(devices[2].kind, DeviceKind::kVolume);
  EXPECT_EQ(devices[2].name, "vg-home");
  EXPECT_EQ(devices[2].device_path, "/dev/dm-0");
  EXPECT_THAT(devices[2].parents, ElementsAre("/dev/sda1", "/dev/sdb"));
}

TEST(DescribeDevices, MakesADiskOfAMultipathDeviceAndAPartitionOfOneMappedOnIt) {
  KernelDevice disk = Disk("dm-0");
  disk.attributes["dm/name"] = "mpatha";
  disk.attributes["dm/uuid"] = "mpath-3600";
  KernelDevice partition = Disk("dm-1");
  partition.attributes["dm/name"] = "mpatha-part1";
  partition.attributes["dm/uuid"] = "part1-mpath-3600";
  EXPECT_THAT(Kinds(DescribeDevices({disk, partition}, {})),
              ElementsAre(DeviceKind::kDisk, DeviceKind::kPartition));
}

TEST(DescribeDevices, MakesAVolumeOfAnArray) {
  KernelDevice array = Disk("md0");
  array.attributes["md/level"] = "raid1";
  EXPECT_THAT(Kinds(DescribeDevices({array}, {})), ElementsAre(DeviceKind::kVolume));
}

TEST(DescribeDevices, ListsAMountedPartitionOnceMoreAsTheVolumeOnIt) {
  const auto devices = DescribeDevices({Partition("sda1", "sda", "0x83")},
                                       {MountOf(8, 1, "/data", "/dev/sda1", "xfs")});
  ASSERT_THAT(devices, SizeIs(2));
  EXPECT_EQ(devices[0].kind, DeviceKind::kPartition);
  EXPECT_THAT(devices[0].mount_points, ElementsAre("/data"));
  EXPECT_EQ(devices[1].kind, DeviceKind::kVolume);
  EXPECT_EQ(devices[1].device_path, "/dev/sda1");
  EXPECT_EQ(devices[1].file_system, "xfs");
  EXPECT_THAT(devices[1].mount_points, ElementsAre("/data"));
  EXPECT_THAT(devices[1].parents, ElementsAre("/dev/sda1"));
  EXPECT_FALSE(devices[1].partition_number.has_value());
  EXPECT_EQ(devices[1].partition_type, "");
}

TEST(DescribeDevices, ListsADiskWithAnUnmountedFileSystemAsAVolumeToo) {
  KernelDevice disk = Disk("sdb");
  disk.properties["ID_FS_USAGE"] = "filesystem";
  disk.properties["ID_FS_TYPE"] = "ext4";
  disk.properties["ID_FS_LABEL_ENC"] = R"(my\x20data)";
  const auto devices = DescribeDevices({disk}, {});
  ASSERT_THAT(devices, SizeIs(2));
  EXPECT_EQ(devices[1].kind, DeviceKind::kVolume);
  EXPECT_EQ(devices[1].file_system, "ext4");
  EXPECT_EQ(devices[1].label, "my data");
}

TEST(DescribeDevices, MakesNoVolumeOfAPartitionWithSwapOnIt) {
  KernelDevice swap = Partition("sda2", "sda", "0x82");
  swap.properties["ID_FS_USAGE"] = "other";
  swap.properties["ID_FS_TYPE"] = "swap";
  EXPECT_THAT(Kinds(DescribeDevices({swap}, {})), ElementsAre(DeviceKind::kPartition));
}

TEST(DescribeDevices, FindsMountsByDeviceNumberOrBySourceAndListsAPointOnce) {
  const auto devices = DescribeDevices(
      {Partition("sda1", "sda")},
      {MountOf(8, 1, "/", "/dev/root"), MountOf(0, 40, "/home", "/dev/sda1", "btrfs"),
       MountOf(8, 1, "/", "/dev/root"), MountOf(8, 2, "/other", "/dev/sda2"),
       MountOf(0, 0, "/proc", "proc")});
  ASSERT_THAT(devices, SizeIs(2));
  EXPECT_THAT(devices[0].mount_points, ElementsAre("/", "/home"));
}

TEST(DescribeDevices, MakesHardwareTextsFitForTheBus) {
  KernelDevice disk = Disk("sda");
  disk.attributes["device/model"] = "Bad\xFFModel\x01 ";
  const auto devices = DescribeDevices({disk}, {MountOf(8, 0, "/a\xFE", "/dev/sda")});
  ASSERT_THAT(devices, SizeIs(2));
  EXPECT_EQ(devices[0].model, "Bad\xEF\xBF\xBDModel");
  EXPECT_THAT(devices[0].mount_points, ElementsAre("/a\xEF\xBF\xBD"));
}

TEST(DescribeDevices, OfNothingIsNothing) {
  EXPECT_THAT(DescribeDevices({}, {}), IsEmpty());
}

}  // namespace
}  // namespace kt::blockdev
