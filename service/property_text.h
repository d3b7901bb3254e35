// A property's value as a person reads it.
//
// | Type                     | Text                                                              |
// |--------------------------|-------------------------------------------------------------------|
// | booleans                 | true, false                                                       |
// | numbers, times           | decimal                                                           |
// | STR, WSTR                | "quoted", with \" \\ \n \t and \xNN for control characters        |
// | BINARY                   | 00ab10 (3 bytes)                                                  |
// | GUID, KTOBJID            | {9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}                            |
// | PROPSET                  | {name:TYPE=value, name:TYPE=value}                                |
// | I18N                     | "text" (message 7 of {catalog})                                   |
// | I18NFORMATSTRING         | "rendered text" (message 7 of {catalog}: "text" with {insertions}) |
// | lists                    | [value, value]                                                    |
// | no value                 | (none)                                                            |
// | text that is not UTF-8/16| (malformed text, bytes ff00)                                      |
//
// Threads: pure functions.
#pragma once

#include <string>

#include "property_value.h"

namespace ktsvc {

// The value alone; the table above.
std::string ValueText(const Property& property);

// A whole set in one line: {name:TYPE=value, ...}.
std::string PropertyListText(const PropertyList& list);

// UTF-8 in double quotes, escaped as the table says.
std::string QuotedText(const std::string& text);

// A name that came from a provider (of a property, a type, an interface's owner), without quotes: a
// backslash and control characters are escaped as in a value, malformed text is shown by its bytes.
std::string NameText(const std::string& name);

// UTF-8 for a person's eyes: control characters are escaped as in a value, all else stays as it is.
std::string PrintableText(const std::string& text);

// The text of a message with its placeholders %1, %2 ... replaced by the values of the insertions
// p1, p2 ... (texts without their quotes). A placeholder without an insertion stays as it is; %%
// is one percent sign.
std::string RenderMessage(const FormatMessage& message);

}  // namespace ktsvc
