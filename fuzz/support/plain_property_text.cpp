#include "support/plain_property_text.h"

#include <array>
#include <cstdio>

#include "support/plain_text.h"

namespace kt::fuzz {
namespace {

using ktsvc::Element;
using ktsvc::FormatMessage;
using ktsvc::Message;
using ktsvc::Property;
using ktsvc::PropertyList;

constexpr std::uint32_t kListBit = 0x80000000U;

std::optional<std::string> ElementText(std::uint32_t type, const Element& element, bool show_type) {
  switch (type) {
    case TYPE_BOOLEAN:
      return std::get<bool>(element) ? "true" : "false";
    case TYPE_INT32:
      return std::to_string(std::get<std::int32_t>(element));
    case TYPE_UINT32:
      return std::to_string(std::get<std::uint32_t>(element));
    case TYPE_INT64:
      return std::to_string(std::get<std::int64_t>(element));
    case TYPE_UINT64:
    case TYPE_TIME:
      return std::to_string(std::get<std::uint64_t>(element));
    case TYPE_STR:
      return std::get<std::string>(element);
    case TYPE_WSTR:
      return PlainNarrow(std::get<ktsvc::KtWString>(element));
    case TYPE_BINARY: {
      std::string text;
      for (const std::uint8_t byte : std::get<std::vector<std::uint8_t>>(element)) {
        std::array<char, 3> digits{};
        static_cast<void>(std::snprintf(digits.data(), digits.size(), "%02x", unsigned{byte}));
        text += digits.data();
      }
      return text;
    }
    case TYPE_GUID:
    case TYPE_KTOBJID:
      return PlainGuid(std::get<KtGuid>(element));
    case TYPE_I18N:
      return PlainMessageText(std::get<Message>(element));
    case TYPE_PROPSET: {
      const auto* const list = std::get_if<PropertyList>(&element);
      return list == nullptr ? std::nullopt : PlainSetText(*list, show_type);
    }
    default: {  // TYPE_I18NFORMATSTRING; its insertions never show their types
      const auto& message = std::get<FormatMessage>(element);
      std::string text = "FormatSpec={" + PlainMessageText(message.message) + "}, Insertions={";
      if (message.insertions) {
        const auto insertions = PlainSetText(*message.insertions, false);
        if (!insertions) return std::nullopt;
        text += *insertions;
      }
      return text + "}";
    }
  }
}

}  // namespace

std::string PlainMessageText(const Message& message) {
  return "messageId=" + std::to_string(message.id) + ", name=\"" + message.name +
         "\", catalog=" + PlainGuid(message.catalog);
}

std::optional<std::string> PlainPropertyText(const Property& property, bool show_type) {
  if (property.type == TYPE_I18NFORMATSTRINGZ) return "";
  if (property.type == TYPE_TIMEZ) return std::nullopt;
  std::string text = show_type ? "(TYPE_" + ktsvc::TypeName(property.type) + ") " : "";
  if (show_type && property.type == TYPE_GUID) return text;
  if (!ktsvc::IsListType(property.type)) {
    const auto value = ElementText(property.type, property.elements.at(0), show_type);
    return value ? std::optional(text + *value) : std::nullopt;
  }
  text += "{";
  for (const Element& element : property.elements) {
    const auto value = ElementText(property.type & ~kListBit, element, show_type);
    if (!value) return std::nullopt;
    text += *value + ", ";
  }
  return text + "}";
}

std::optional<std::string> PlainSetText(const PropertyList& list, bool show_type) {
  std::string text = "{";
  std::string separator;
  for (const Property& property : list) {
    const auto value = PlainPropertyText(property, show_type);
    if (!value) return std::nullopt;
    text += separator + property.name + " = " + *value;
    separator = ", ";
  }
  return text + "}";
}

}  // namespace kt::fuzz
