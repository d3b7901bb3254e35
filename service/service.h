// RunService: a whole life of the service, from opening the bus to the ledger.
//
// Threads: call it from the main thread; it returns when the life is over.
// Failure: what a provider does wrong is reported and becomes the exit status; an exception means
//          that the service itself could not work.
#pragma once

#include "options.h"
#include "progress.h"
#include "stop_signal.h"

namespace ktsvc {

// Loads the providers, serves until the signal (or goes through --once), shuts down, prints the
// results; returns the exit status of the program.
int RunService(const Options& options, Progress& progress, StopSignal& stop);

}  // namespace ktsvc
