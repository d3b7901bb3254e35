// One typed read in a set of 1,024 properties.
#include "objmodel/property_set.h"

#include <benchmark/benchmark.h>

#include <map>
#include <variant>

#include "bench/operations/property_names.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class Toolkit : public PropertyNames {
 public:
  Toolkit() {
    set_.Create();
    for (std::uint32_t i = 0; i < kProperties; ++i) set_.AddProp(Name(i).c_str(), i, 0);
  }
  ~Toolkit() { set_.Destroy(); }
  Toolkit(const Toolkit&) = delete;
  Toolkit& operator=(const Toolkit&) = delete;

  bool Works() { return Read(0) == 0 && Read(1'023) == 1'023; }
  void Run() { benchmark::DoNotOptimize(Read(Next())); }

 private:
  std::uint32_t Read(std::size_t index) {
    std::uint32_t value = 0;
    return set_.GetProp(Name(index).c_str(), value, false);
  }

  CKtPropertySet set_;
};

class OrderedMap : public PropertyNames {
 public:
  OrderedMap() {
    for (std::uint32_t i = 0; i < kProperties; ++i) set_[Name(i)] = i;
  }
  bool Works() { return Read(0) == 0 && Read(1'023) == 1'023; }
  void Run() { benchmark::DoNotOptimize(Read(Next())); }

 private:
  std::uint32_t Read(std::size_t index) {
    return std::get<std::uint32_t>(set_.find(Name(index))->second);
  }

  std::map<std::string, std::variant<std::uint32_t, std::uint64_t, std::string>> set_;
};

const bool entered = Add<Toolkit>("property-read/1024/kt", kCounted) &&
                     Add<OrderedMap>("property-read/1024/std-map", {});

}  // namespace
}  // namespace kt::bench
