// The version texts that clients see.
#pragma once

#include "base/text.h"

namespace kt {

// "WINNT.6.1.0.445": fixed in the module, the interface level that the host expects.
KtWString InterfaceVersionText();

// "WINNT." and the installed volume engine's "Version", or the interface version when the registry
// has none that fits in 399 bytes. One line tells which.
KtWString VolumeEngineVersionText();

// The product's version for people, such as "7.1 SP2 (Build 7.1.0.1)": the volume engine's build in
// brackets, before it the product's "VersionName" or, without one, "ProductVersion". What cannot be
// read is left out after a line at level 6; without a build the text is empty.
KtWString get_zrn_version();

}  // namespace kt
