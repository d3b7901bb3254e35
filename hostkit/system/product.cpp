#include "system/product.h"

#include "platform/platform.h"
#include "system/registry_reader.h"

namespace kt {

bool IsMultipathOnly() {
  // Both are asked for, always, and both are closed again.
  KeyGuard multipath;
  const bool has_multipath =
      multipath.Open(
          KT_W("SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Multiplex Paths"),
          KeyAccess::kRead) == 0;
  KeyGuard volume_engine;
  const bool has_volume_engine =
      volume_engine.Open(
          KT_W("SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Volume Engine"),
          KeyAccess::kRead) == 0;
  return has_multipath && !has_volume_engine;
}

}  // namespace kt
