// What each kind of device is on the bus: the type of its objects and the group that holds them.
//
// There is one group for each kind, so that whoever judges a group by its first child (as the host
// does when it attaches interfaces to groups) judges all of it: OEM partitions, which have the
// interface of volumes, do not stand among the plain ones, which have none.
#pragma once

#include <array>
#include <cstddef>

#include "blockdev/devices/block_device.h"
#include "ktbus3/ktbus3.h"

namespace kt::blockdev {

inline constexpr const char* kGroupType = "QELM_GenericGroup";

struct KindRow {
  DeviceKind kind;
  const char* type;   // of the objects; every bus knows it
  const char* group;  // name of the count in event and answer, and of the group
  const KtWchar* group_name;
};

// In the order of DeviceKind, which is the order of publication.
inline constexpr std::array<KindRow, 5> kKinds{{
    {DeviceKind::kDisk, "qelm_ktvm_disk", "disks", KT_W("disks")},
    {DeviceKind::kCdrom, "qelm_ktvm_cdrom", "cdroms", KT_W("cdroms")},
    {DeviceKind::kOemPartition, "qelm_ktvm_partition_oem", "oem_partitions",
     KT_W("oem_partitions")},
    {DeviceKind::kPartition, "qelm_ktvm_partition", "partitions", KT_W("partitions")},
    {DeviceKind::kVolume, "qelm_ktvm_volume", "volumes", KT_W("volumes")},
}};

constexpr std::size_t KindIndex(DeviceKind kind) noexcept {
  return static_cast<std::size_t>(kind);
}

constexpr bool KindsAreInOrder() noexcept {
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    if (KindIndex(kKinds[i].kind) != i) return false;
  }
  return true;
}
static_assert(KindsAreInOrder());

}  // namespace kt::blockdev
