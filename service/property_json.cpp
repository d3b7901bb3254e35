#include "property_json.h"

#include "property_text.h"
#include "status_text.h"

namespace ktsvc {
namespace {

Json BytesJson(const std::vector<std::uint8_t>& bytes) {
  Json json = Json::object();
  json["base64"] = Base64Text(bytes);
  return json;
}

Json MessageJson(const Message& message) {
  Json json = Json::object();
  json["catalog"] = GuidText(message.catalog);
  json["messageId"] = message.id;
  json["name"] = TextJson(message.name);
  return json;
}

struct ElementWriter {
  Json operator()(std::monostate) const { return nullptr; }
  Json operator()(bool value) const { return value; }
  Json operator()(std::int32_t value) const { return value; }
  Json operator()(std::uint32_t value) const { return value; }
  Json operator()(std::int64_t value) const { return std::to_string(value); }
  Json operator()(std::uint64_t value) const { return std::to_string(value); }
  Json operator()(const std::string& value) const { return TextJson(value); }
  Json operator()(const KtWString& value) const { return TextJson(value); }
  Json operator()(const std::vector<std::uint8_t>& value) const { return Base64Text(value); }
  Json operator()(const KtGuid& value) const { return GuidText(value); }
  Json operator()(const PropertyList& value) const { return PropertyListJson(value); }
  Json operator()(const Message& value) const { return MessageJson(value); }

  Json operator()(const FormatMessage& value) const {
    Json json = Json::object();
    json["message"] = MessageJson(value.message);
    json["insertions"] = value.insertions ? PropertyListJson(*value.insertions) : Json(nullptr);
    json["text"] = TextJson(RenderMessage(value));
    return json;
  }
};

}  // namespace

Json TextJson(const std::string& text) {
  return IsUtf8(text) ? Json(text) : BytesJson(BytesOf(std::string_view(text)));
}

Json TextJson(const KtWString& text) {
  const std::optional<std::string> narrow = ToUtf8(text);
  return narrow ? Json(*narrow) : BytesJson(BytesOf(text));
}

Json ValueJson(const Property& property) {
  if (!IsListType(property.type)) {
    return property.elements.empty() ? Json(nullptr)
                                     : std::visit(ElementWriter(), property.elements.front());
  }
  Json list = Json::array();
  for (const Element& element : property.elements) {
    list.push_back(std::visit(ElementWriter(), element));
  }
  return list;
}

Json PropertyJson(const Property& property) {
  Json json = Json::object();
  json["name"] = TextJson(property.name);
  json["type"] = TypeName(property.type);
  if (property.flags != 0) {
    json["flags"] = property.flags;
  }
  json["value"] = ValueJson(property);
  return json;
}

Json PropertyListJson(const PropertyList& list) {
  Json json = Json::array();
  for (const Property& property : list) {
    json.push_back(PropertyJson(property));
  }
  return json;
}

Json StatusJson(KtStatus status) {
  const std::string_view name = StatusName(status);
  Json json = Json::object();
  json["code"] = status;
  json["hex"] = StatusHex(status);
  json["name"] = name.empty() ? Json(nullptr) : Json(std::string(name));
  json["fails"] = StatusFails(status);
  return json;
}

}  // namespace ktsvc
