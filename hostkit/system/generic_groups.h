// Generic groups get the interface that fits what they group, once the host has filled them.
#pragma once

#include <array>

#include "ktbus3/ktbus3.h"
#include "system/identifiers.h"

namespace kt {

struct GroupInterface {
  const char* child_type;  // compared without regard to case
  KtGuid interface_id;
};

inline constexpr std::array kGroupInterfaces{
    GroupInterface{"qelm_ktvm_disk", kDiskInterface},
    GroupInterface{"qelm_ktvm_cdrom", kDiskInterface},
    GroupInterface{"qelm_ktvm_volume", kVolumeInterface},
    GroupInterface{"qelm_ktvm_partition_oem", kVolumeInterface},
    GroupInterface{"qelm_ktvm_diskgroup", kDiskGroupInterface},
};

// The interface for a group whose first child is of that type; null for none.
const KtGuid* InterfaceForChildType(const char* type_name) noexcept;

// Looks at the first child of every generic group and attaches the interface that fits it, owned by
// this provider. A group that cannot be read, is empty or refuses the interface is passed over.
//
// Threads:   any; touches the database and its own locals only.
void DecorateGenericGroups() noexcept;

}  // namespace kt
