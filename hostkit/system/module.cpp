// Who this module is: its name, and its provider.
#include <new>

#include "base/module.h"
#include "provider/provider.h"
#include "system/sys.h"

namespace kt {

const KtWchar* const kModuleName = KT_W("hostkit");

CKtProvider* MakeProvider() {
  return new (std::nothrow) CSys;  // NOLINT(cppcoreguidelines-owning-memory): the caller's
}

}  // namespace kt
