// The trace-level control, sent to the system object through the bus as a client would.
//
// Threads: any; the control runs on the caller's.
// Failure: nothing is thrown for what the bus or the provider answers; BusError for a property set
//          that cannot be made.
#pragma once

#include <cstdint>
#include <optional>

#include "ktbus3/ktbus3.h"
#include "property_value.h"

namespace ktsvc {

inline constexpr const char* kSystemType = "qelm_system";
inline constexpr std::uint32_t kTraceLevelCode = 11005;

struct TraceLevelAnswer {
  std::optional<KtObjId> object;  // the system object; none when there is none to ask
  std::uint32_t level = 0;        // the level asked for
  KtStatus bus = 0;               // fails when the provider was not asked
  KtStatus provider = 0;          // what the provider answered
  std::optional<std::uint32_t> previous;
  PropertyList output;  // the whole output set

  // True when the control was sent and served.
  [[nodiscard]] bool Served() const noexcept;
};

// Asks the first system object to set the trace level, which must not be 0.
TraceLevelAnswer SendTraceLevel(KtDatabase database, std::uint32_t level);

}  // namespace ktsvc
