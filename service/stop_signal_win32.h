// The handler of console events behind StopSignal, for tests that play the system.
#pragma once

namespace ktsvc {

// What the system calls, on a thread of its own, with CTRL_C_EVENT and the like. True when a
// StopSignal lives. For an event after which the system ends the process, it returns only when that
// StopSignal has gone.
int __stdcall HandleConsoleEvent(unsigned long event);

}  // namespace ktsvc
