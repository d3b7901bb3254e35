// The management API as the service runs it: who may do what, the record of what was done, the
// streams and the server, put together from the options.
#pragma once

#include <memory>

#include "management.h"
#include "options.h"
#include "progress.h"
#include "stop_signal.h"

namespace ktsvc::api {

// Reads the access file and the token file and opens the audit log. Null where the options want no
// management. Throws CommandLineEnd when one of the files cannot be used, with where and why.
std::unique_ptr<Management> MakeManagement(const Options& options, Progress& progress);

}  // namespace ktsvc::api
