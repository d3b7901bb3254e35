// A machine of the tests' own: the module under test asks it for devices.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "blockdev/devices/block_device.h"

// What the next listing gives or throws.
struct Machine {
  std::vector<kt::blockdev::BlockDevice> devices;
  std::function<void()> while_listing;
};

Machine& TheMachine();

// Devices with every property set.
kt::blockdev::BlockDevice DiskNamed(const std::string& name);
kt::blockdev::BlockDevice CdromNamed(const std::string& name);
kt::blockdev::BlockDevice PartitionNamed(const std::string& name, const std::string& disk);
kt::blockdev::BlockDevice OemPartitionNamed(const std::string& name, const std::string& disk);
kt::blockdev::BlockDevice VolumeNamed(const std::string& name, const std::string& parent);

// A disk with an EFI system partition and a data partition, a volume on the latter, a CD-ROM drive.
std::vector<kt::blockdev::BlockDevice> UsualDevices();
