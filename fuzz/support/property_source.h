// Properties of every type from the bytes of a fuzz input, as values that are compared with what
// comes back.
//
// Texts hold no zero, names differ within a set, and sets are nested as deep as `depth` says, so
// that the bus must take every one of them.
//
// Threads: as the source.
#pragma once

#include <string>

#include "property_value.h"
#include "support/byte_source.h"

namespace kt::fuzz {

// Up to 8 properties.
ktsvc::PropertyList ReadProperties(ByteSource& source, unsigned depth);

// One of any type with that name.
ktsvc::Property ReadProperty(ByteSource& source, std::string name, unsigned depth);

ktsvc::Message ReadMessage(ByteSource& source);

// A type code that a property can have.
std::uint32_t ReadType(ByteSource& source);

}  // namespace kt::fuzz
