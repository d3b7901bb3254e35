#include "system/system_object.h"

#include "base/module.h"
#include "base/trace.h"
#include "objmodel/object.h"
#include "objmodel/type_object.h"

namespace kt {
namespace {

void CreateTraced(CKtObject& object) noexcept {
  try {
    object.Create(kSystemType, 0);
  } catch (...) {
    KtTrace(kError, "CSys - CreateSystemObject - couldn't create system object");
  }
}

void AttachTraced(CKtObject& object) noexcept {
  try {
    for (const KtGuid& interface_id : kSystemObjectInterfaces) {
      object.RegisterInterface(interface_id, ProviderHandle());
    }
  } catch (...) {
    KtTrace(kError,
            "CSys - CreateSystemObject - couldn't attach system interface on system object");
  }
}

}  // namespace

void RegisterSystemType(const char* type_name) {
  CKtTypeObject type(type_name);
  type.AddSuperclass(kHostSuperclass);
  type.AddProp("VENDOR", KT_W("TORMELD"), kNoFlags);
  type.Register();
}

void CreateSystemObject() {
  // Bound to the null id and to the module's handles, which the attachments need even where the
  // creation fails.
  CKtObject object(kNullObjId);
  CreateTraced(object);
  AttachTraced(object);
  // Required whatever happened before.
  KtTrace(kWarning,
          "CSys - CreateSystemObject - successfully created system object with system interface "
          "attached.");
}

}  // namespace kt
