// RunService: a whole life of the service, from opening the bus to the ledger.
//
// Threads: call it from the main thread; it returns when the life is over.
// Failure: what a provider does wrong is reported and becomes the exit status; an exception means
//          that the service itself could not work.
#pragma once

#include <functional>
#include <memory>

#include "management.h"
#include "options.h"
#include "progress.h"
#include "stop_signal.h"

namespace ktsvc {

// Loads the providers, serves until the signal (or goes through --once), shuts down, prints the
// results; returns the exit status of the program. `makeManagement` is called once, before the bus
// is opened; null, or what gives null, for a service that nobody can talk to.
using ManagementMaker =
    std::function<std::unique_ptr<Management>(const Options& options, Progress& progress)>;
int RunService(const Options& options, Progress& progress, StopSignal& stop,
               const ManagementMaker& makeManagement);

}  // namespace ktsvc
