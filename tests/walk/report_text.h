// What a walk has done, as text and as JSON.
//
// Threads: pure functions.
#pragma once

#include <cstdint>
#include <string>

#include "property_json.h"
#include "walk/walker.h"

namespace walk {

// "control 11005, selector 0, interface system, on objects of type qelm_system".
std::string ControlText(const ControlKey& control);

std::string ReportText(const WalkReport& report, std::uint64_t seed, double seconds);
ktsvc::Json ReportJson(const WalkReport& report, std::uint64_t seed, double seconds);

}  // namespace walk
