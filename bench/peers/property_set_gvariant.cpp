// GVariantDict: a set of eight mixed properties.
#include <benchmark/benchmark.h>
#include <glib.h>

#include <string>
#include <vector>

#include "bench/operations/property_work.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class DictionarySet : public PropertySetWork<DictionarySet> {
 public:
  std::uint64_t Do(std::vector<std::string>& keys, std::string& text) {
    GVariantDict dict;
    g_variant_dict_init(&dict, nullptr);
    g_variant_dict_insert(&dict, "number", "u", values_.number);
    g_variant_dict_insert(&dict, "difference", "i", values_.difference);
    g_variant_dict_insert(&dict, "size", "t", values_.size);
    g_variant_dict_insert(&dict, "offset", "x", values_.offset);
    g_variant_dict_insert(&dict, "removable", "b", static_cast<gboolean>(values_.removable));
    g_variant_dict_insert(&dict, "path", "s", values_.path.c_str());
    g_variant_dict_insert(&dict, "model", "s", values_.model.c_str());
    g_variant_dict_insert(&dict, "serial", "s", values_.serial.c_str());
    EightValues read{0, 0, 0, 0, false, {}, {}, {}};
    gboolean removable = 0;
    g_variant_dict_lookup(&dict, "number", "u", &read.number);
    g_variant_dict_lookup(&dict, "difference", "i", &read.difference);
    g_variant_dict_lookup(&dict, "size", "t", &read.size);
    g_variant_dict_lookup(&dict, "offset", "x", &read.offset);
    g_variant_dict_lookup(&dict, "removable", "b", &removable);
    read.removable = removable != 0;
    ReadText(dict, "path", read.path);
    ReadText(dict, "model", read.model);
    ReadText(dict, "serial", read.serial);
    // Keys are those of the finished dictionary.
    GVariant* const whole = g_variant_ref_sink(g_variant_dict_end(&dict));
    GVariantIter iterator;
    g_variant_iter_init(&iterator, whole);
    const char* key = nullptr;
    while (g_variant_iter_next(&iterator, "{&sv}", &key, nullptr) != 0) keys.emplace_back(key);
    char* const printed = g_variant_print(whole, 0);
    text = printed;
    g_free(printed);
    g_variant_unref(whole);
    return read.Sum();
  }

  static void ReadText(GVariantDict& dict, const char* name, std::string& out) {
    const char* text = nullptr;
    if (g_variant_dict_lookup(&dict, name, "&s", &text) != 0) out = text;
  }
};

const bool entered = Add<DictionarySet>("property-set/8/gvariant", {});

}  // namespace
}  // namespace kt::bench
