// CKtLazyDeleteQueue holds things that are to be freed when no control and no event is in flight.
#pragma once

class CKtLazyDeleteQueue {
 public:
  CKtLazyDeleteQueue() = default;
  CKtLazyDeleteQueue(const CKtLazyDeleteQueue&) = delete;
  CKtLazyDeleteQueue& operator=(const CKtLazyDeleteQueue&) = delete;

  // Frees what is queued. Called with the activity lock and the queue-list lock held, on the thread
  // whose activity scope was the last: it may open scopes and use the custom object container, it
  // may not touch the event manager. What it throws ends the run over the queues and is contained.
  virtual void Flush() = 0;

  virtual ~CKtLazyDeleteQueue() = default;
};
