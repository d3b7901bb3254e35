// Things that must outlive the pointer through which they were reached.
//
// A manager that clears its global pointer while its own lock is held may still have threads
// waiting at that lock; a control map is the context of handlers that may still run. Such things
// are retired: kept, unreachable for new callers, until the module is detached, when no thread can
// be inside it.
//
// Threads:   Retire from any thread; ReleaseRetired once, at module detach.
// Ownership: the retired thing passes to the list and is deleted by it.
// Failure:   nothing throws. Without memory for the note one of 32 notes is taken that are always
//            there, far more than a life needs; when these are used up too, the thing stays
//            allocated for good. A destructor that throws at release is contained.
#pragma once

#include <memory>

namespace kt {

// Retires what no unique_ptr holds: ReleaseRetired() calls `destroy` with `thing`, which is not
// looked at and may be null; `destroy` is not null.
void RetireRaw(void* thing, void (*destroy)(void*)) noexcept;

// The same for an object with an owner; a null one is left alone.
template <typename T>
void Retire(std::unique_ptr<T> thing) noexcept {
  if (thing == nullptr) return;
  RetireRaw(thing.release(), [](void* pointer) { delete static_cast<T*>(pointer); });
}

// Deletes everything retired so far, the last one first.
void ReleaseRetired() noexcept;

}  // namespace kt
