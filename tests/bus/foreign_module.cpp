#include "bus/foreign_module.h"

namespace {
const int kInside = 1;
}

const void* ForeignModuleAddress() {
  return &kInside;
}

// The results pass through variables that the compiler must write, so that no call becomes a jump
// whose return address is the caller's.
void* ForeignModuleAlloc(size_t size) {
  void* volatile block = _KtAlloc(size);
  return block;
}

KtPropset ForeignModulePropset() {
  KtPropset set = nullptr;
  const volatile KtStatus status = PsCreatePropset(&set);
  return status == 0 ? set : nullptr;
}
