#include "blockdev/device_properties.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "base/text.h"
#include "objmodel/property_set_base.h"

namespace kt::blockdev {
namespace {

template <typename Member>
struct Row {
  const char* name;
  Member BlockDevice::*member;
};

constexpr std::array<Row<std::string>, 6> kTexts{{
    {"device_path", &BlockDevice::device_path},
    {"model", &BlockDevice::model},
    {"serial", &BlockDevice::serial},
    {"transport", &BlockDevice::transport},
    {"file_system", &BlockDevice::file_system},
    {"label", &BlockDevice::label},
}};

constexpr std::array<Row<bool>, 2> kFlags{{
    {"removable", &BlockDevice::removable},
    {"read_only", &BlockDevice::read_only},
}};

constexpr std::array<Row<std::optional<std::uint32_t>>, 3> kNumbers{{
    {"logical_block_size", &BlockDevice::logical_block_size},
    {"physical_block_size", &BlockDevice::physical_block_size},
    {"partition_number", &BlockDevice::partition_number},
}};

}  // namespace

void WriteProperties(CKtPropertySetBase& to, const BlockDevice& device) {
  to.AddProp("Name", kt::Widen(device.name), 0);
  to.AddProp("size", device.size, 0);
  for (const auto& row : kTexts) to.AddProp(row.name, device.*row.member, 0);
  for (const auto& row : kFlags) to.AddProp(row.name, device.*row.member, 0);
  if (device.rotational) to.AddProp("rotational", *device.rotational, 0);
  for (const auto& row : kNumbers) {
    if (const auto& value = device.*row.member) to.AddProp(row.name, *value, 0);
  }
  if (IsPartition(device.kind)) to.AddProp("partition_type", device.partition_type, 0);
  to.AddProp("mount_points", device.mount_points, 0);
}

}  // namespace kt::blockdev
