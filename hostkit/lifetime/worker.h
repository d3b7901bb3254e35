// CKtWorker is what the thread container knows of a worker thread: it can be asked to stop, and it
// says when it has.
//
// A provider derives from it, starts its own thread, calls MarkRunning() before that thread touches
// anything, looks at IsStopRequested() in its loop, and calls MarkStopped() as the thread's last
// act. A worker that waits for something overrides RequestStop() to wake itself as well.
//
// Threads:   every member from any thread.
// Ownership: the provider's. A worker removes itself from the container before it goes.
// Failure:   nothing here throws, and no override may: shutdown has nobody to tell.
#pragma once

#include <atomic>

class CKtWorker {
 public:
  CKtWorker() = default;
  virtual ~CKtWorker() = default;
  CKtWorker(const CKtWorker&) = delete;
  CKtWorker& operator=(const CKtWorker&) = delete;

  // True once the thread has finished its work and will touch nothing more; true as well for a
  // worker that has not been started.
  [[nodiscard]] virtual bool IsStopped() const noexcept;

  // True once RequestStop() was called; the thread's loop asks this.
  [[nodiscard]] virtual bool IsStopRequested() const noexcept;

  // Asks the thread to finish and returns at once; must not block. Called with the container's lock
  // held.
  virtual void RequestStop() noexcept;

  // The thread is about to start: from now on IsStopped() is false. A stop that was requested
  // before stays requested.
  void MarkRunning() noexcept;

  // The thread's last act.
  void MarkStopped() noexcept;

 private:
  std::atomic<bool> stopped_{true};
  std::atomic<bool> stop_requested_{false};
};
