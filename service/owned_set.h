// OwnedSet: a property set that is the service's to destroy.
#pragma once

#include <memory>

#include "ktbus3/ktbus3.h"

namespace ktsvc {

struct DestroySet {
  void operator()(KtPropsetHandle* set) const noexcept { PsDestroyPropset(set); }
};
using OwnedSet = std::unique_ptr<KtPropsetHandle, DestroySet>;

}  // namespace ktsvc
