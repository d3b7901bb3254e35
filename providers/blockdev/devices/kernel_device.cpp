#include "blockdev/devices/kernel_device.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "blockdev/devices/clean_text.h"
#include "blockdev/devices/partition_type.h"

namespace kt::blockdev {
namespace {

constexpr std::uint64_t kSectorSize = 512;  // the kernel counts sizes in these, whatever the disk

// What the path below /sys says about the way to the disk, the nearest word first.
constexpr std::array<std::pair<std::string_view, std::string_view>, 8> kTransportsByPath{{
    {"/devices/virtual/", "virtual"},
    {"/nvme", "nvme"},
    {"/usb", "usb"},
    {"/virtio", "virtio"},
    {"/mmc_host/", "mmc"},
    {"/ata", "ata"},
    {"/vbd-", "xen"},
    {"/host", "scsi"},
}};

const std::string& Find(const TextMap& map, std::string_view name) {
  static const std::string kNothing;
  const auto found = map.find(name);
  return found == map.end() ? kNothing : found->second;
}

std::string Cleaned(const TextMap& map, std::string_view name) {
  return CleanText(Find(map, name));
}

template <typename Number>
std::optional<Number> ReadNumber(const TextMap& map, std::string_view name) {
  const std::string text = Cleaned(map, name);
  Number value = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || rest != end) return std::nullopt;
  return value;
}

bool ReadFlag(const TextMap& map, std::string_view name) {
  return ReadNumber<std::uint32_t>(map, name).value_or(0) != 0;
}

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

// udev writes blanks and special characters of a text as "\x20".
std::string UnescapeHex(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    unsigned value = 0;
    if (StartsWith(text.substr(at), "\\x") && at + 4 <= text.size()) {
      const char* const end = text.data() + at + 4;
      const auto [rest, error] = std::from_chars(text.data() + at + 2, end, value, 16);
      if (error == std::errc() && rest == end) {
        result.push_back(static_cast<char>(value));
        at += 4;
        continue;
      }
    }
    result.push_back(text[at++]);
  }
  return result;
}

std::string FirstOf(std::initializer_list<std::string> candidates) {
  for (const std::string& candidate : candidates) {
    if (!candidate.empty()) return candidate;
  }
  return {};
}

std::string Transport(const KernelDevice& device) {
  for (const auto& [part, transport] : kTransportsByPath) {
    if (device.path.find(part) != std::string::npos) return std::string(transport);
  }
  return Cleaned(device.properties, "ID_BUS");
}

std::uint64_t Size(const KernelDevice& device) {
  return ReadNumber<std::uint64_t>(device.attributes, "size").value_or(0) * kSectorSize;
}

bool IsCdrom(const KernelDevice& device) {
  constexpr std::string_view kScsiCdrom = "5";
  return Find(device.properties, "ID_CDROM") == "1" || StartsWith(device.name, "sr") ||
         Cleaned(device.attributes, "device/type") == kScsiCdrom;
}

bool HasDeviceBehindIt(const KernelDevice& device) {
  if (device.node.empty() || device.name.empty()) return false;
  if (ReadFlag(device.attributes, "hidden")) return false;
  if (StartsWith(device.name, "ram")) return false;
  if (StartsWith(device.name, "zram")) {
    const std::string backing = Cleaned(device.attributes, "backing_dev");
    return !backing.empty() && backing != "none";
  }
  if (StartsWith(device.name, "loop") && device.type == "disk") {
    return !Find(device.attributes, "loop/backing_file").empty();
  }
  return Size(device) != 0 || ReadFlag(device.attributes, "removable") || IsCdrom(device);
}

DeviceKind Judge(const KernelDevice& device) {
  if (device.type == "partition") {
    const std::string& type = Find(device.properties, "ID_PART_ENTRY_TYPE");
    return IsOemPartitionType(type) ? DeviceKind::kOemPartition : DeviceKind::kPartition;
  }
  if (IsCdrom(device)) return DeviceKind::kCdrom;
  if (!Find(device.attributes, "md/level").empty()) return DeviceKind::kVolume;
  if (!Find(device.attributes, "dm/name").empty()) {
    const std::string& uuid = Find(device.attributes, "dm/uuid");
    if (StartsWith(uuid, "mpath-")) return DeviceKind::kDisk;
    if (StartsWith(uuid, "part")) return DeviceKind::kPartition;
    return DeviceKind::kVolume;
  }
  return DeviceKind::kDisk;
}

class Describer {
 public:
  Describer(const std::vector<KernelDevice>& devices, const std::vector<Mount>& mounts)
      : mounts_(mounts) {
    for (const KernelDevice& device : devices) by_name_.emplace(device.name, &device);
  }

  void Describe(const KernelDevice& device, std::vector<BlockDevice>& out) const {
    BlockDevice described;
    described.kind = Judge(device);
    described.name = ValidUtf8(FirstOf({Cleaned(device.attributes, "dm/name"), device.name}));
    described.device_path = ValidUtf8(device.node);
    described.size = Size(device);
    DescribeHardware(device, described);
    DescribeContent(device, described);
    for (const std::string& slave : device.slaves) AddParent(slave, described);
    if (!device.disk.empty()) AddParent(device.disk, described);
    described.partition_number = ReadNumber<std::uint32_t>(device.attributes, "partition");
    described.partition_type = Cleaned(device.properties, "ID_PART_ENTRY_TYPE");

    const bool carries_file_system =
        !described.mount_points.empty() || Find(device.properties, "ID_FS_USAGE") == "filesystem";
    const bool is_also_volume = carries_file_system && described.kind != DeviceKind::kVolume &&
                                described.kind != DeviceKind::kCdrom;
    out.push_back(described);
    if (is_also_volume) {
      described.kind = DeviceKind::kVolume;
      described.parents = {described.device_path};
      described.partition_number.reset();
      described.partition_type.clear();
      out.push_back(std::move(described));
    }
  }

 private:
  const KernelDevice* ByName(std::string_view name) const {
    const auto found = by_name_.find(name);
    return found == by_name_.end() ? nullptr : found->second;
  }

  void AddParent(const std::string& name, BlockDevice& described) const {
    if (const KernelDevice* parent = ByName(name)) {
      described.parents.push_back(ValidUtf8(parent->node));
    }
  }

  void DescribeHardware(const KernelDevice& device, BlockDevice& described) const {
    // A partition has its disk's hardware.
    const KernelDevice* const disk = ByName(device.disk);
    const KernelDevice& hardware = disk != nullptr ? *disk : device;
    const TextMap& attributes = hardware.attributes;
    const TextMap& properties = hardware.properties;
    described.model = FirstOf({Cleaned(attributes, "device/model"),
                               CleanText(UnescapeHex(Find(properties, "ID_MODEL_ENC"))),
                               Cleaned(properties, "ID_MODEL")});
    described.serial =
        FirstOf({Cleaned(properties, "ID_SERIAL_SHORT"), Cleaned(attributes, "device/serial"),
                 Cleaned(attributes, "serial")});
    described.transport = Transport(hardware);
    if (const auto rotational = ReadNumber<std::uint32_t>(attributes, "queue/rotational")) {
      described.rotational = *rotational != 0;
    }
    described.removable = ReadFlag(attributes, "removable");
    described.read_only = ReadFlag(device.attributes, "ro");
    described.logical_block_size =
        ReadNumber<std::uint32_t>(attributes, "queue/logical_block_size");
    described.physical_block_size =
        ReadNumber<std::uint32_t>(attributes, "queue/physical_block_size");
  }

  void DescribeContent(const KernelDevice& device, BlockDevice& described) const {
    described.file_system = Cleaned(device.properties, "ID_FS_TYPE");
    described.label = FirstOf({CleanText(UnescapeHex(Find(device.properties, "ID_FS_LABEL_ENC"))),
                               Cleaned(device.properties, "ID_FS_LABEL")});
    for (const Mount& mount : mounts_) {
      // Some file systems have a device number of their own; the source names the device then.
      const bool same_number =
          mount.major != 0 && mount.major == device.major && mount.minor == device.minor;
      if (!same_number && mount.source != device.node) continue;
      std::string mount_point = ValidUtf8(mount.mount_point);
      const auto& points = described.mount_points;
      if (std::find(points.begin(), points.end(), mount_point) == points.end()) {
        described.mount_points.push_back(std::move(mount_point));
      }
      if (described.file_system.empty()) described.file_system = CleanText(mount.file_system);
    }
  }

  std::map<std::string_view, const KernelDevice*> by_name_;
  const std::vector<Mount>& mounts_;
};

}  // namespace

std::vector<BlockDevice> DescribeDevices(const std::vector<KernelDevice>& devices,
                                         const std::vector<Mount>& mounts) {
  const Describer describer(devices, mounts);
  std::vector<BlockDevice> described;
  for (const KernelDevice& device : devices) {
    if (HasDeviceBehindIt(device)) describer.Describe(device, described);
  }
  return described;
}

}  // namespace kt::blockdev
