#include "service/samples.h"

#include <stdexcept>

namespace ktsvc_test {

SampleSet::SampleSet() {
  if (PsCreatePropset(&set_) != 0) {
    throw std::runtime_error("PsCreatePropset failed");
  }
}

SampleSet::~SampleSet() {
  PsDestroyPropset(set_);
}

void SampleSet::Add(const char* name, std::uint32_t type, std::uint32_t length, const void* value) {
  const cuvo_property property{name, type, 0, length, 0, const_cast<void*>(value)};
  if (PsAddProperty(set_, &property) != 0) {
    throw std::runtime_error(std::string("PsAddProperty failed for ") + name);
  }
}

}  // namespace ktsvc_test
