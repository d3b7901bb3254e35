// Objects as people name them.
//
// | Word                              | Names                                                    |
// |-----------------------------------|----------------------------------------------------------|
// | a GUID, any case, braces or not   | the object of that id                                    |
// | 4 or more digits of a GUID        | the one object whose id begins so                        |
// | TYPE                              | the one object of that type or of a type derived from it |
// | TYPE/NAME                         | the one of these whose property "Name" is NAME           |
//
// Threads: one.
// Failure: Refusal (kExitWrongWords): nothing is named so, or several are; these are then listed.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "property_json.h"

namespace ktctl {

using ktsvc::Json;

// What there is to choose from, asked for as far as it is needed.
struct BusContents {
  std::function<std::vector<Json>()> types;
  // Objects of the type and of types derived from it; "" for all.
  std::function<std::vector<Json>(const std::string& type)> objects;
};

// The id of the object, "{9452C1D7-...}". Whether an object has the id that a whole GUID gives is
// not looked up.
std::string FindObject(const std::string& word, const BusContents& contents);

// The digits of the beginning of an id, upper case and without dashes; nothing for a word that
// begins none or has less than 4 digits.
std::optional<std::string> IdPrefix(std::string_view word);

// "  {9452C1D7-...} qelm_system "name"", a line for each, and how many are not listed.
std::string CandidateLines(const std::vector<Json>& objects);

}  // namespace ktctl
