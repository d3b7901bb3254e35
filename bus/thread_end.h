// Something to be done when a thread ends.
//
// The language's own way, an object of the thread with a destructor, ends the process where the
// system finds no memory to remember it, and it would be needed by the very calls that tell their
// callers that there is no memory.
//
// Threads: from any thread, for itself.
#pragma once

namespace kt::bus {

#ifndef _WIN32
// The same for a function that is known at run time only.
bool CallAtThreadEnd(void (*function)() noexcept) noexcept;
#endif

// Has the function called when this thread ends, after the destructors of its objects where the
// system lets it choose. To be asked for once by each thread. False where that cannot be had:
// nothing will be called. Threads that still run when the process ends call nothing. On Windows
// the function may find what its thread kept for itself as it was at the thread's beginning.
template <void (*kFunction)() noexcept>
bool CallAtThreadEnd() noexcept {
#ifdef _WIN32
  // Without anything of its own: the run time may have taken back the thread's room by then.
  struct AtEnd {
    AtEnd() noexcept {}
    AtEnd(const AtEnd&) = delete;
    AtEnd& operator=(const AtEnd&) = delete;
    ~AtEnd() { kFunction(); }
  };
  thread_local AtEnd at_end;
  static_cast<void>(at_end);
  return true;
#else
  return CallAtThreadEnd(kFunction);
#endif
}

}  // namespace kt::bus
