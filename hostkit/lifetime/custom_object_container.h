// CKtCustomObjectContainer is the registry of the wrappers that a provider keeps for objects it has
// published, by object id and by type, and the place where they go when they are to go.
//
// Deletion is lazy. LazyDelete() deletes the bus object at once and queues the wrapper; the queue
// is flushed when no control and no event is in flight any more (dispatch/activity_scope.h), so
// that a handler that still holds a pointer to the wrapper never touches freed memory.
//
// Threads:   any member from any thread, under one re-entrant lock, which is held for the
//            framework calls as well. Flush and shutdown run destructors of wrappers under the
//            activity lock, taken first, and this one: calls of other threads can neither start nor
//            end meanwhile. A destructor may use this container and open activity scopes; it may
//            not wait for another thread's call, and not touch the event manager, whose lock comes
//            first (base/lock_order.h). What a wrapper overrides of GetType(), GetName() and
//            Destroy() runs under this lock alone and may not open scopes.
//            The shutdown deletes what is registered, and does not wait for handlers that hold a
//            pointer to it. A handler that needs its wrapper beyond one call of this class keeps
//            the shutdown out with kt::ActivityHold, or keeps what it needs of it elsewhere.
// Ownership: a wrapper that Add() took belongs to the container until Remove() gives it back or
//            LazyDelete() queues it; a queued one belongs to the queue.
// Failure:   statuses as each member says. GetType() of a wrapper may throw out of Add() and
//            Remove(); LazyDelete() and FlushLazyDeleteQueue() let nothing out.
//
// A look-up inserts: a key that is asked for and missing is there afterwards with a null pointer,
// and a null pointer reads as "not there". The members that inspect never insert.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/guid_order.h"
#include "base/lock.h"
#include "base/lock_order.h"
#include "ktbus3/ktbus3.h"

class CKtObject;

class CKtCustomObjectContainer {
 public:
  // The container, created on first use. After Shutdown() the next call makes a new, empty one.
  // Throws std::bad_alloc.
  [[nodiscard]] static CKtCustomObjectContainer& Instance();

  // Deletes the container with every wrapper that it still owns, for module detach. Their
  // destructors may use the container; whatever that brings to life goes as well.
  static void ReleaseInstance() noexcept;

  // Deletes what the queue and, while enabled, the object map hold. Contains what destructors
  // throw.
  ~CKtCustomObjectContainer();
  CKtCustomObjectContainer(const CKtCustomObjectContainer&) = delete;
  CKtCustomObjectContainer& operator=(const CKtCustomObjectContainer&) = delete;

  // Registers a wrapper under its id and its type (asked of the bus). Returns 0 and takes the
  // wrapper over; on any other outcome the caller still holds it. KTERROR_NO_OBJECT for null or the
  // null id, KTERROR_UNEXPECTED when another wrapper is registered under the id, each with a line
  // at level 6; a failing look-up of the type throws its status.
  KtStatus Add(std::unique_ptr<CKtObject>&& object) KT_EXCLUDES(lock_);

  // Takes a wrapper out and gives it back to the caller, unless it is queued as well, because its
  // name could not be had: then the next flush frees it all the same. Returns 0, or
  // KTERROR_NO_OBJECT with a line at level 6: for null, for the null id, for a type without a list,
  // for a wrapper missing from its list. The id is gone from the object map in the last two cases
  // too: it goes before the type is asked for, on purpose. A failing look-up of the type throws its
  // status.
  KtStatus Remove(CKtObject* object) KT_EXCLUDES(lock_);

  // Deletes the bus object of a registered wrapper and queues the wrapper. Does nothing when the
  // wrapper is not the one registered under its id. Whatever fails half-way is dropped: the wrapper
  // stays queued, is freed by the next flush all the same, and there is no second attempt at its
  // bus object. Without memory for the queue it stays registered alone. Returns 0.
  KtStatus LazyDelete(CKtObject* object) noexcept KT_EXCLUDES(lock_);

  // Frees every queued wrapper in order of ids, those included that a destructor queues meanwhile.
  // A destructor that throws is traced and the next wrapper's turn comes. Returns 0. Not to be
  // called under a lock that comes after the activity lock.
  KtStatus FlushLazyDeleteQueue() noexcept KT_EXCLUDES(lock_);

  // The same for who holds the activity lock already: the control manager, at the end of the last
  // call.
  void FlushInActivityLock() noexcept KT_EXCLUDES(lock_);

  // Deletes every registered wrapper in order of ids, then those that a destructor registered
  // meanwhile, and forgets the container, so that Instance() makes a new one. The queue is left as
  // it is: its wrappers go when the module is detached. What a wrapper's destructor throws passes
  // out, with the rest still registered; nothing else is thrown, and no memory is needed.
  void Shutdown() KT_EXCLUDES(lock_);

  // Whether Shutdown() deletes wrappers (true from the start). A provider that frees its wrappers
  // itself switches it off.
  void SetEnabled(bool enabled) noexcept KT_EXCLUDES(lock_);

  // ---- Inspection. Nothing is inserted.
  struct Counts {
    std::size_t object_slots = 0;  // keys of the object map, null entries included
    std::size_t objects = 0;       // wrappers in the object map
    std::size_t type_slots = 0;    // keys of the type map, null entries included
    std::size_t queued = 0;        // wrappers that await the flush
  };
  [[nodiscard]] Counts Count() const noexcept KT_EXCLUDES(lock_);

  // The wrapper registered under the id, lent; null when there is none.
  [[nodiscard]] CKtObject* Find(const KtObjId& id) const noexcept KT_EXCLUDES(lock_);

  // The wrappers of exactly this type in order of registration, lent. Throws std::bad_alloc.
  [[nodiscard]] std::vector<CKtObject*> OfType(std::string_view type_name) const KT_EXCLUDES(lock_);

 private:
  using List = std::vector<CKtObject*>;
  struct Slot {
    CKtObject* object = nullptr;
    List* list = nullptr;  // the list of its type
    bool going = false;    // its destructor runs
  };
  struct Queued {
    CKtObject* object;
    List* list;  // the list that may still name it; null once Remove() has taken it out
  };

  CKtCustomObjectContainer();

  KtStatus AddLocked(std::unique_ptr<CKtObject>&& object) KT_REQUIRES(lock_);
  KtStatus RemoveLocked(CKtObject* object) KT_REQUIRES(lock_);
  void LazyDeleteLocked(CKtObject* object) noexcept KT_REQUIRES(lock_);
  [[nodiscard]] Queued& QueueLocked(const KtObjId& id, const Slot& slot) KT_REQUIRES(lock_);
  void DrainQueueLocked() noexcept KT_REQUIRES(lock_);
  void DeleteObjectsLocked() KT_REQUIRES(lock_);
  void DeleteLocked(KtObjId id, Slot slot) KT_REQUIRES(lock_);
  void MarkGoingLocked(const KtObjId& id, const CKtObject* object) noexcept KT_REQUIRES(lock_);
  void ForgetLocked(const KtObjId& id, std::uintptr_t address, List* list) noexcept
      KT_REQUIRES(lock_);

  mutable kt::Lock lock_ KT_ACQUIRED_AFTER(kt::rank::container){kt::LockRank::kContainer};
  bool enabled_ KT_GUARDED_BY(lock_) = true;
  bool forgotten_ KT_GUARDED_BY(lock_) = false;
  std::map<KtObjId, Slot, kt::ObjIdLess> objects_ KT_GUARDED_BY(lock_);
  std::map<std::string, std::unique_ptr<List>, std::less<>> types_ KT_GUARDED_BY(lock_);
  // Two wrappers may be queued under one id (the first one's bus object could not be deleted).
  std::multimap<KtObjId, Queued, kt::ObjIdLess> queue_ KT_GUARDED_BY(lock_);

  static std::atomic<CKtCustomObjectContainer*> instance_;
};
