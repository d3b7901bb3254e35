// kt::EnteringCall counts a call of the host from before the shutting-down flag is looked at until
// the provider object is not needed for it any more, so that shutdown does not destroy the object
// under a call that has passed the flag.
//
//   const kt::EnteringCall call(kt::EnteringCall::Until::kHandedOver);
//   if (shutting_down) return KTERROR_PROVIDER_SHUTTING_DOWN;
//   return CKtProvider::Instance()->Control(request);
//
// A control and a notice are counted until a manager has taken them over; from there on the
// activity count knows of them, and shutdown waits for that with a bound. Every other call needs
// the object to its end.
//
// Threads:   any. One object belongs to one call on one thread; calls of one thread may be nested.
//            Shutdown may be called from within a call: it does not wait for its own thread.
//            Each thread has a place of its own, as long as no other one hashes to it, so that
//            threads that call at once do not wait for each other.
// Ownership: a few places for threads, and a chain through the calls' own stacks for those that
//            find theirs taken; nothing is allocated, and no lock of the framework is taken. A
//            thread leaves nothing behind in its thread-local storage.
// Failure:   nothing throws. The wait has a bound: a call that hangs before it is handed over does
//            not hold the shutdown up for ever.
#pragma once

#include <chrono>
#include <cstdint>

namespace kt {

struct CallPlace;

class EnteringCall {
 public:
  enum class Until : std::uint8_t { kHandedOver, kReturned };

  explicit EnteringCall(Until until) noexcept;
  ~EnteringCall();
  EnteringCall(const EnteringCall&) = delete;
  EnteringCall& operator=(const EnteringCall&) = delete;

  // Ends the count of this thread's innermost call, when that is one to be handed over. What the
  // managers call; without a call it does nothing.
  static void HandOver() noexcept;

  // Waits until no other thread's call is counted, or the bound has passed; true for the former.
  // Whoever sets the flag before calling this misses none that has seen it clear.
  [[nodiscard]] static bool WaitForOthers(std::chrono::milliseconds bound) noexcept;

  // Whether a thread is waiting, for tests.
  [[nodiscard]] static bool IsAwaited() noexcept;

 private:
  [[nodiscard]] bool TakePlace() noexcept;
  void LeavePlace() noexcept;
  [[nodiscard]] static bool OthersAreCounted() noexcept;

  EnteringCall* next_ = nullptr;  // in its place, or in the chain: the call that entered before
  CallPlace* place_ = nullptr;    // null: in the chain
  std::uintptr_t thread_;
  Until until_;
  bool counted_ = true;
};

}  // namespace kt
