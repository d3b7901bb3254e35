// What makes this a module: its name, and the function that makes its provider.
#include <new>

#include "base/module.h"
#include "blockdev/blockdev_provider.h"

namespace kt {

const KtWchar* const kModuleName = KT_W("blockdev");

CKtProvider* MakeProvider() {
  return new blockdev::CBlockDev(&blockdev::ListDevices);
}

}  // namespace kt
