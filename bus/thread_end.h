// Something to be done when a thread ends.
//
// The language's own way, an object of the thread with a destructor, ends the process where the
// system finds no memory to remember it, and it would be needed by the very calls that tell their
// callers that there is no memory.
//
// Threads: from any thread, for itself.
#pragma once

namespace kt::bus {

// Has the function called when this thread ends, after the destructors of its objects where the
// system lets it choose. To be asked for once by each thread. False where that cannot be had:
// nothing will be called. Threads that still run when the process ends call nothing.
#ifdef _WIN32
// Never there: the run time may take back what a thread keeps for itself before it calls anything.
inline bool CallAtThreadEnd(void (* /*function*/)() noexcept) noexcept {
  return false;
}
#else
bool CallAtThreadEnd(void (*function)() noexcept) noexcept;
#endif

}  // namespace kt::bus
