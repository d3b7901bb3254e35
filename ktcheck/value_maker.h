// ValueMaker: property values of every type: small, large, empty and odd ones, from a seed.
//
// Threads: one thread.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "property_value.h"

namespace ktcheck {

class ValueMaker {
 public:
  explicit ValueMaker(std::uint64_t seed) : dice_(seed) {}

  // A property of that name for each type.
  std::vector<ktsvc::Property> OneOfEach(const std::string& name);

  // A property of that name of any type.
  ktsvc::Property Any(const std::string& name);

  // A number below that bound.
  std::uint64_t Number(std::uint64_t bound) { return dice_() % bound; }

 private:
  ktsvc::Property Make(const std::string& name, std::uint32_t type);
  ktsvc::Element Value(std::uint32_t scalar, unsigned depth);
  std::uint64_t OddNumber();
  std::string OddText();

  std::mt19937_64 dice_;
};

}  // namespace ktcheck
