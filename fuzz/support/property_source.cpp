#include "support/property_source.h"

#include <utility>

#include "support/property_types.h"

namespace kt::fuzz {
namespace {

using ktsvc::Element;
using ktsvc::FormatMessage;
using ktsvc::Property;
using ktsvc::PropertyList;

constexpr std::size_t kMostProperties = 9;
constexpr std::size_t kMostElements = 5;

Element ReadElement(ByteSource& source, std::uint32_t scalar_type, unsigned depth) {
  switch (scalar_type) {
    case TYPE_BOOLEAN:
      return source.Flag();
    case TYPE_INT32:
      return static_cast<std::int32_t>(source.Number32());
    case TYPE_UINT32:
      return source.Number32();
    case TYPE_INT64:
      return static_cast<std::int64_t>(source.Number64());
    case TYPE_UINT64:
    case TYPE_TIME:
      return source.Number64();
    case TYPE_STR:
      return source.TextWithoutZero();
    case TYPE_WSTR:
      return source.WideTextWithoutZero();
    case TYPE_BINARY: {
      const std::string bytes = source.Text();
      return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
    }
    case TYPE_GUID:
    case TYPE_KTOBJID:
      return source.Guid();
    case TYPE_I18N:
      return ReadMessage(source);
    case TYPE_I18NFORMATSTRING: {
      FormatMessage message{ReadMessage(source), std::nullopt};
      if (source.Flag() && depth != 0) message.insertions = ReadProperties(source, depth - 1);
      return message;
    }
    default:
      return source.Flag() && depth != 0 ? Element(ReadProperties(source, depth - 1)) : Element();
  }
}

}  // namespace

std::uint32_t ReadType(ByteSource& source) {
  return kTypes[source.Below(kTypes.size())];
}

ktsvc::Message ReadMessage(ByteSource& source) {
  ktsvc::Message message;
  message.catalog = source.Guid();
  message.id = source.Number32();
  message.name = source.TextWithoutZero();
  return message;
}

Property ReadProperty(ByteSource& source, std::string name, unsigned depth) {
  Property property;
  property.name = std::move(name);
  property.type = ReadType(source);
  property.flags = source.Flag() ? source.Number32() : 0;
  const std::size_t count = ktsvc::IsListType(property.type) ? source.Below(kMostElements) : 1;
  for (std::size_t i = 0; i < count; ++i) {
    property.elements.push_back(ReadElement(source, property.type & ~kListBit, depth));
  }
  return property;
}

PropertyList ReadProperties(ByteSource& source, unsigned depth) {
  PropertyList list;
  const std::size_t count = source.Below(kMostProperties);
  for (std::size_t i = 0; i < count && !source.Empty(); ++i) {
    std::string name = source.TextWithoutZero();
    if (ktsvc::FindProperty(list, name) != nullptr) name.insert(0, std::to_string(i));
    Property property = ReadProperty(source, std::move(name), depth);
    if (ktsvc::FindProperty(list, property.name) == nullptr) list.push_back(std::move(property));
  }
  return list;
}

}  // namespace kt::fuzz
