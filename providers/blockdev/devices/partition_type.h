// Which partitions a machine keeps to itself, by their type, whatever the operating system.
#pragma once

#include <string_view>

namespace kt::blockdev {

// True for the type of an OEM partition: EFI system, reserved, recovery, boot helper, a vendor's.
// A type is a GPT type GUID in lower case without braces, or an MBR code such as "0xef".
[[nodiscard]] bool IsOemPartitionType(std::string_view type) noexcept;

}  // namespace kt::blockdev
