// Properties as words of a command line: NAME:TYPE=VALUE.
//
// TYPE is a type of the table of docs/api.md, in either case. VALUE is
//   true or false for BOOLEAN,
//   decimal, or 0x and hexadecimal, for the numbers and TIME,
//   the text itself for STR and WSTR, base64 for BINARY, a GUID for GUID and KTOBJID,
//   JSON as that table has it for sets, messages and all lists.
//
// Threads: pure functions.
// Failure: Refusal (kExitWrongWords) that names the word and the column, counted in characters from
//          1, at which it goes wrong.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "property_json.h"

namespace ktctl {

using ktsvc::Json;

// A property that may be given as NAME=VALUE, by a name that reads well.
struct KnownArgument {
  std::string_view name;                                           // "level"
  std::string_view property;                                       // "tracelevel"
  std::string_view type;                                           // "UINT32"
  std::uint64_t most = std::numeric_limits<std::uint64_t>::max();  // the largest number it takes
};

// The property as the API takes it, checked.
Json ReadArgument(const std::string& word, std::span<const KnownArgument> known = {});

// All of them as the API takes a property set. A name that is there twice is refused.
Json ReadArguments(std::span<const std::string> words, std::span<const KnownArgument> known = {});

}  // namespace ktctl
