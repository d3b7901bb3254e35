// One run of many clients against the service, from its start to its end.
//
// Two phases of the same length: in the first all clients read their streams, in the second one
// does not. At the end that one reads on and must find out what it has missed; then the service is
// stopped, and must end well with nothing kept.
//
// Threads: one for each client, and the caller's.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "stress/service_under_test.h"

namespace stress {

struct Wish {
  Build build;
  std::chrono::seconds time{};
  std::size_t clients = 0;
};

// Does it and prints what was seen; the faults, none when all went well.
std::vector<std::string> Run(const Wish& wish);

}  // namespace stress
