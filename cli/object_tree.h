// Objects and their children as a tree of lines.
//
// An object that has several parents is shown whole below the first, and mentioned below the
// others. Providers decide how deep a tree is: below a level the lines stay where they are and say
// their level.
//
// Threads: pure function.
#pragma once

#include <string>
#include <vector>

#include "property_json.h"
#include "screen.h"

namespace ktctl {

using ktsvc::Json;

// The tree below the object with the id `root`, or, when that is "", below all that are nobody's
// children.
std::string ObjectTreeText(const std::vector<Json>& objects, const std::string& root,
                           const Screen& screen);

}  // namespace ktctl
