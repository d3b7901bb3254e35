// A soak, from the start of the service to the verdict.
//
// Threads: the caller's, and those of the load.
// Failure: what the service does wrong is in the verdict; std::runtime_error when nothing can be
//          done at all: the folder cannot be written, the service does not start.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>

#include "soak/verdict.h"
#include "stop_signal.h"
#include "stress/service_under_test.h"

namespace soak {

struct Wish {
  stress::Build build;
  std::filesystem::path out;  // the folder of the CSV, the picture and the verdict
  std::chrono::duration<double> time{};
  std::chrono::milliseconds sample{5000};
  std::chrono::milliseconds pause{25};  // of a client, between two requests
  std::chrono::seconds restart{60};     // between two restarts of a provider
  std::size_t clients = 8;
  std::uint32_t failOneIn = 100;
  unsigned lives = 1;  // of the service
  std::uint64_t seed = 1;
  bool judge = true;  // what grows, too
};

// Until the time is over or `stop` is requested. Progress goes to standard error.
Verdict Run(const Wish& wish, ktsvc::StopSignal& stop);

}  // namespace soak
