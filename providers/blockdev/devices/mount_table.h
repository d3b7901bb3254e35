// The table of mounts as the Linux kernel writes it (/proc/self/mountinfo), read from its text.
//
// A reader of foreign bytes: any input gives a table, and a line that is none is left out.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kt::blockdev {

struct Mount {
  std::uint32_t major = 0;  // of the file system's device; 0 where it has none of its own
  std::uint32_t minor = 0;
  std::string root;         // the folder of the file system that is mounted; "/" for all of it
  std::string mount_point;  // escapes undone, bytes as they are
  std::string file_system;  // "ext4"
  std::string source;       // mostly a device path, "/dev/sda1"
};

// The kernel writes blank, tab, line feed and backslash in these texts as "\040", "\011", "\012"
// and "\134". Any "\" with three octal digits of at most 377 is undone, anything else kept.
[[nodiscard]] std::string UnescapeOctal(std::string_view text);

// The mounts in the order of the lines.
[[nodiscard]] std::vector<Mount> ParseMountInfo(std::string_view text);

}  // namespace kt::blockdev
