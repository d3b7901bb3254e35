// CKtThreadContainer knows the provider's worker threads, so that shutdown can stop them all before
// the rest of the provider is taken down.
//
// Threads:   any member from any thread. The lock is held while the workers are asked and never
//            while waiting, so a worker that needs the container to finish can still have it. A
//            worker may add or remove workers, itself included, while it is being asked.
// Ownership: workers are lent; the container neither starts nor destroys them. A worker must be
//            removed before it goes; Remove() returns when nobody is asking it any more.
// Failure:   Add() throws std::bad_alloc. StopAll() needs no memory; it gives up after 60 s, says
//            so in the trace, and returns.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/lock.h"
#include "lifetime/worker.h"

class CKtThreadContainer {
 public:
  // Fixed values, not settings.
  static constexpr std::uint32_t kPollMs = 50;
  static constexpr std::uint32_t kLimitMs = 60'000;

  // The container, created on first use. Throws std::bad_alloc.
  [[nodiscard]] static CKtThreadContainer& Instance();

  // Deletes the container, for module detach. The workers are left alone.
  static void ReleaseInstance() noexcept;

  ~CKtThreadContainer();
  CKtThreadContainer(const CKtThreadContainer&) = delete;
  CKtThreadContainer& operator=(const CKtThreadContainer&) = delete;

  // Appends a worker; one that is there already stays where it is. Throws std::bad_alloc.
  void Add(CKtWorker& worker) KT_EXCLUDES(lock_);

  // Takes a worker out. One that is not there is no error.
  void Remove(CKtWorker& worker) noexcept KT_EXCLUDES(lock_);

  // Requests the stop of every worker once, in order of registration, then asks all of them every
  // kPollMs whether they have stopped, until all have or more than kLimitMs have been waited. The
  // workers stay in the container. One that is added while the others are asked is asked the next
  // time.
  void StopAll() noexcept KT_EXCLUDES(lock_);

  // The number of workers registered.
  [[nodiscard]] std::size_t Count() const noexcept KT_EXCLUDES(lock_);

 private:
  CKtThreadContainer() = default;

  [[nodiscard]] bool ContainsLocked(const CKtWorker* worker) const noexcept KT_REQUIRES(lock_);
  [[nodiscard]] std::size_t RequestStopOfAll() noexcept KT_EXCLUDES(lock_);
  [[nodiscard]] bool AllStopped() noexcept KT_EXCLUDES(lock_);
  template <typename Visit>
  void VisitLocked(Visit visit) noexcept KT_REQUIRES(lock_);

  // In order of registration. A worker that is taken out during a walk leaves null behind until the
  // walk is over, so that the walk needs no copy.
  std::vector<CKtWorker*> workers_ KT_GUARDED_BY(lock_);
  std::size_t walks_ KT_GUARDED_BY(lock_) = 0;
  mutable kt::Lock lock_{kt::LockRank::kLeaf};

  static std::atomic<CKtThreadContainer*> instance_;
};
