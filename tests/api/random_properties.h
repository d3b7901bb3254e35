// Properties of every type with values by chance, for tests of laws that hold for all of them.
#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "property_value.h"

namespace ktsvc_test {

class RandomProperties {
 public:
  explicit RandomProperties(std::uint64_t seed) : random_(seed) {}

  // Up to 12 properties of any type, nested sets of up to `depth` levels below included. Names
  // differ.
  ktsvc::PropertyList List(unsigned depth);

  // One of that type.
  ktsvc::Property Of(std::uint32_t type, std::string name, unsigned depth);

 private:
  std::uint64_t Below(std::uint64_t bound);
  std::uint64_t Number();  // often one at the end of a range
  std::string Text();      // often no UTF-8
  ktsvc::KtWString WideText();
  KtGuid Guid();
  ktsvc::Message Message();
  ktsvc::Element Value(std::uint32_t scalarType, unsigned depth);

  std::mt19937_64 random_;
};

// The same in every bit, unlike a comparison of their JSON, which might hide what it loses.
bool Same(const ktsvc::PropertyList& left, const ktsvc::PropertyList& right);

}  // namespace ktsvc_test
