#include "dispatch/event_dispatcher.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/module.h"
#include "base/trace.h"
#include "dispatch/event_path.h"

namespace {

// Alerts are subscribed to under this name and nothing longer: the terminator takes part in the
// comparison. A longer name that begins like it is an event's.
bool IsAlertName(const char* name) {
  constexpr char kAlertName[] = "event.alert";
  static_assert(sizeof kAlertName == 12);
  return std::strncmp(name, kAlertName, sizeof kAlertName) == 0;
}

}  // namespace

CKtEventDispatcher::CKtEventDispatcher(std::string_view name) noexcept {
  const std::size_t kept = std::min(name.size(), kNameLength);
  std::memcpy(name_.data(), name.data(), kept);
}

CKtEventDispatcher::~CKtEventDispatcher() {
  const bool alert = IsAlertName(GetName());
  for (const Registration& made : registrations_) {
    if (alert) {
      static_cast<void>(ObUnregisterAlert(made.database, made.cookie));
    } else {
      static_cast<void>(EvUnregisterEvent(made.database, made.cookie));
    }
  }
}

KtStatus CKtEventDispatcher::Add(const CKtEventPath& path) {
  // Both lists are ready before the database is asked: a registration that was made is kept.
  if (registrations_.size() == registrations_.capacity()) {
    registrations_.reserve(std::max<std::size_t>(4, 2 * registrations_.size()));
  }
  paths_.push_back(&path);

  Registration made{path.GetDatabase(), path.GetContext(), 0};
  if (made.database == nullptr) {
    made.database = kt::DatabaseHandle();
    made.context = kt::ProviderHandle();
  }
  const char* const name = path.GetEventName();
  const KtStatus status = IsAlertName(name)
                              ? ObRegisterAlert(made.database, made.context, name, &made.cookie)
                              : EvRegisterEvent(made.database, made.context, name, &made.cookie);
  if (kt::StatusFails(status)) {
    KtTrace(kt::kError,
            "ERROR: RegisterForEvent(), Unable to register to receive event '%s' from database %x",
            name, static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(made.database)));
  } else {
    registrations_.push_back(made);
  }
  return status;
}

void CKtEventDispatcher::Remove(const CKtEventPath& path) noexcept {
  const auto found = std::find(paths_.begin(), paths_.end(), &path);
  if (found == paths_.end()) {
    KtTrace(kt::kError, "ERROR: CKtEventDispatcher::Remove() failed : KTERROR_NO_EVENT");
    return;
  }
  paths_.erase(found);
}

bool CKtEventDispatcher::Forget(const CKtEventPath& path) noexcept {
  return std::erase(paths_, &path) != 0;
}

bool CKtEventDispatcher::IsNamed(std::string_view name) const noexcept {
  return name == std::string_view(name_.data());
}

bool CKtEventDispatcher::Has(const CKtEventPath* path) const noexcept {
  return std::find(paths_.begin(), paths_.end(), path) != paths_.end();
}
