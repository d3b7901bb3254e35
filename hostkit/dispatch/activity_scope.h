// CKtActivityScope marks a control or an event notice as in flight, from its construction to its
// end, thrown or not.
//
// When the last scope closes, deferred deletions are carried out on its thread: the control
// manager's lazy-delete queues, then the custom object container's queue, both with the activity
// lock held, so that a call that starts meanwhile waits. A destructor or a queue that runs in the
// flush may open scopes of its own on that thread; their closing starts no second flush inside the
// first. Wrappers that they queue with the container still go in this flush; what they give to a
// lazy-delete queue whose turn is over waits for the next return to zero.
//
// Threads:   one scope belongs to one thread; scopes of any number of threads at once.
// Failure:   opening throws std::bad_alloc when the manager cannot be made. Closing never throws:
//            what a flush throws is contained.
#pragma once

#include <cstdint>

class CKtControlManager;

class CKtActivityScope {
 public:
  // Opens, creating the control manager when there is none.
  CKtActivityScope();
  ~CKtActivityScope();
  CKtActivityScope(const CKtActivityScope&) = delete;
  CKtActivityScope& operator=(const CKtActivityScope&) = delete;

  // Closes before the end of the scope. Closing what is not open does nothing.
  void Close() noexcept;

 private:
  CKtControlManager* manager_;
  std::uint8_t open_ = 0;
};
