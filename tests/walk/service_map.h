// ServiceMap: what a running service has, read through its API: types, objects, the interfaces that
// they offer, and the names of their properties.
//
// Threads: a value.
// Failure: ReadServiceMap throws std::runtime_error for an answer that is no success, and lets pass
//          what `ask` throws.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "walk/call.h"

namespace walk {

// An object that takes controls through an interface.
struct Offer {
  std::string object;
  std::string type;
  std::string interface;  // the short name, or else the GUID
};

struct ServiceMap {
  std::vector<std::string> types;
  std::vector<std::string> objects;     // ids, the first thousand
  std::vector<Offer> offers;            // two objects for each pair of type and interface
  std::vector<std::string> properties;  // names that objects have, each once
  std::vector<std::string> providers;   // those that run
  std::uint64_t exceptions = 0;         // that have left providers' functions
};

using Ask = std::function<Answer(const Call& call)>;

ServiceMap ReadServiceMap(const Ask& ask);

}  // namespace walk
