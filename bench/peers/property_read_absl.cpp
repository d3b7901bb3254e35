// The floor of one typed read: a flat hash map of variants.
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <variant>

#include "bench/operations/property_names.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class FlatMap : public PropertyReadWork<FlatMap> {
 public:
  FlatMap() {
    for (std::uint32_t i = 0; i < kProperties; ++i) set_[Name(i)] = i;
  }
  std::uint32_t Read(std::size_t index) {
    return std::get<std::uint32_t>(set_.find(Name(index))->second);
  }

 private:
  absl::flat_hash_map<std::string, std::variant<std::uint32_t, std::uint64_t, std::string>> set_;
};

const bool entered = Add<FlatMap>("property-read/1024/floor", {});

}  // namespace
}  // namespace kt::bench
