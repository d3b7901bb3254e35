// Writes the service's own properties into property sets of the bus: the other direction of
// ReadPropertySet().
//
// Threads: as safe as the bus calls below.
// Failure: BusError with the status that the bus gives: 0xC1000013 for a name that is there, and
//          0x80070057 for a value that no property of its type can have (no value where one is
//          needed, a type that the bus does not know, sets nested deeper than it takes).
#pragma once

#include "ktbus3/ktbus3.h"
#include "owned_set.h"
#include "property_value.h"

namespace ktsvc {

// Adds the properties in their order; the ones before a failure stay.
void AddToPropertySet(KtPropset set, const PropertyList& list);

// A new set with these properties.
OwnedSet MakePropertySet(const PropertyList& list);

}  // namespace ktsvc
