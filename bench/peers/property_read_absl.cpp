// The floor of one typed read: a flat hash map of variants.
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <variant>

#include "bench/operations/property_names.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class FlatMap : public PropertyNames {
 public:
  FlatMap() {
    for (std::uint32_t i = 0; i < kProperties; ++i) set_[Name(i)] = i;
  }
  bool Works() { return Read(0) == 0 && Read(1'023) == 1'023; }
  void Run() { benchmark::DoNotOptimize(Read(Next())); }

 private:
  std::uint32_t Read(std::size_t index) {
    return std::get<std::uint32_t>(set_.find(Name(index))->second);
  }

  absl::flat_hash_map<std::string, std::variant<std::uint32_t, std::uint64_t, std::string>> set_;
};

const bool entered = Add<FlatMap>("property-read/1024/floor", {});

}  // namespace
}  // namespace kt::bench
