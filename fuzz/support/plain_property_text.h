// The text form of a property set once more, as plainly as possible, for comparison with the
// toolkit's.
//
// Threads: pure functions.
#pragma once

#include <optional>
#include <string>

#include "property_value.h"

namespace kt::fuzz {

// "{Name = x, Size = 5}"; nothing where the form ends with a status: a list of times, a property
// set that is none.
std::optional<std::string> PlainSetText(const ktsvc::PropertyList& list, bool show_type);

// Of one property.
std::optional<std::string> PlainPropertyText(const ktsvc::Property& property, bool show_type);

// "messageId=7, name="text", catalog={...}".
std::string PlainMessageText(const ktsvc::Message& message);

}  // namespace kt::fuzz
