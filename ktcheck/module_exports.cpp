#include "ktcheck/module_exports.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace ktcheck {

std::string ReadableName(const std::string& symbol) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &std::free);
  return status == 0 && name ? std::string(name.get()) : symbol;
}

}  // namespace ktcheck
