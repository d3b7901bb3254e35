// CKtEventManager takes the host's event notices to those who subscribed: one dispatcher per
// subscribed name, one path per subscriber.
//
// Threads:   any member from any thread, under one re-entrant lock. A whole delivery holds it, the
//            call-backs and the flush of deferred deletions included; this is required, and makes
//            the delivery of one notice exclude every other event operation of other threads. A
//            call-back that hangs therefore holds up shutdown at this lock. A call-back may
//            register and unregister paths on its own thread; what it takes out is not called any
//            more, what it adds is not called for the notice under way.
// Ownership: dispatchers are owned; paths are lent by their listeners.
// Failure:   as each member says. A call-back that throws is contained and the next path is called:
//            a thrown 32-bit status was traced where it was thrown, anything else gets one line at
//            level 6.
//
// Shutdown() makes the manager forget itself with its lock held. Threads may be waiting at that
// lock, so the manager is retired (base/retired.h); a member that gets the lock of a forgotten
// manager goes on with the one that Instance() gives then.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/lock.h"
#include "base/lock_order.h"
#include "dispatch/event_dispatcher.h"
#include "dispatch/event_path.h"
#include "ktbus3/ktbus3.h"

class CKtEventManager {
 public:
  // The manager, created on first use. Throws std::bad_alloc.
  [[nodiscard]] static CKtEventManager& Instance();

  // Deletes the manager with its dispatchers, for module detach.
  static void ReleaseInstance() noexcept;

  ~CKtEventManager();
  CKtEventManager(const CKtEventManager&) = delete;
  CKtEventManager& operator=(const CKtEventManager&) = delete;

  // Adds a path to the dispatcher of exactly its event name, which is made when there is none.
  // Returns 0, whatever the registration with the database gave, or E_OUTOFMEMORY after a line at
  // level 6. A name is compared whole with the at most 1023 characters that a dispatcher keeps: a
  // longer one finds no dispatcher and gets another each time.
  KtStatus RegisterEventPath(const CKtEventPath& path) KT_EXCLUDES(lock_);

  // Takes a path out; with the last path of a name its dispatcher goes, and with that every
  // registration made for the name. A path that is not there leaves a line at level 6 and changes
  // nothing. Once it has returned, no other thread is in the path's call-back any more.
  void UnRegisterEventPath(const CKtEventPath& path) noexcept KT_EXCLUDES(lock_);

  // Delivers a notice to the paths of the first dispatcher whose name equals or matches the
  // event's, in order of the paths' addresses, as far as they subscribed to the event's database. A
  // path without a database of its own subscribed to the provider's. Returns 0, KTERROR_NO_EVENT
  // after a line at level 6 when no dispatcher matches (none matches a notice without a name),
  // E_INVALIDARG without a line for null, E_OUTOFMEMORY after a line. `first` and `third` are
  // passed through to the call-backs.
  KtStatus Notify(const KtEventRecord* event, std::uint64_t first = 0, std::uint64_t third = 0)
      KT_EXCLUDES(lock_);

  // Destroys every dispatcher in order, withdrawing its registrations, and forgets the manager, so
  // that a later use makes a new one. Paths belong to their listeners and are left alone.
  void Shutdown() noexcept KT_EXCLUDES(lock_);

  // Drops a path that is about to go from wherever it still stands, without a line.
  static void ForgetPath(const CKtEventPath& path) noexcept;

  // The number of dispatchers: of names subscribed to, a name that is too long for a dispatcher
  // counted once for each of its paths.
  [[nodiscard]] std::size_t DispatcherCount() const noexcept KT_EXCLUDES(lock_);

 private:
  using Dispatchers = std::vector<std::unique_ptr<CKtEventDispatcher>>;

  CKtEventManager() = default;

  [[nodiscard]] KtStatus RegisterLocked(const CKtEventPath& path) KT_REQUIRES(lock_);
  void UnRegisterLocked(const CKtEventPath& path) noexcept KT_REQUIRES(lock_);
  [[nodiscard]] KtStatus NotifyLocked(const KtEventRecord& event, std::uint64_t first,
                                      std::uint64_t third) KT_REQUIRES(lock_);
  void ForgetPathHere(const CKtEventPath& path) noexcept KT_EXCLUDES(lock_);
  // The first dispatcher that keeps exactly this name, or null.
  [[nodiscard]] CKtEventDispatcher* FindLocked(std::string_view name) const KT_REQUIRES(lock_);
  [[nodiscard]] const CKtEventDispatcher* MatchLocked(const KtEventRecord& event) const
      KT_REQUIRES(lock_);
  [[nodiscard]] bool IsAliveLocked(const CKtEventDispatcher* dispatcher,
                                   const CKtEventPath* path) const noexcept KT_REQUIRES(lock_);
  void DeliverLocked(const CKtEventDispatcher& dispatcher, const KtEventRecord& event,
                     std::uint64_t first, std::uint64_t third) KT_REQUIRES(lock_);
  void EraseLocked(const CKtEventDispatcher* dispatcher) noexcept KT_REQUIRES(lock_);
  void ClearLocked() noexcept KT_REQUIRES(lock_);

  Dispatchers dispatchers_ KT_GUARDED_BY(lock_);
  // The dispatchers by the names that they keep; of several that keep the same one, the first.
  std::unordered_map<std::string_view, CKtEventDispatcher*> by_name_ KT_GUARDED_BY(lock_);
  std::uint64_t removals_ KT_GUARDED_BY(lock_) = 0;  // so that a delivery knows when to look again
  bool forgotten_ KT_GUARDED_BY(lock_) = false;
  mutable kt::Lock lock_ KT_ACQUIRED_BEFORE(kt::rank::activity){kt::LockRank::kEventManager};

  static std::atomic<CKtEventManager*> instance_;
};
