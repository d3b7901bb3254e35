// Owners for what the framework hands out. The raw pointer lives for one statement; the owner's
// type names the function that releases it.
#pragma once

#include <memory>
#include <utility>

#include "ktbus3/ktbus3.h"

namespace kt {

// A deleter that calls one framework function. A release that fails has nobody to tell: the
// framework reports it in its own ledger.
template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* pointer) const noexcept {
    static_cast<void>(Release(pointer));
  }
};

// A found record with the property sets that it carries.
using FoundProperty = std::unique_ptr<cuvo_property, Releaser<PsFreeProperty>>;

// A found record without them: the nested sets live on and pass to us.
using FoundRecordOnly = std::unique_ptr<cuvo_property, Releaser<_KtFree>>;

// Blocks of the framework's memory: texts and lists.
template <typename T>
using FrameworkBlock = std::unique_ptr<T, Releaser<_KtFree>>;
using FrameworkText = FrameworkBlock<char>;
using FrameworkWideText = FrameworkBlock<KtWchar>;

// A handle that is ours to release: moves, never copies.
template <typename Handle, auto Release>
class OwnedHandle {
 public:
  OwnedHandle() = default;
  explicit OwnedHandle(Handle handle) noexcept : handle_(handle) {}
  OwnedHandle(OwnedHandle&& other) noexcept : handle_(other.release()) {}
  OwnedHandle& operator=(OwnedHandle&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  OwnedHandle(const OwnedHandle&) = delete;
  OwnedHandle& operator=(const OwnedHandle&) = delete;
  ~OwnedHandle() { reset(); }

  [[nodiscard]] Handle get() const noexcept { return handle_; }
  explicit operator bool() const noexcept { return handle_ != nullptr; }

  // The place for a framework function to write a handle to; what was held is released first.
  [[nodiscard]] Handle* out() noexcept {
    reset();
    return &handle_;
  }
  [[nodiscard]] Handle release() noexcept { return std::exchange(handle_, nullptr); }
  void reset(Handle handle = nullptr) noexcept {
    if (Handle old = std::exchange(handle_, handle)) static_cast<void>(Release(old));
  }

 private:
  Handle handle_ = nullptr;
};

// A property set, destroyed with PsDestroyPropset.
using OwnedPropset = OwnedHandle<KtPropset, PsDestroyPropset>;

// An iterator, closed with KtCloseHandle.
using OwnedIterator = OwnedHandle<KtIterator, KtCloseHandle>;

}  // namespace kt
