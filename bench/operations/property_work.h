// The eight properties of the row "a property set", and what every contestant does with them.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kt::bench {

struct EightValues {
  std::uint32_t number = 42;
  std::int32_t difference = -42;
  std::uint64_t size = 274'877'906'944;
  std::int64_t offset = -274'877'906'944;
  bool removable = true;
  std::string path = "/dev/disk/by-id/0";
  std::string model = "a model with a longer name than fits in place";
  std::string serial = "0123456789";

  // One number of all that was read, so that nothing is left out.
  [[nodiscard]] std::uint64_t Sum() const noexcept {
    return number + static_cast<std::uint64_t>(difference) + size +
           static_cast<std::uint64_t>(offset) + (removable ? 1U : 0U) + path.size() + model.size() +
           serial.size();
  }
};

// What is common to the contestants: each has Do(keys, text), which does the whole work once, fills
// the two, and returns the sum of what it read.
template <typename Contestant>
class PropertySetWork {
 public:
  bool Works() {
    std::vector<std::string> keys;
    std::string text;
    return static_cast<Contestant*>(this)->Do(keys, text) == values_.Sum() && keys.size() == 8 &&
           text.find(values_.path) != std::string::npos;
  }
  void Run() {
    std::vector<std::string> keys;
    std::string text;
    benchmark::DoNotOptimize(static_cast<Contestant*>(this)->Do(keys, text));
    benchmark::DoNotOptimize(keys.data());
    benchmark::DoNotOptimize(text.data());
  }

 protected:
  EightValues values_;
};

}  // namespace kt::bench
