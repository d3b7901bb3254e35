// Painter: what a text means, shown in colour where there are colours.
//
// Threads: a plain value.
#pragma once

#include <cstdint>
#include <string>

namespace ktctl {

enum class Style : std::uint8_t { kPlain, kHeading, kName, kGood, kBad, kFaint };

class Painter {
 public:
  explicit Painter(bool colours) : colours_(colours) {}

  // The text between the sequences that turn its style on and off (ECMA-48); as it is where there
  // are no colours, for a plain one, and for an empty one.
  [[nodiscard]] std::string Paint(Style style, const std::string& text) const;

 private:
  bool colours_;
};

}  // namespace ktctl
