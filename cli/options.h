// What the command line of ktctl asks for, and the surroundings that it is asked in.
//
// Threads: values.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ktctl {

// A variable of the environment; nothing for one that is not set or empty.
using Variables = std::function<std::optional<std::string>(const std::string& name)>;

// Empty texts are options that were not given.
struct Options {
  // Where the service is, and who asks.
  std::string socket;
  std::string url;
  std::string tokenFile;
  std::optional<double> timeout;  // seconds; 0: none

  // How results look.
  bool json = false;
  std::string colour = "auto";  // or "always", "never"

  // What is to be done: the name of a subcommand, and what it was given.
  std::string verb;
  std::string type;                    // ls
  std::string interface;               // ls
  std::string object;                  // tree, show, get
  std::string name;                    // get: the property's; raise: the event's
  std::string pattern;                 // events
  std::string action;                  // explain
  std::vector<std::string> words;      // control, explain: what else was said; raise: arguments
  std::optional<std::uint32_t> level;  // trace-level
  std::uint32_t selector = 0;          // control, explain
  bool names = false;                  // ls, types
  bool yes = false;                    // control
  bool follow = false;                 // trace, events, alerts
  bool kept = false;                   // the same
};

}  // namespace ktctl
