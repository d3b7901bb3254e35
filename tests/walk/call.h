// Call: a request that is to be made, and what came of it.
//
// Threads: values.
#pragma once

#include <compare>
#include <cstdint>
#include <string>

namespace walk {

// A control as it is counted.
struct ControlKey {
  std::string type;  // of the objects that it is sent to
  std::string interface;
  std::uint32_t selector = 0;
  std::uint32_t code = 0;

  auto operator<=>(const ControlKey&) const = default;
};

struct Call {
  std::string method;
  std::string target;
  std::string body;
  bool isControl = false;
  ControlKey control;  // of a control
};

struct Answer {
  unsigned status = 0;
  std::string body;
};

}  // namespace walk
