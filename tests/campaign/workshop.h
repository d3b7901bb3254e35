// The provider of the campaigns: a life in which it uses all that the toolkit has. What it is asked
// for comes as controls, one for each part; what fails in it it answers as any provider would.
#pragma once

#include <cstdint>

#include "ktbus3/ktbus3.h"

namespace workshop {

inline constexpr KtGuid kInterface{
    0x5D7B8A11, 0x1C42, 0x4F0E, {0x9B, 0x20, 0x6E, 0x2F, 0x41, 0x77, 0x0A, 0x35}};

// Each control does its part from beginning to end.
enum Control : std::uint32_t {
  kProperties = 1,  // reads and writes a property of each kind, and their text
  kRegistration,    // controls, filters and listeners come and go
  kObjects,         // objects are made, changed in transactions, kept, and deleted in time
  kAlerts,          // alerts are published, raised and withdrawn
  kMessages,        // messages with insertions are made, copied, formatted and read back
  kWorkers,         // worker threads come and go
  kAfterTheLast
};

inline constexpr const char* kEvent = "event.workshop.bench.ready";

}  // namespace workshop
