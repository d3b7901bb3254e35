#include "dispatch/event_path.h"

#include "base/status.h"
#include "base/trace.h"
#include "dispatch/event_manager.h"

CKtEventPath::CKtEventPath(void* owner, KtEventCallback callback, std::string_view event_name,
                           KtDatabase database, KtProvider context, std::uint32_t tag)
    : tag_(tag),
      owner_(owner),
      callback_(callback),
      event_name_(event_name),
      database_(database),
      context_(context) {}

// The event manager may still hold this path: it was added twice, or its name is longer than what
// a dispatcher keeps and was therefore not found when it was unregistered.
CKtEventPath::~CKtEventPath() {
  CKtEventManager::ForgetPath(*this);
}

KtStatus CKtEventPath::Invoke(const KtEventRecord* event, std::uint64_t first,
                              std::uint64_t third) const {
  if (event == nullptr) {
    KtTrace(kt::kError, "ERROR: CKtEventPath::Invoke() failed. Invalid event.");
    return KTERROR_NO_EVENT;
  }
  const CKtEventView view{event, event};
  // The call-back may destroy this path: nothing of it is touched afterwards.
  static_cast<void>(callback_(owner_, &view, first, third));
  return 0;
}

bool CKtEventPath::IsForEvent(std::string_view name) const noexcept {
  return event_name_ == name;
}

const char* CKtEventPath::GetEventName() const noexcept {
  return event_name_.c_str();
}

KtDatabase CKtEventPath::GetDatabase() const noexcept {
  return database_;
}

KtProvider CKtEventPath::GetContext() const noexcept {
  return context_;
}

std::uint32_t CKtEventPath::GetTag() const noexcept {
  return tag_;
}
