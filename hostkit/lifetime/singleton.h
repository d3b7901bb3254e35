// The one way in which the process-wide managers come and go.
//
// A manager stands behind a plain global pointer, created by whoever needs it first. Several
// threads may be first: each makes one, one pointer wins by compare-exchange, the others' are
// deleted before anybody has seen them. Constructors of managers therefore have no effect outside.
#pragma once

#include <atomic>
#include <memory>

namespace kt {

// The object behind `slot`, made by `make` (returning std::unique_ptr<T>) when there is none yet.
// Any thread. Throws what `make` throws (std::bad_alloc).
template <typename T, typename Make>
[[nodiscard]] T& InstanceOf(std::atomic<T*>& slot, Make make) {
  if (T* const existing = slot.load(std::memory_order_acquire)) return *existing;
  std::unique_ptr<T> mine = make();
  T* expected = nullptr;
  if (!slot.compare_exchange_strong(expected, mine.get(), std::memory_order_acq_rel)) {
    return *expected;
  }
  return *mine.release();
}

// Deletes the object behind `slot`, and again whatever its destructor has made somebody create.
// For module detach, when no other thread is inside the module.
template <typename T>
void ReleaseInstanceOf(std::atomic<T*>& slot) noexcept {
  while (T* const instance = slot.exchange(nullptr, std::memory_order_acq_rel)) delete instance;
}

}  // namespace kt
