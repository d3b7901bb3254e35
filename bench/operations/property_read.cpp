// One typed read in a set of 1,024 properties.
#include "objmodel/property_set.h"

#include <benchmark/benchmark.h>

#include <map>
#include <variant>

#include "bench/operations/property_names.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class Toolkit : public PropertyReadWork<Toolkit> {
 public:
  Toolkit() {
    set_.Create();
    for (std::uint32_t i = 0; i < kProperties; ++i) set_.AddProp(Name(i).c_str(), i, 0);
  }
  ~Toolkit() { set_.Destroy(); }
  Toolkit(const Toolkit&) = delete;
  Toolkit& operator=(const Toolkit&) = delete;

  std::uint32_t Read(std::size_t index) {
    std::uint32_t value = 0;
    return set_.GetProp(Name(index).c_str(), value, false);
  }

 private:
  CKtPropertySet set_;
};

class OrderedMap : public PropertyReadWork<OrderedMap> {
 public:
  OrderedMap() {
    for (std::uint32_t i = 0; i < kProperties; ++i) set_[Name(i)] = i;
  }
  std::uint32_t Read(std::size_t index) {
    return std::get<std::uint32_t>(set_.find(Name(index))->second);
  }

 private:
  std::map<std::string, std::variant<std::uint32_t, std::uint64_t, std::string>> set_;
};

const bool entered = Add<Toolkit>("property-read/1024/kt", kCounted) &&
                     Add<OrderedMap>("property-read/1024/std-map", {});

}  // namespace
}  // namespace kt::bench
