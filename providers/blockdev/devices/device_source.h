// Where the block devices come from: the one question that blockdev asks of the operating system.
//
// Linux answers from udev, /sys and the mount table; Windows from the volumes and physical
// drives that Win32 lists. Neither opens a device for reading, so no special right is needed.
#pragma once

#include <functional>
#include <vector>

#include "blockdev/devices/block_device.h"

namespace kt::blockdev {

// Lists what is there now. Throws when the machine cannot be asked at all, so that a failure is
// never mistaken for a machine without disks; one device that cannot be read is left out.
using DeviceSource = std::function<std::vector<BlockDevice>()>;

// This machine's devices. Any thread.
// Throws std::runtime_error, whose text says what could not be asked.
[[nodiscard]] std::vector<BlockDevice> ListDevices();

}  // namespace kt::blockdev
