#include "dispatch/event_listener.h"

#include <algorithm>
#include <utility>

#include "base/trace.h"
#include "dispatch/event_manager.h"
#include "lifetime/singleton.h"

namespace {

// Without a manager, and memory for one, nothing can be registered.
void UnRegisterPath(const CKtEventPath& path) noexcept {
  auto* const manager = kt::InstanceOrNull<CKtEventManager>();
  if (manager != nullptr) manager->UnRegisterEventPath(path);
}

}  // namespace

CKtEventListener::CKtEventListener(KtDatabase database, KtProvider context) noexcept
    : database_(database), context_(context) {}

CKtEventListener::~CKtEventListener() {
  UnRegisterAll();
}

void CKtEventListener::UnRegisterAll() noexcept {
  for (const auto& path : paths_) UnRegisterPath(*path);
  paths_.clear();
}

void CKtEventListener::Register(std::string_view event_name, KtEventCallback callback) noexcept {
  try {
    paths_.push_back(
        std::make_unique<CKtEventPath>(this, callback, event_name, database_, context_));
    static_cast<void>(CKtEventManager::Instance().RegisterEventPath(*paths_.back()));
  } catch (...) {
    // Required: a subscription that cannot be made is missing, and nobody is told.
  }
}

void CKtEventListener::UnRegister(std::string_view event_name) noexcept {
  const auto found = std::find_if(paths_.begin(), paths_.end(), [event_name](const auto& path) {
    return path->IsForEvent(event_name);
  });
  if (found == paths_.end()) {
    KtTrace(kt::kError, "ERROR: CKtEventListener::UnRegister() failed : KTERROR_INVALIDARG");
    return;
  }
  const std::unique_ptr<CKtEventPath> path = std::move(*found);
  paths_.erase(found);
  UnRegisterPath(*path);
}
