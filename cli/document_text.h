// Parts of the service's documents (docs/api.md) as people read them.
//
// Everything that a provider chose is made printable on the way: control characters are escaped,
// malformed text is shown by its bytes.
//
// Threads: pure functions.
// Failure: Json's own exceptions for a document that lacks what the API promises.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "property_json.h"

namespace ktctl {

using ktsvc::Json;

// A text, or {"base64"} in its place; "" for null.
std::string TextOf(const Json& json);

// A whole number from 0 on. A fraction, a negative number and one beyond 64 bits are refused as a
// value of another type is.
std::uint64_t NumberOf(const Json& json);

// The value of a property: quoted texts, lists in brackets (service/property_text.h has the table).
std::string ValueOf(const Json& property);

// The same for a program that reads lines: a text without quotes, a list with one element a line.
std::vector<std::string> LinesOf(const Json& property);

// A property set in one line: {name:TYPE=value, ...}.
std::string SetOf(const Json& properties);

// "0xC1000005 KTERROR_WRONG_PROVIDER (asked for a provider of another name)".
std::string StatusOf(const Json& status);

// The text of the property "Name" of an object; "" when it has none.
std::string NameOf(const Json& object);

// The names of interfaces, "disk, rescan", ids where they have none.
std::string InterfacesOf(const Json& interfaces);

// "0.4 ms", "1.5 s", "2 h 5 min"; what is longer than any service has run is cut to a million days.
std::string DurationText(double seconds);

// "1 object", "2 objects".
std::string CountText(const Json& number, const std::string& thing);

}  // namespace ktctl
