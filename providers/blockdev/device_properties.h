// The properties of a published device. README.md has the table that clients read.
//
// Names are lower case with underscores, but for "Name", which every object has. Texts are always
// there and empty when unknown; a number or flag that is not known is left out, and keeps its last
// value where it was known before, since an object cannot lose a property.
#pragma once

#include "blockdev/devices/block_device.h"

class CKtPropertySetBase;

namespace kt::blockdev {

// Writes every property but "parents", which needs the objects of other devices.
// A write that fails is traced and throws its status; the properties before it are written.
void WriteProperties(CKtPropertySetBase& to, const BlockDevice& device);

}  // namespace kt::blockdev
