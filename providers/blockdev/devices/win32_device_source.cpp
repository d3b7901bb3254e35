#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "blockdev/devices/clean_text.h"
#include "blockdev/devices/device_source.h"
#include "blockdev/devices/partition_type.h"

namespace kt::blockdev {
namespace {

struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<HANDLE, HandleCloser>;

struct VolumeSearchCloser {
  using pointer = HANDLE;
  void operator()(HANDLE search) const noexcept { FindVolumeClose(search); }
};
using VolumeSearch = std::unique_ptr<HANDLE, VolumeSearchCloser>;

// No message box for an empty drive while the devices are listed.
class QuietDrives {
 public:
  QuietDrives() noexcept { SetThreadErrorMode(SEM_FAILCRITICALERRORS, &previous_); }
  ~QuietDrives() { SetThreadErrorMode(previous_, nullptr); }
  QuietDrives(const QuietDrives&) = delete;
  QuietDrives& operator=(const QuietDrives&) = delete;

 private:
  DWORD previous_ = 0;
};

std::string Utf8(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 1) return {};
  std::string result(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), size, nullptr, nullptr);
  result.pop_back();
  return result;
}

// No access right is asked for: attributes may be queried all the same, by any user.
Handle OpenForQuery(const std::wstring& path) {
  HANDLE handle = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, 0, nullptr);
  return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

// An answer of fixed size to a control code; nothing when the device does not know the code.
template <typename Answer, typename... Input>
std::optional<Answer> Ask(HANDLE device, DWORD code, Input... input) {
  static_assert(std::is_trivially_copyable_v<Answer> && sizeof...(Input) <= 1);
  Answer answer{};
  DWORD written = 0;
  BOOL answered = FALSE;
  if constexpr (sizeof...(Input) == 0) {
    answered =
        DeviceIoControl(device, code, nullptr, 0, &answer, sizeof(answer), &written, nullptr);
  } else {
    answered = DeviceIoControl(device, code, &input..., sizeof(input)..., &answer, sizeof(answer),
                               &written, nullptr);
  }
  if (answered == FALSE || written < sizeof(answer)) return std::nullopt;
  return answer;
}

STORAGE_PROPERTY_QUERY Query(STORAGE_PROPERTY_ID property) {
  STORAGE_PROPERTY_QUERY query{};
  query.PropertyId = property;
  query.QueryType = PropertyStandardQuery;
  return query;
}

std::string TransportText(STORAGE_BUS_TYPE bus) {
  constexpr std::array<std::pair<STORAGE_BUS_TYPE, const char*>, 13> kTransports{{
      {BusTypeScsi, "scsi"},
      {BusTypeAtapi, "ata"},
      {BusTypeAta, "ata"},
      {BusTypeSata, "ata"},
      {BusType1394, "1394"},
      {BusTypeFibre, "fibre"},
      {BusTypeUsb, "usb"},
      {BusTypeRAID, "raid"},
      {BusTypeiScsi, "iscsi"},
      {BusTypeSas, "sas"},
      {BusTypeSd, "sd"},
      {BusTypeMmc, "mmc"},
      {BusTypeVirtual, "virtual"},
  }};
  constexpr int kNvme = 17;  // not in every header
  if (static_cast<int>(bus) == kNvme) return "nvme";
  for (const auto& [type, text] : kTransports) {
    if (type == bus) return text;
  }
  return {};
}

// A zero-terminated text inside a storage descriptor; offset 0 means that there is none.
std::string DescriptorText(const std::vector<std::byte>& descriptor, DWORD offset) {
  if (offset == 0 || offset >= descriptor.size()) return {};
  const char* const text = reinterpret_cast<const char*>(descriptor.data()) + offset;
  return CleanText({text, descriptor.size() - offset});
}

void DescribeHardware(HANDLE device, BlockDevice& described) {
  std::vector<std::byte> buffer(4096);
  STORAGE_PROPERTY_QUERY query = Query(StorageDeviceProperty);
  DWORD written = 0;
  STORAGE_DEVICE_DESCRIPTOR descriptor{};
  constexpr std::size_t kFixedPart = offsetof(STORAGE_DEVICE_DESCRIPTOR, RawDeviceProperties);
  if (DeviceIoControl(device, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof(query), buffer.data(),
                      static_cast<DWORD>(buffer.size()), &written, nullptr) != FALSE &&
      written >= kFixedPart) {
    buffer.resize(std::min<std::size_t>(written, buffer.size()));
    std::memcpy(&descriptor, buffer.data(), kFixedPart);
    const std::string vendor = DescriptorText(buffer, descriptor.VendorIdOffset);
    const std::string product = DescriptorText(buffer, descriptor.ProductIdOffset);
    described.model = CleanText(vendor + " " + product);
    described.serial = DescriptorText(buffer, descriptor.SerialNumberOffset);
    described.transport = TransportText(descriptor.BusType);
    described.removable = descriptor.RemovableMedia != FALSE;
  }
  if (const auto penalty = Ask<DEVICE_SEEK_PENALTY_DESCRIPTOR>(
          device, IOCTL_STORAGE_QUERY_PROPERTY, Query(StorageDeviceSeekPenaltyProperty))) {
    described.rotational = penalty->IncursSeekPenalty != FALSE;
  }
  if (const auto alignment = Ask<STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR>(
          device, IOCTL_STORAGE_QUERY_PROPERTY, Query(StorageAccessAlignmentProperty))) {
    described.logical_block_size = alignment->BytesPerLogicalSector;
    described.physical_block_size = alignment->BytesPerPhysicalSector;
  }
}

std::string GuidText(const GUID& guid) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                static_cast<unsigned long>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0],
                guid.Data4[1], guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5],
                guid.Data4[6], guid.Data4[7]);
  return text.data();
}

void AddPartitions(HANDLE drive, const BlockDevice& disk, std::vector<BlockDevice>& out) {
  constexpr std::size_t kBytes = 64u * 1024;  // room for more partitions than a table can hold
  std::vector<std::byte> buffer(kBytes);
  DWORD written = 0;
  constexpr std::size_t kFixedPart = offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry);
  if (DeviceIoControl(drive, IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0, buffer.data(),
                      static_cast<DWORD>(buffer.size()), &written, nullptr) == FALSE ||
      written < kFixedPart) {
    return;
  }
  DRIVE_LAYOUT_INFORMATION_EX layout{};
  std::memcpy(&layout, buffer.data(), kFixedPart);
  for (std::size_t i = 0; i < layout.PartitionCount; ++i) {
    const std::size_t at = kFixedPart + i * sizeof(PARTITION_INFORMATION_EX);
    if (at + sizeof(PARTITION_INFORMATION_EX) > written) break;
    PARTITION_INFORMATION_EX entry{};
    std::memcpy(&entry, buffer.data() + at, sizeof(entry));
    if (entry.PartitionNumber == 0) continue;  // an unused place in the table
    BlockDevice partition = disk;
    if (entry.PartitionStyle == PARTITION_STYLE_GPT) {
      partition.partition_type = GuidText(entry.Gpt.PartitionType);
    } else {
      std::array<char, 8> text{};
      std::snprintf(text.data(), text.size(), "0x%x", entry.Mbr.PartitionType);
      partition.partition_type = text.data();
    }
    partition.kind = IsOemPartitionType(partition.partition_type) ? DeviceKind::kOemPartition
                                                                  : DeviceKind::kPartition;
    partition.partition_number = entry.PartitionNumber;
    const std::string number = std::to_string(entry.PartitionNumber);
    partition.name += "Partition" + number;
    partition.device_path = "\\\\?\\GLOBALROOT\\Device\\Harddisk" +
                            disk.name.substr(std::strlen("PhysicalDrive")) + "\\Partition" + number;
    partition.size = static_cast<std::uint64_t>(entry.PartitionLength.QuadPart);
    partition.parents = {disk.device_path};
    out.push_back(std::move(partition));
  }
}

void AddDrive(const std::wstring& name, std::vector<BlockDevice>& out) {
  const Handle drive = OpenForQuery(L"\\\\.\\" + name);
  if (drive == nullptr) return;
  BlockDevice disk;
  disk.kind = DeviceKind::kDisk;
  disk.name = Utf8(name.c_str());
  disk.device_path = "\\\\.\\" + disk.name;
  DescribeHardware(drive.get(), disk);
  // The geometry's variable part follows the fixed one; only the fixed one is asked for.
  std::array<std::byte, 256> buffer{};
  DWORD written = 0;
  if (DeviceIoControl(drive.get(), IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, nullptr, 0, buffer.data(),
                      static_cast<DWORD>(buffer.size()), &written, nullptr) != FALSE &&
      written >= offsetof(DISK_GEOMETRY_EX, Data)) {
    DISK_GEOMETRY_EX geometry{};
    std::memcpy(&geometry, buffer.data(), offsetof(DISK_GEOMETRY_EX, Data));
    disk.size = static_cast<std::uint64_t>(geometry.DiskSize.QuadPart);
    if (!disk.logical_block_size) disk.logical_block_size = geometry.Geometry.BytesPerSector;
    if (geometry.Geometry.MediaType == RemovableMedia) disk.removable = true;
  }
  out.push_back(disk);
  AddPartitions(drive.get(), disk, out);
}

// The names of all devices, as Win32 lists them: a text of texts.
std::vector<std::wstring> DosDeviceNames() {
  std::vector<wchar_t> buffer(16u * 1024);
  while (QueryDosDeviceW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size())) == 0) {
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || buffer.size() > 16u * 1024 * 1024) {
      throw std::runtime_error("Win32 cannot list the device names");
    }
    buffer.resize(buffer.size() * 2);
  }
  std::vector<std::wstring> names;
  for (const wchar_t* name = buffer.data(); *name != L'\0'; name += std::wcslen(name) + 1) {
    names.emplace_back(name);
  }
  return names;
}

void AddDrives(std::vector<BlockDevice>& out) {
  constexpr std::wstring_view kPrefix = L"PhysicalDrive";
  std::vector<std::wstring> drives;
  for (std::wstring& name : DosDeviceNames()) {
    if (name.size() > kPrefix.size() && name.compare(0, kPrefix.size(), kPrefix) == 0) {
      drives.push_back(std::move(name));
    }
  }
  std::sort(drives.begin(), drives.end(), [](const std::wstring& a, const std::wstring& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  for (const std::wstring& drive : drives) AddDrive(drive, out);
}

std::vector<std::string> MountPoints(const wchar_t* volume) {
  DWORD length = 0;
  GetVolumePathNamesForVolumeNameW(volume, nullptr, 0, &length);
  std::vector<wchar_t> buffer(static_cast<std::size_t>(length) + 2);
  std::vector<std::string> points;
  if (GetVolumePathNamesForVolumeNameW(volume, buffer.data(), static_cast<DWORD>(buffer.size() - 1),
                                       &length) == FALSE) {
    return points;
  }
  for (const wchar_t* point = buffer.data(); *point != L'\0'; point += std::wcslen(point) + 1) {
    points.push_back(Utf8(point));
  }
  return points;
}

void AddVolume(const std::wstring& volume, std::vector<BlockDevice>& out) {
  const UINT type = GetDriveTypeW(volume.c_str());
  if (type == DRIVE_REMOTE || type == DRIVE_RAMDISK) return;
  BlockDevice described;
  described.kind = type == DRIVE_CDROM ? DeviceKind::kCdrom : DeviceKind::kVolume;
  // Devices are opened by the name without the backslash at the end.
  const std::wstring device_path = volume.substr(0, volume.size() - 1);
  described.device_path = Utf8(device_path.c_str());
  described.mount_points = MountPoints(volume.c_str());
  described.name = described.device_path;
  if (!described.mount_points.empty()) {
    described.name = described.mount_points.front();
    if (described.name.size() > 1 && described.name.back() == '\\') described.name.pop_back();
  }
  if (const Handle device = OpenForQuery(device_path)) {
    DescribeHardware(device.get(), described);
    struct Extents {
      VOLUME_DISK_EXTENTS first;
      std::array<DISK_EXTENT, 63> others;
    };
    Extents extents{};
    DWORD written = 0;
    if (DeviceIoControl(device.get(), IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0, &extents,
                        sizeof(extents), &written, nullptr) != FALSE) {
      const DISK_EXTENT* const extent = extents.first.Extents;
      for (DWORD i = 0; i < std::min<DWORD>(extents.first.NumberOfDiskExtents, 64); ++i) {
        described.parents.push_back("\\\\.\\PhysicalDrive" + std::to_string(extent[i].DiskNumber));
      }
    }
  }
  if (type == DRIVE_REMOVABLE) described.removable = true;

  std::array<wchar_t, MAX_PATH + 1> label{};
  std::array<wchar_t, MAX_PATH + 1> file_system{};
  DWORD flags = 0;
  if (GetVolumeInformationW(volume.c_str(), label.data(), MAX_PATH, nullptr, nullptr, &flags,
                            file_system.data(), MAX_PATH) != FALSE) {
    described.label = CleanText(Utf8(label.data()));
    described.file_system = CleanText(Utf8(file_system.data()));
    described.read_only = (flags & FILE_READ_ONLY_VOLUME) != 0;
  }
  ULARGE_INTEGER total{};
  if (GetDiskFreeSpaceExW(volume.c_str(), nullptr, &total, nullptr) != FALSE) {
    described.size = total.QuadPart;
  }
  out.push_back(std::move(described));
}

void AddVolumes(std::vector<BlockDevice>& out) {
  std::array<wchar_t, MAX_PATH + 1> name{};
  HANDLE first = FindFirstVolumeW(name.data(), MAX_PATH);
  if (first == INVALID_HANDLE_VALUE) {
    if (GetLastError() == ERROR_NO_MORE_FILES) return;
    throw std::runtime_error("Win32 cannot list the volumes");
  }
  const VolumeSearch search(first);
  do {
    AddVolume(name.data(), out);
  } while (FindNextVolumeW(search.get(), name.data(), MAX_PATH) != FALSE);
  if (GetLastError() != ERROR_NO_MORE_FILES) {
    throw std::runtime_error("Win32 cannot list the volumes to the end");
  }
}

}  // namespace

std::vector<BlockDevice> ListDevices() {
  const QuietDrives quiet;
  std::vector<BlockDevice> devices;
  AddDrives(devices);
  AddVolumes(devices);
  return devices;
}

}  // namespace kt::blockdev
