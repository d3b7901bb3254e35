#include "api/json_schema.h"

#include <algorithm>
#include <array>

namespace api_test {
namespace {

using ktsvc::Json;

bool IsOfType(const Json& value, const std::string& type) {
  if (type == "object") return value.is_object();
  if (type == "array") return value.is_array();
  if (type == "string") return value.is_string();
  if (type == "boolean") return value.is_boolean();
  if (type == "null") return value.is_null();
  if (type == "integer") return value.is_number_integer();
  return type == "number" && value.is_number();
}

bool IsOfTypes(const Json& value, const Json& types) {
  if (types.is_string()) return IsOfType(value, types);
  return std::any_of(types.begin(), types.end(),
                     [&value](const Json& type) { return IsOfType(value, type); });
}

std::string ObjectFault(const Json& document, const Json& schema, const Json& value,
                        const std::string& place) {
  for (const Json& name : schema.value("required", Json::array())) {
    if (!value.contains(name.get<std::string>())) {
      return place + ": " + name.get<std::string>() + " is missing";
    }
  }
  const Json known = schema.value("properties", Json::object());
  for (const auto& [name, member] : value.items()) {
    if (known.contains(name)) {
      const std::string fault = SchemaFault(document, known[name], member, place + "." + name);
      if (!fault.empty()) return fault;
    } else if (!schema.value("additionalProperties", true)) {
      return place + ": " + name + " is unknown";
    }
  }
  return {};
}

}  // namespace

std::string SchemaFault(const Json& document, const Json& schema, const Json& value,
                        const std::string& place) {
  static constexpr std::array<std::string_view, 13> kKeywords{
      "$ref",  "type",    "required", "properties", "additionalProperties", "items", "enum",
      "anyOf", "minimum", "maximum",  "default",    "description",          "format"};
  for (const auto& [keyword, rest] : schema.items()) {
    if (std::find(kKeywords.begin(), kKeywords.end(), keyword) == kKeywords.end()) {
      return place + ": the schema has the unknown keyword " + keyword;
    }
  }
  if (schema.contains("$ref")) {
    const Json::json_pointer pointer(schema["$ref"].get<std::string>().substr(1));
    if (!document.contains(pointer)) return place + ": " + schema["$ref"].dump() + " leads nowhere";
    return SchemaFault(document, document[pointer], value, place);
  }
  if (schema.contains("anyOf")) {
    const auto fits = [&](const Json& one) {
      return SchemaFault(document, one, value, place).empty();
    };
    if (std::none_of(schema["anyOf"].begin(), schema["anyOf"].end(), fits)) {
      return place + ": fits none of " + schema["anyOf"].dump();
    }
  }
  if (schema.contains("type") && !IsOfTypes(value, schema["type"])) {
    return place + ": is not of type " + schema["type"].dump() + " but " + value.dump();
  }
  if (schema.contains("enum") &&
      std::find(schema["enum"].begin(), schema["enum"].end(), value) == schema["enum"].end()) {
    return place + ": is none of " + schema["enum"].dump();
  }
  if (value.is_number_integer() && ((schema.contains("minimum") && value < schema["minimum"]) ||
                                    (schema.contains("maximum") && value > schema["maximum"]))) {
    return place + ": is out of bounds";
  }
  if (value.is_array() && schema.contains("items")) {
    for (std::size_t i = 0; i < value.size(); ++i) {
      const std::string fault =
          SchemaFault(document, schema["items"], value[i], place + "[" + std::to_string(i) + "]");
      if (!fault.empty()) return fault;
    }
  }
  return value.is_object() ? ObjectFault(document, schema, value, place) : std::string();
}

}  // namespace api_test
