// CKtEventPath is one subscription: the name or pattern, the call-back with its owner, and the
// database that the events must come from.
//
// Threads:   immutable; delivery runs under the event manager's lock.
// Ownership: whoever made it, usually a CKtEventListener. The event manager holds it by address and
//            forgets it, silently, when it goes without having been unregistered. A call-back may
//            destroy the path that it was called through.
// Failure:   Invoke passes on what the call-back throws; the event manager contains it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ktbus3/ktbus3.h"

// What a call-back gets to see of a notice. Both words are the record, which lives for the call.
struct CKtEventView {
  const KtEventRecord* record;
  const KtEventRecord* event;
};

// Receives an event. `first` and `third` are the words that came with the host's notice, passed
// through unread. The returned status is dropped. Runs with the event manager's lock held
// (required; the lock is re-entrant, so a call-back may register and unregister paths) and inside
// an activity scope.
using KtEventCallback = KtStatus (*)(void* owner, const CKtEventView* view, std::uint64_t first,
                                     std::uint64_t third);

class CKtEventPath {
 public:
  // Copies the name. A null database stands for the provider's own database and provider handles.
  CKtEventPath(void* owner, KtEventCallback callback, std::string_view event_name,
               KtDatabase database, KtProvider context, std::uint32_t tag = 0);
  CKtEventPath(const CKtEventPath&) = delete;
  CKtEventPath& operator=(const CKtEventPath&) = delete;

  // Calls the call-back and returns 0. KTERROR_NO_EVENT after a line at level 6 for a null event.
  virtual KtStatus Invoke(const KtEventRecord* event, std::uint64_t first = 0,
                          std::uint64_t third = 0) const;

  // True when the path's event name equals `name`; patterns are not matched.
  [[nodiscard]] virtual bool IsForEvent(std::string_view name) const noexcept;

  // The whole name, lent.
  [[nodiscard]] virtual const char* GetEventName() const noexcept;

  [[nodiscard]] virtual KtDatabase GetDatabase() const noexcept;
  [[nodiscard]] virtual KtProvider GetContext() const noexcept;
  [[nodiscard]] virtual std::uint32_t GetTag() const noexcept;

  virtual ~CKtEventPath();

 private:
  std::uint32_t tag_;
  void* owner_;
  KtEventCallback callback_;
  std::string event_name_;
  KtDatabase database_;
  KtProvider context_;
};
