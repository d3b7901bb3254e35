// CKtControlManager routes a request of the host to the handler that serves it, and knows how many
// controls and events are in flight.
//
// A request names an object, an interface, a selector and a control code; together they are the
// control path (dispatch/control_path.h). A handler registered for the object wins over one for any
// object (the all-zero id). Code that serves controls registers through a CKtControlMap.
//
// Threads:   any member from any thread. Filters and handlers run with no lock held. Lazy-delete
//            queues are flushed with the activity lock and the queue-list lock held, which is
//            required: a request that starts meanwhile waits until the flush is over.
// Ownership: nothing is owned. Entries belong to their maps; an entry that has gone counts as
//            absent, and a running control keeps the entry it runs. Filters and queues are lent.
// Failure:   statuses. A handler that throws is traced and reported to the host as success, on
//            purpose. Without memory the framework cannot name an id: the request then ends with
//            E_OUTOFMEMORY after one line, and nothing else changes.
//
// The manager outlives the provider: shutdown waits for the count and leaves it; module detach
// releases it (ReleaseInstance).
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/lock.h"
#include "base/lock_order.h"
#include "dispatch/control_filter.h"
#include "dispatch/control_filter_list.h"
#include "dispatch/control_map_entry.h"
#include "dispatch/control_path.h"
#include "dispatch/control_path_map.h"
#include "dispatch/control_request.h"
#include "dispatch/lazy_delete_queue.h"

namespace kt {
class ActivityHold;
}

class CKtControlManager {
 public:
  // Bounds of the wait for the count: checks, and the sleep after each that found calls in flight.
  static constexpr std::uint32_t kIdleChecks = 120;
  static constexpr std::uint32_t kIdleSleepMs = 1000;

  // The manager, created on first use. Throws std::bad_alloc.
  [[nodiscard]] static CKtControlManager& Instance() {
    CKtControlManager* const made = instance_.load(std::memory_order_acquire);
    return made != nullptr ? *made : MakeInstance();
  }

  // Waits as the destructor does, then deletes the manager, for module detach. The manager stays
  // the one that Instance() gives while it waits. Control maps and whatever opens activity scopes
  // in its destructor must have gone before.
  static void ReleaseInstance() noexcept;

  // Waits for the calls in flight (WaitForIdle), forgets the manager and frees it.
  ~CKtControlManager();
  CKtControlManager(const CKtControlManager&) = delete;
  CKtControlManager& operator=(const CKtControlManager&) = delete;

  // Serves one request and returns the status for the host: a filter's that ended the request, the
  // handler's, 0 for a handler that threw, KTERROR_UNEXPECTED when no handler is registered,
  // E_INVALIDARG without a line when the request names no interface. Only what a filter throws
  // beside a 32-bit status passes to the caller; the activity scope is closed on every way.
  //
  // Both lines about a request are at level 6, or at level 4 when the input set has the boolean
  // "pwb trace" and it is false; a failing status is always told at level 6.
  [[nodiscard]] KtStatus Invoke(CKtControlRequest& request)
      KT_EXCLUDES(path_map_lock_, queue_list_lock_, activity_lock_);

  // Records an entry under its path. Returns 0, KTERROR_DUPLICATE_INTERFACE when a handler stands
  // under it (which stays), or E_OUTOFMEMORY. Throws std::bad_alloc.
  KtStatus RegisterPath(const std::shared_ptr<CKtControlMapEntry>& entry)
      KT_EXCLUDES(path_map_lock_);

  // Drops a path. Returns 0, or KTERROR_UNEXPECTED after a line at level 1 when there is no handler
  // under it. Without memory for the path the handler is found by its four values instead, so that
  // unregistering never fails for that; E_OUTOFMEMORY after a line when there is none either.
  KtStatus UnRegisterPath(const KtGuid& interface_id, const std::uint32_t& selector,
                          const std::uint32_t& control_code, const KtObjId& object_id) noexcept
      KT_EXCLUDES(path_map_lock_);

  // Flushes every queue in order, with the activity lock held. One that throws ends the run;
  // nothing gets out. Called at the close of the last activity scope; a flush inside a flush does
  // nothing.
  void FlushLazyDeleteQueues() noexcept KT_EXCLUDES(activity_lock_, queue_list_lock_);

  // Filters run in the order of adding. A control that is under way when a filter is removed may
  // still call it: keep the filter until those are done (WaitForIdle). Throws std::bad_alloc.
  void AddFilter(CKtControlFilter& filter) KT_EXCLUDES(path_map_lock_);
  void RemoveFilter(CKtControlFilter& filter) noexcept KT_EXCLUDES(path_map_lock_);

  // Queues are flushed in the order of adding. Once removed, a queue is not called any more. A
  // flush may add and remove queues. Throws std::bad_alloc.
  void AddQueue(CKtLazyDeleteQueue& queue) KT_EXCLUDES(queue_list_lock_);
  void RemoveQueue(CKtLazyDeleteQueue& queue) noexcept KT_EXCLUDES(queue_list_lock_);

  // Waits until no control and no event is in flight: up to kIdleChecks checks, a sleep of
  // kIdleSleepMs after each that fails. Returns whether a check found it idle.
  bool WaitForIdle() const noexcept KT_EXCLUDES(activity_lock_);

  // Controls and events in flight.
  [[nodiscard]] std::uint32_t ActivityCount() const noexcept KT_EXCLUDES(activity_lock_);

 private:
  [[nodiscard]] static CKtControlManager& MakeInstance();

  friend class CKtActivityScope;
  friend class kt::ActivityHold;

  CKtControlManager() = default;

  void EnterActivity() noexcept KT_EXCLUDES(activity_lock_);
  void LeaveActivity() noexcept KT_EXCLUDES(activity_lock_);
  void FlushAtZero() noexcept KT_REQUIRES(activity_lock_);
  void FlushQueues() noexcept KT_REQUIRES(activity_lock_) KT_EXCLUDES(queue_list_lock_);
  void FlushQueuesLocked() noexcept KT_REQUIRES(queue_list_lock_);

  [[nodiscard]] KtStatus RunFilters(CKtControlRequest& request) KT_EXCLUDES(path_map_lock_);
  [[nodiscard]] std::shared_ptr<CKtControlMapEntry> FindHandler(const CKtControlRequest& request,
                                                                kt::ControlPath& path,
                                                                bool& built) const
      KT_EXCLUDES(path_map_lock_);

  kt::ControlPathMap paths_ KT_GUARDED_BY(path_map_lock_);
  kt::ControlFilterList filters_;  // changed under path_map_lock_
  std::vector<CKtLazyDeleteQueue*> queues_ KT_GUARDED_BY(queue_list_lock_);

  // The host counts four locks, made in this order; no operation takes the first.
  kt::Lock spare_lock_{kt::LockRank::kLeaf};
  mutable kt::Lock path_map_lock_{kt::LockRank::kLeaf};
  kt::Lock queue_list_lock_ KT_ACQUIRED_AFTER(kt::rank::queue_list)
      KT_ACQUIRED_BEFORE(kt::rank::container){kt::LockRank::kQueueList};
  mutable kt::Lock activity_lock_ KT_ACQUIRED_AFTER(kt::rank::activity)
      KT_ACQUIRED_BEFORE(kt::rank::queue_list){kt::LockRank::kActivity};

  std::uint32_t activity_count_ KT_GUARDED_BY(activity_lock_) = 0;
  bool flushing_ KT_GUARDED_BY(activity_lock_) = false;
  bool flushing_queues_ KT_GUARDED_BY(queue_list_lock_) = false;

  static std::atomic<CKtControlManager*> instance_;
};
