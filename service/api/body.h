// The JSON body of a request, read with care: it comes from anyone who may connect.
//
// Threads: pure functions.
// Failure: HttpError, with the place of the fault.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "api/message.h"
#include "property_json.h"

namespace ktsvc::api {

// 415 for a body that is not said to be JSON, 413 for one beyond the limit; 400 for what is no
// JSON, bad UTF-8, nesting beyond the limit, a member twice in one object, and anything but an
// object at the top.
Json ParseBody(const Request& request);

// 400 when the object has a member beside these.
void RequireKnownMembers(const Json& body, std::initializer_list<std::string_view> known);

// The member as text that is not empty and has no zero character. 400 when it is missing.
std::string TextMember(const Json& body, const char* name);

// The member as a number of 32 bits.
std::uint32_t NumberMember(const Json& body, const char* name);

// The member as properties; none when it is missing.
PropertyList PropertiesMember(const Json& body, const char* name);

}  // namespace ktsvc::api
