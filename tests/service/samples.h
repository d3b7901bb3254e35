// Values that the suites of the service share.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ktbus3/ktbus3.h"
#include "property_value.h"

namespace ktsvc_test {

inline constexpr KtGuid kSampleGuid{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
inline constexpr const char* kSampleGuidText = "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}";

// A property with these elements.
inline ktsvc::Property MakeProperty(std::string name, std::uint32_t type,
                                    std::vector<ktsvc::Element> elements) {
  return {std::move(name), type, 0, std::move(elements)};
}

// A property set that is destroyed at the end of the test.
class SampleSet {
 public:
  SampleSet();
  ~SampleSet();
  SampleSet(const SampleSet&) = delete;
  SampleSet& operator=(const SampleSet&) = delete;

  [[nodiscard]] KtPropset handle() const noexcept { return set_; }

  // Adds a property; `value` as the record's value field wants it.
  void Add(const char* name, std::uint32_t type, std::uint32_t length, const void* value);

 private:
  KtPropset set_ = nullptr;
};

}  // namespace ktsvc_test
