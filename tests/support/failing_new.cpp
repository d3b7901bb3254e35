#include "support/failing_new.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local int g_allowed = -1;  // negative: none fails
thread_local bool g_failed = false;
thread_local bool g_refuse_arrays = false;

void* Allocate(std::size_t size) {
  if (g_allowed >= 0 && g_allowed-- == 0) {
    g_failed = true;
    throw std::bad_alloc();
  }
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

namespace support {

FailAllocation::FailAllocation(int after) noexcept {
  g_allowed = after;
  g_failed = false;
}

bool FailAllocation::Happened() const noexcept {
  return g_failed;
}

FailAllocation::~FailAllocation() {
  g_allowed = -1;
}

int Suspend() noexcept {
  return std::exchange(g_allowed, -1);
}

void Resume(int allowed) noexcept {
  g_allowed = allowed;
}

RefuseArrays::RefuseArrays() noexcept {
  g_refuse_arrays = true;
}

RefuseArrays::~RefuseArrays() {
  g_refuse_arrays = false;
}

}  // namespace support

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return Allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return g_refuse_arrays ? nullptr : operator new(size, tag);
}
// The memory resources of the standard library ask for an alignment, always one that malloc gives.
void* operator new(std::size_t size, std::align_val_t alignment) {
  if (static_cast<std::size_t>(alignment) > alignof(std::max_align_t)) throw std::bad_alloc();
  return Allocate(size);
}
void operator delete(void* block, std::align_val_t) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  std::free(block);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}
