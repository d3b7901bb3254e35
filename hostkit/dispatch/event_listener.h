// CKtEventListener is the subscriber's side: it makes the paths for the names that its owner wants
// to hear of, registers them, and takes them out when it goes.
//
// Threads:   none of its own; its owner uses it from one thread, or from its call-backs, which run
//            one at a time under the event manager's lock.
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

  // Unregisters every path in order.
  virtual ~CKtEventListener();

  // Subscribes to a name or a pattern ("*" stands for one part of the name). The call-back gets the
  // listener as owner, and only events of the listener's database.
  void Register(std::string_view event_name, KtEventCallback callback) noexcept;

  // Ends the first subscription of exactly this name; one that does not exist leaves a line at
  // level 6. May be called from the call-back that it ends.
  void UnRegister(std::string_view event_name) noexcept;

  // The number of subscriptions.
  [[nodiscard]] std::size_t Count() const noexcept { return paths_.size(); }

 private:
  std::vector<std::unique_ptr<CKtEventPath>> paths_;
  KtDatabase database_;
  KtProvider context_;
};
