// What blockdev reads of the machine: the kernel's table of mounts, and texts that makers and users
// have written into their devices.
//
// Input: two devices as texts by length (see ReadDevice), then the table of mounts.

#include <algorithm>
#include <string>
#include <vector>

#include "blockdev/devices/clean_text.h"
#include "blockdev/devices/kernel_device.h"
#include "blockdev/devices/mount_table.h"
#include "support/byte_source.h"
#include "support/plain_text.h"
#include "support/printable.h"
#include "support/require.h"

namespace {

using kt::blockdev::KernelDevice;
using kt::blockdev::Mount;
using kt::fuzz::ByteSource;
using kt::fuzz::Require;
using kt::fuzz::RequireSame;

constexpr std::array kProperties{
    "ID_FS_TYPE", "ID_FS_LABEL", "ID_FS_LABEL_ENC", "ID_PART_ENTRY_TYPE",
    "ID_BUS",     "ID_MODEL",    "ID_SERIAL_SHORT", "ID_PART_ENTRY_NUMBER",
    "ID_CDROM",   "DM_NAME",     "ID_FS_USAGE",     "DM_UUID"};

KernelDevice ReadDevice(ByteSource& source, const std::string& name) {
  KernelDevice device;
  device.name = name;
  device.node = "/dev/" + name;
  device.type = source.Flag() ? "disk" : "partition";
  device.path = "/sys/devices/" + source.TextWithoutZero();
  device.major = source.Byte();
  device.minor = source.Byte();
  device.disk = source.Flag() ? "sda" : "";
  if (source.Flag()) device.slaves.emplace_back("sda");
  for (std::size_t i = source.Below(8); i > 0; --i) {
    const auto& known = kt::blockdev::kWantedAttributes;
    device.attributes[known[source.Below(std::size(known))]] = source.TextWithoutZero();
  }
  for (std::size_t i = source.Below(8); i > 0; --i) {
    device.properties[kProperties[source.Below(kProperties.size())]] = source.TextWithoutZero();
  }
  return device;
}

void TryText(const std::string& text) {
  const std::string valid = kt::blockdev::ValidUtf8(text);
  RequireSame(kt::fuzz::AsUtf8(kt::fuzz::FromUtf8(text.c_str()).list), valid,
              "the text is made valid");
  const std::string clean = kt::blockdev::CleanText(text);
  kt::fuzz::RequirePrintable(clean, "a clean text can be shown");
  Require(clean.empty() || (clean.front() != ' ' && clean.back() != ' '), "without blanks around");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteSource source(data, size);
  std::vector<KernelDevice> devices{ReadDevice(source, "sda"), ReadDevice(source, "sda1")};
  const std::string text = source.Rest();
  TryText(text);
  const std::vector<Mount> mounts = kt::blockdev::ParseMountInfo(text);
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  Require(mounts.size() <= lines, "a line is one mount at most");
  for (const Mount& mount : mounts) {
    Require(!mount.mount_point.empty() && !mount.root.empty(), "a mount has its places");
  }
  for (const kt::blockdev::BlockDevice& device : DescribeDevices(devices, mounts)) {
    Require(!device.name.empty(), "a device has a name");
    for (const std::string* const shown : {&device.name, &device.model, &device.serial,
                                           &device.label, &device.file_system, &device.transport}) {
      Require(!kt::fuzz::FromUtf8(*shown).malformed, "what is published of a device is UTF-8");
    }
  }
  return 0;
}
