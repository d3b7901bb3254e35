// BusFigures: what the bus counts for each provider that is attached now.
//
// Threads: as safe as the bus.
// Failure: BusError.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "ktbus3/ktbus3.h"

namespace ktsvc::api {

struct BusFigures {
  std::uint64_t controls = 0;  // sent to it
  std::uint64_t exceptions = 0;
  std::uint64_t callsInFlight = 0;
  std::uint64_t noticesDelivered = 0;
  std::uint64_t noticesWaiting = 0;
  std::uint64_t subscriptions = 0;
};

// By the provider's name.
std::map<std::string, BusFigures> ReadBusFigures(KtDatabase database);

}  // namespace ktsvc::api
