// A property's value as a program reads it: one JSON form for each type, and nothing is lost.
//
// A property is {"name", "type", "value"}, and "flags" where they are not 0; a property set is the
// array of its properties, in its order. "type" is the name that TypeName() gives.
//
// | Type                   | "value"                                                            |
// |------------------------|--------------------------------------------------------------------|
// | BOOLEAN                | true, false                                                        |
// | INT32, UINT32          | number                                                             |
// | INT64, UINT64, TIME    | decimal text: a JSON number is no safe place for 64 bits           |
// | STR, WSTR              | text                                                               |
// | BINARY                 | base64 text                                                        |
// | GUID, KTOBJID          | text, "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}"                     |
// | PROPSET                | array of properties                                                |
// | I18N                   | {"catalog", "messageId", "name"}                                   |
// | I18NFORMATSTRING       | {"message": as I18N, "insertions": array or null, "text": rendered} |
// | lists                  | array of the above                                                 |
// | no value, unknown type | null                                                               |
//
// Wherever a text is expected and the bytes are not well-formed UTF-8 or UTF-16, the text's place
// is taken by {"base64": "..."} with the bytes themselves (UTF-16: low byte first).
//
// Threads: pure functions.
#pragma once

#include <nlohmann/json.hpp>

#include "property_value.h"

namespace ktsvc {

// Members stay in the order in which they are written.
using Json = nlohmann::ordered_json;

// The value alone.
Json ValueJson(const Property& property);

// The whole property, and a whole set.
Json PropertyJson(const Property& property);
Json PropertyListJson(const PropertyList& list);

// A text that may be malformed.
Json TextJson(const std::string& text);
Json TextJson(const KtWString& text);

// {"code": number, "hex": "0x...", "name": text or null, "fails": true or false}.
Json StatusJson(KtStatus status);

}  // namespace ktsvc
