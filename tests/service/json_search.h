// Looking things up in the JSON documents of the program.
#pragma once

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

namespace ktsvc_test {

// The first entry of the array whose member of that name has that value; null without one.
inline nlohmann::json FindBy(const nlohmann::json& array, const std::string& key,
                             const std::string& value) {
  const auto found = std::find_if(array.begin(), array.end(), [&](const nlohmann::json& entry) {
    return entry.at(key) == value;
  });
  return found == array.end() ? nlohmann::json() : *found;
}

}  // namespace ktsvc_test
