// GVariantDict: one typed read in 1,024 properties.
#include <benchmark/benchmark.h>
#include <glib.h>

#include "bench/operations/property_names.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class DictionaryRead : public PropertyReadWork<DictionaryRead> {
 public:
  DictionaryRead() : dict_(g_variant_dict_new(nullptr)) {
    for (std::uint32_t i = 0; i < kProperties; ++i) {
      g_variant_dict_insert(dict_, Name(i).c_str(), "u", i);
    }
  }
  ~DictionaryRead() { g_variant_dict_unref(dict_); }
  DictionaryRead(const DictionaryRead&) = delete;
  DictionaryRead& operator=(const DictionaryRead&) = delete;

  std::uint32_t Read(std::size_t index) {
    std::uint32_t value = ~0U;
    g_variant_dict_lookup(dict_, Name(index).c_str(), "u", &value);
    return value;
  }

 private:
  GVariantDict* dict_;
};

const bool entered = Add<DictionaryRead>("property-read/1024/gvariant", {});

}  // namespace
}  // namespace kt::bench
