// Children whose parent has ended. A provider may start a program and not wait for it; the system
// hands it to the nearest ancestor that takes orphans, which must collect it when it ends.
#pragma once

#include <functional>

namespace ktsvc {

// Runs `service` and returns its status.
//
// Usually in this process. Where this process is the one that takes orphans (process 1, as in a
// container, or a child subreaper), `service` runs in a child process and this one does nothing but
// collect what ends and pass on the signals that somebody sends; Ctrl-C reaches both by itself. The
// status of a service that a signal ended is 128 and the signal's number.
//
// Threads: call before any thread is started. Errors: std::system_error when no process can be
// made.
int RunBesideReaper(const std::function<int()>& service);

}  // namespace ktsvc
