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
// The same forms are read. A 64-bit number may then also be a JSON number, the letters of a GUID
// may be of either case and its braces left out, and the rendered text of a message is passed over.
//
// Threads: pure functions.
#pragma once

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

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

// A place in a JSON document that does not hold what it should.
class JsonError : public std::runtime_error {
 public:
  // what() is "PLACE: REASON".
  JsonError(const std::string& place, const std::string& reason)
      : std::runtime_error(place + ": " + reason) {}
};

// Reads what PropertyJson() and PropertyListJson() write. `place` is the name of the JSON in
// messages: for "input" they speak of "input[2].value". Throws JsonError for what is no property: a
// member that is missing or unknown, a value that does not fit its type, a text with a zero in it
// (where the bus would end it), a name twice in one set, sets nested deeper than 64.
Property PropertyFromJson(const Json& json, const std::string& place = "property");
PropertyList PropertyListFromJson(const Json& json, const std::string& place = "properties");

// {"code": number, "hex": "0x...", "name": text or null, "fails": true or false}.
Json StatusJson(KtStatus status);

}  // namespace ktsvc
