// CKtEventListener is the subscriber's side: it makes the paths for the names that its owner wants
// to hear of, registers them, and takes them out when it goes.
//
// Threads:   none of its own; its owner uses it from one thread, or from its call-backs, which run
//            one at a time under the event manager's lock. A call-back may be running on another
//            thread when the listener goes: the destructor of a derived class therefore begins with
//            UnRegisterAll(), which waits for it while the derived part still stands:
//
//              DiskWatcher::~DiskWatcher() { UnRegisterAll(); }
//
//            That last call-back may use the derived part; it may not register or unregister.
// Ownership: owns its paths. The listener is what call-backs get as owner: derive from it, or keep
//            it where a call-back finds what it needs.
// Failure:   Register swallows every failure, and the subscription is then missing; UnRegister
//            leaves a line at level 6.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "dispatch/event_path.h"
#include "ktbus3/ktbus3.h"

class CKtEventListener {
 public:
  // The handles that its paths get; a null database stands for the provider's own handles.
  CKtEventListener(KtDatabase database, KtProvider context) noexcept;
  CKtEventListener(const CKtEventListener&) = delete;
  CKtEventListener& operator=(const CKtEventListener&) = delete;

  // UnRegisterAll(), which in a derived class comes too late for its part.
  virtual ~CKtEventListener();

  // Subscribes to a name or a pattern ("*" stands for one part of the name). The call-back gets the
  // listener as owner, and only events of the listener's database.
  void Register(std::string_view event_name, KtEventCallback callback) noexcept;

  // Ends the first subscription of exactly this name; one that does not exist leaves a line at
  // level 6. May be called from the call-back that it ends.
  void UnRegister(std::string_view event_name) noexcept;

  // Ends every subscription in order. Once it has returned, no other thread is in a call-back of
  // this listener and none will be; it therefore waits for one that is, and may not be called under
  // a lock that comes after the event manager's (base/lock_order.h).
  void UnRegisterAll() noexcept;

  // The number of subscriptions.
  [[nodiscard]] std::size_t Count() const noexcept { return paths_.size(); }

 private:
  std::vector<std::unique_ptr<CKtEventPath>> paths_;
  KtDatabase database_;
  KtProvider context_;
};
