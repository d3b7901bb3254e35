// What is on the bus, for a person: types by inheritance, objects by parent and child, with their
// properties and the interfaces that they offer.
//
// A type with several superclasses stands under the first of them; an object with several parents
// is shown whole under the first and named under the others.
//
// However deep a tree is: from the 33rd level on the lines are no further to the right and say
// their level instead.
//
// Threads: pure functions.
#pragma once

#include <string>

#include "bus_snapshot.h"

namespace ktsvc {

// The sections "Types" and "Objects", each ended by an empty line.
std::string TypesText(const BusSnapshot& snapshot);
std::string ObjectsText(const BusSnapshot& snapshot);

}  // namespace ktsvc
