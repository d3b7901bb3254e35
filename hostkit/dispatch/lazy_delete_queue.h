// CKtLazyDeleteQueue holds things that are to be freed when no control and no event is in flight.
//
// Threads:   Flush() runs on whichever thread closes the last activity scope, one flush at a time;
//            what the queue offers beside it, it guards itself.
// Ownership: the queue's owner lends it to CKtControlManager::AddQueue() and takes it back with
//            RemoveQueue(), which returns when no flush is using it, before it goes.
// Failure:   as Flush() says.
#pragma once

class CKtLazyDeleteQueue {
 public:
  CKtLazyDeleteQueue() = default;
  CKtLazyDeleteQueue(const CKtLazyDeleteQueue&) = delete;
  CKtLazyDeleteQueue& operator=(const CKtLazyDeleteQueue&) = delete;

  // Frees what is queued. Called with the activity lock and the queue-list lock held: it may open
  // scopes and use the custom object container; it may not wait for another thread's call, and not
  // touch the event manager. What it throws ends the run over the queues and is contained, after a
  // line at level 4 for a 32-bit status and at level 6 for anything else.
  virtual void Flush() = 0;

  virtual ~CKtLazyDeleteQueue() = default;
};
