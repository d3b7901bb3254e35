#include "system/sys.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "base/module.h"
#include "base/owned.h"
#include "base/retired.h"
#include "base/text.h"
#include "base/trace.h"
#include "dispatch/control_map.h"
#include "dispatch/event_listener.h"
#include "system/configuration_object.h"
#include "system/generic_groups.h"
#include "system/identifiers.h"
#include "system/product.h"
#include "system/shadow_copy_service.h"
#include "system/system_controls.h"
#include "system/system_object.h"
#include "system/version_texts.h"

namespace {

KtStatus OnDomainInitialised(void* /*owner*/, const CKtEventView* /*view*/, std::uint64_t /*first*/,
                             std::uint64_t /*third*/) {
  kt::DecorateGenericGroups();
  return 0;
}

}  // namespace

CSys::CSys() = default;

CSys::~CSys() noexcept(false) {
  kt::Retire(std::move(control_map_));
}

KtStatus CSys::Initialize() {
  KtTrace(kt::kWarning, "HostKit: Entering CSys::Initialize()");
  DropListenerAndControls();
  if (kt::KtNet(0) == 0) {
    KtTrace(kt::kWarning, "HostKit - Failed to start Tormeld VSS Provider service");
  }
  kt::RegisterSystemType(kt::kSystemType);
  kt::CreateSystemObject();
  if (kt::IsMultipathOnly()) {
    KtTrace(kt::kError, "HostKit:Initialize - gMPXSA=TRUE");
    // A registration that fails throws, so there is no status to look at.
    kt::RegisterSystemType(kt::kConfigurationType);
    kt::InitKtMisc();
  } else {
    KtTrace(kt::kError, "HostKit:Initialize - gMPXSA=FALSE");
  }
  StartListener();
  RegisterControls();
  KtTrace(kt::kWarning, "HostKit: CSys::Exiting Initialize()");
  return 0;
}

KtStatus CSys::Shutdown(std::uint64_t /*argument*/) {
  KtTrace(kt::kWarning, "HostKit - entering CSys::Shutdown");
  if (kt::KtNet(1) == 0) {
    KtTrace(kt::kWarning, "HostKit - Failed to stop Tormeld VSS Provider service");
  }
  if (listener_ != nullptr) {
    listener_->UnRegister(kt::kDomainInitialised);
  } else {
    // A start that did not come that far has no listener to find.
    KtTrace(kt::kError, "ERROR: CKtEventListener::UnRegister() failed : KTERROR_INVALIDARG");
  }
  KtTrace(kt::kWarning, "HostKit - exiting CSys::Shutdown");
  return 0;
}

KtStatus CSys::Version(KtWchar** out) {
  try {
    return kt::GiveText(kt::InterfaceVersionText(), out);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

void CSys::DropListenerAndControls() {
  listener_.reset();
  if (control_map_ == nullptr) return;
  // A control may be running with the map as its context, so the map itself stays.
  control_map_->UnRegisterAll();
  kt::Retire(std::move(control_map_));
}

void CSys::StartListener() noexcept {
  try {
    listener_ = std::make_unique<CKtEventListener>(kt::DatabaseHandle(), kt::ProviderHandle());
    listener_->Register(kt::kDomainInitialised, &OnDomainInitialised);
  } catch (...) {  // NOLINT(bugprone-empty-catch): the listener is then missing, as required
  }
}

void CSys::RegisterControls() noexcept {
  try {
    control_map_ = std::make_unique<CKtControlMap>();
    for (const kt::SystemPath& path : kt::kSystemPaths) {
      // A path that is refused has its own line; the others are registered all the same.
      static_cast<void>(control_map_->Register(path.interface_id, kt::kSystemSelector,
                                               path.control_code, path.handler));
    }
  } catch (...) {
    KtTrace(kt::kError, "CSys - RegisterControls - no memory for the system controls");
  }
}
