// A property set of eight mixed properties: create, add, eight typed reads, keys, text, destroy.
#include "objmodel/property_set.h"

#include <benchmark/benchmark.h>

#include <map>
#include <variant>

#include "bench/operations/property_work.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class Toolkit : public PropertySetWork<Toolkit> {
 public:
  std::uint64_t Do(std::vector<std::string>& keys, std::string& text) {
    CKtPropertySet set;
    set.Create();
    set.AddProp("number", values_.number, 0);
    set.AddProp("difference", values_.difference, 0);
    set.AddProp("size", values_.size, 0);
    set.AddProp("offset", values_.offset, 0);
    set.AddProp("removable", values_.removable, 0);
    set.AddProp("path", values_.path, 0);
    set.AddProp("model", values_.model, 0);
    set.AddProp("serial", values_.serial, 0);
    EightValues read{0, 0, 0, 0, false, {}, {}, {}};
    set.GetProp("number", read.number, false);
    set.GetProp("difference", read.difference, false);
    set.GetProp("size", read.size, false);
    set.GetProp("offset", read.offset, false);
    set.GetProp("removable", read.removable, false);
    set.GetProp("path", read.path, false);
    set.GetProp("model", read.model, false);
    set.GetProp("serial", read.serial, false);
    keys = set.GetKeys();
    text = set.ToString(false);
    set.Destroy();
    return read.Sum();
  }
};

class Floor : public PropertySetWork<Floor> {
 public:
  using Value =
      std::variant<std::uint32_t, std::int32_t, std::uint64_t, std::int64_t, bool, std::string>;
  using Set = std::map<std::string, Value>;

  struct ToText {
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(bool truth) const { return truth ? "true" : "false"; }
    template <typename Number>
    std::string operator()(Number number) const {
      return std::to_string(number);
    }
  };

  std::uint64_t Do(std::vector<std::string>& keys, std::string& text) {
    Set set;
    set["number"] = values_.number;
    set["difference"] = values_.difference;
    set["size"] = values_.size;
    set["offset"] = values_.offset;
    set["removable"] = values_.removable;
    set["path"] = values_.path;
    set["model"] = values_.model;
    set["serial"] = values_.serial;
    EightValues read{0, 0, 0, 0, false, {}, {}, {}};
    read.number = std::get<std::uint32_t>(set.find("number")->second);
    read.difference = std::get<std::int32_t>(set.find("difference")->second);
    read.size = std::get<std::uint64_t>(set.find("size")->second);
    read.offset = std::get<std::int64_t>(set.find("offset")->second);
    read.removable = std::get<bool>(set.find("removable")->second);
    read.path = std::get<std::string>(set.find("path")->second);
    read.model = std::get<std::string>(set.find("model")->second);
    read.serial = std::get<std::string>(set.find("serial")->second);
    text += '{';
    for (const auto& [name, value] : set) {
      keys.push_back(name);
      if (text.size() > 1) text.append(", ");
      text += name;
      text.append(" = ");
      text += std::visit(ToText(), value);
    }
    text += '}';
    return read.Sum();
  }
};

const bool entered =
    Add<Toolkit>("property-set/8/kt", kCounted) && Add<Floor>("property-set/8/floor", {});

}  // namespace
}  // namespace kt::bench
