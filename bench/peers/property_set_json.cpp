// nlohmann::json: a set of eight mixed properties.
#include <benchmark/benchmark.h>

#include <nlohmann/json.hpp>

#include "bench/operations/property_work.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class JsonSet : public PropertySetWork<JsonSet> {
 public:
  std::uint64_t Do(std::vector<std::string>& keys, std::string& text) {
    nlohmann::json set = nlohmann::json::object();
    set["number"] = values_.number;
    set["difference"] = values_.difference;
    set["size"] = values_.size;
    set["offset"] = values_.offset;
    set["removable"] = values_.removable;
    set["path"] = values_.path;
    set["model"] = values_.model;
    set["serial"] = values_.serial;
    EightValues read{0, 0, 0, 0, false, {}, {}, {}};
    read.number = set.at("number").get<std::uint32_t>();
    read.difference = set.at("difference").get<std::int32_t>();
    read.size = set.at("size").get<std::uint64_t>();
    read.offset = set.at("offset").get<std::int64_t>();
    read.removable = set.at("removable").get<bool>();
    read.path = set.at("path").get<std::string>();
    read.model = set.at("model").get<std::string>();
    read.serial = set.at("serial").get<std::string>();
    for (const auto& item : set.items()) keys.push_back(item.key());
    text = set.dump();
    return read.Sum();
  }
};

const bool entered = Add<JsonSet>("property-set/8/json", {});

}  // namespace
}  // namespace kt::bench
