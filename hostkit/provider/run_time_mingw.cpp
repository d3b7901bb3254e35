// MinGW-w64's run-time library, linked into the module. It was made for programs and for libraries
// that stay: what it takes it keeps. A module that is loaded and unloaded for ever gives it back
// itself:
//   - memory comes from a heap of the module's own, which goes with the module. So do the records
//   of
//     threads that have seen an exception and the insides of locks, which nothing else would free;
//   - slots of thread-local storage are remembered and freed;
//   - the thread library holds a handle of each thread that has seen an exception. It closes it
//   when
//     it hears that the thread ends; the module asks the system for no notices of threads, so it
//     hears of it through a slot of fiber-local storage, which has a call-back of its own.
#include "provider/run_time.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

extern "C" BOOL WINAPI DllMainCRTStartup(HANDLE instance, DWORD reason, LPVOID reserved);
extern "C" const IMAGE_TLS_DIRECTORY _tls_used;

namespace {

// The slots of thread-local storage that the module's libraries have allocated. The thread library
// takes one with the first exception and never frees it; a process has about a thousand, and the
// thread library ends the process when there are none left.
constinit std::array<DWORD, 8> g_slots{};
constinit std::atomic<std::size_t> g_slot_count{0};

constinit HANDLE g_instance = nullptr;
constinit DWORD g_ends = FLS_OUT_OF_INDEXES;
constinit std::atomic<bool> g_releasing_ends{false};

// The system's own function, past the module's table of imports.
template <typename Function>
Function System(const char* name) noexcept {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

bool IsOwnSlot(DWORD slot) noexcept {
  const std::size_t count = std::min(g_slot_count.load(), g_slots.size());
  return std::find(g_slots.begin(), g_slots.begin() + count, slot) != g_slots.begin() + count;
}

DWORD WINAPI AllocateSlot() {
  const DWORD slot = System<DWORD(WINAPI*)()>("TlsAlloc")();
  if (slot == TLS_OUT_OF_INDEXES) return slot;
  const std::size_t place = g_slot_count.fetch_add(1);
  if (place < g_slots.size()) g_slots[place] = slot;
  return slot;
}

// Tells the run-time libraries that the calling thread is done with the module.
void ForgetThisThread() noexcept {
  const auto* callback = std::bit_cast<const PIMAGE_TLS_CALLBACK*>(_tls_used.AddressOfCallBacks);
  for (; *callback != nullptr; ++callback) (*callback)(g_instance, DLL_THREAD_DETACH, nullptr);
}

// Called as a thread ends, and at the release of the slot once for every thread, all on one thread.
void WINAPI ThreadEnds(void* /*marked*/) {
  if (!g_releasing_ends.load()) ForgetThisThread();
}

BOOL WINAPI SetSlot(DWORD slot, void* value) {
  const BOOL done = System<BOOL(WINAPI*)(DWORD, void*)>("TlsSetValue")(slot, value);
  if (done != 0 && value != nullptr && g_ends != FLS_OUT_OF_INDEXES && IsOwnSlot(slot)) {
    FlsSetValue(g_ends, value);
  }
  return done;
}

void FreeSlots() noexcept {
  const std::size_t count = g_slot_count.exchange(0);
  for (std::size_t i = 0; i < count && i < g_slots.size(); ++i) TlsFree(g_slots[i]);
}

// The module's own heap, made on first need. Nothing that another module frees may come from it,
// and nothing does: what crosses the border comes from the framework's allocator.
constinit std::atomic<HANDLE> g_heap{nullptr};

HANDLE Heap() noexcept {
  HANDLE heap = g_heap.load();
  if (heap != nullptr) return heap;
  const HANDLE made = HeapCreate(0, 0, 0);
  if (g_heap.compare_exchange_strong(heap, made)) return made;
  if (made != nullptr) HeapDestroy(made);
  return heap;
}

void* Allocate(std::size_t size, DWORD flags) noexcept {
  const HANDLE heap = Heap();
  return heap == nullptr ? nullptr : HeapAlloc(heap, flags, size);
}

void DestroyHeap() noexcept {
  const HANDLE heap = g_heap.exchange(nullptr);
  if (heap != nullptr) HeapDestroy(heap);
}

}  // namespace

// Stand in the module for the imports of those names, so that the libraries' calls come by here.
// (Not within braces of one extern "C": there a constant would be the file's own.)
extern "C" DWORD(WINAPI* const __imp_TlsAlloc)() = &AllocateSlot;
extern "C" BOOL(WINAPI* const __imp_TlsSetValue)(DWORD, void*) = &SetSlot;

// The C library's allocator, for everything that is linked into the module.
extern "C" {

void* malloc(std::size_t size) {
  return Allocate(size, 0);
}

void* calloc(std::size_t count, std::size_t size) {
  if (size != 0 && count > SIZE_MAX / size) return nullptr;
  return Allocate(count * size, HEAP_ZERO_MEMORY);
}

void* realloc(void* block, std::size_t size) {
  return block == nullptr ? Allocate(size, 0) : HeapReAlloc(Heap(), 0, block, size);
}

void free(void* block) {
  if (block != nullptr) HeapFree(Heap(), 0, block);
}

// Of the system's C library the one function that hands out a block to be freed and that the thread
// library calls.
char* CopyOfText(const char* text) __asm__("strdup");
char* CopyOfText(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  void* const copy = Allocate(size, 0);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

}  // extern "C"

namespace kt {

void NotifyRunTime(void* instance, std::uint32_t reason, void* reserved) noexcept {
  if (reason == DLL_PROCESS_ATTACH) {
    g_instance = instance;
    g_ends = FlsAlloc(&ThreadEnds);
  }
  const bool unloaded = reason == DLL_PROCESS_DETACH && reserved == nullptr;
  if (unloaded) {
    g_releasing_ends = true;
    if (g_ends != FLS_OUT_OF_INDEXES) FlsFree(g_ends);
    ForgetThisThread();
  }
  static_cast<void>(DllMainCRTStartup(instance, reason, reserved));
  if (!unloaded) return;
  FreeSlots();
  DestroyHeap();
}

}  // namespace kt
