// CallGate: the listeners that see every call between a module and the framework.
//
// Threads:   listeners are called on the callers' threads, several at once.
// Ownership: the listeners are lent, and must outlive the gate. One gate at a time.
#pragma once

#include <vector>

#include "ktbus3/ktbus3_host.h"

namespace ktcheck {

class CallListener {
 public:
  CallListener() = default;
  virtual ~CallListener() = default;
  CallListener(const CallListener&) = delete;
  CallListener& operator=(const CallListener&) = delete;

  // True: the call has been answered here and is not made.
  virtual bool Before(KtBusCall& call) = 0;
  virtual void After(const KtBusCall& call) = 0;
};

class CallGate {
 public:
  // The listeners are asked in this order; the call is made when none has answered it. Throws
  // ktsvc::BusError.
  explicit CallGate(std::vector<CallListener*> listeners);
  ~CallGate();
  CallGate(const CallGate&) = delete;
  CallGate& operator=(const CallGate&) = delete;

 private:
  std::vector<CallListener*> listeners_;
};

// ---- What calls are ----------------------------------------------------------------------------

// A call of the framework that gives something back.
bool IsRelease(const KtBusCall& call) noexcept;

// Whether it answered well, and was made.
bool Succeeded(const KtBusCall& call) noexcept;

// The pointer or handle that the word of a call holds.
template <typename Pointer>
Pointer PointerIn(const KtBusWord& word) noexcept {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the framework shows pointers as numbers
  return reinterpret_cast<Pointer>(word.value);
}

// The call by one of its names.
bool IsCallOf(const KtBusCall& call, const char* function) noexcept;

}  // namespace ktcheck
