// The one way in which the process-wide objects come and go: the managers and the provider.
//
// Each stands behind a plain global pointer, created by whoever needs it first. Several threads may
// be first: each makes one, one pointer wins by compare-exchange, the others' are deleted before
// anybody has seen them. Constructors therefore have no effect outside.
#pragma once

#include <atomic>
#include <memory>

namespace kt {

// The object behind `slot`, made by `make` (returning std::unique_ptr<T>, null when it cannot) when
// there is none yet; null only when there was none at the end either. Any thread. Throws what
// `make` throws.
template <typename T, typename Make>
[[nodiscard]] T* FindOrMake(std::atomic<T*>& slot, Make make) {
  if (T* const existing = slot.load(std::memory_order_acquire)) return existing;
  std::unique_ptr<T> mine = make();
  T* standing = nullptr;
  if (mine == nullptr) return slot.load(std::memory_order_acquire);
  if (!slot.compare_exchange_strong(standing, mine.get(), std::memory_order_acq_rel)) {
    return standing;
  }
  return mine.release();
}

// The same for a `make` that throws instead of returning null.
template <typename T, typename Make>
[[nodiscard]] T& InstanceOf(std::atomic<T*>& slot, Make make) {
  return *FindOrMake(slot, make);
}

// The manager, or null where there is none and no memory for one: for the ends of things, which
// have nothing to do with a manager that does not exist and nobody to tell.
template <typename Manager>
[[nodiscard]] Manager* InstanceOrNull() noexcept {
  try {
    return &Manager::Instance();
  } catch (...) {
    return nullptr;
  }
}

// Deletes the object behind `slot`, and again whatever its destructor has made somebody create.
// For module detach, when no other thread is inside the module.
template <typename T>
void ReleaseInstanceOf(std::atomic<T*>& slot) noexcept {
  while (T* const instance = slot.exchange(nullptr, std::memory_order_acq_rel)) delete instance;
}

}  // namespace kt
