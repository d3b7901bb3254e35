#include "api/random_properties.h"

#include <algorithm>
#include <array>
#include <type_traits>
#include <variant>
#include <vector>

#include "bus_snapshot.h"

namespace ktsvc_test {
namespace {

using ktsvc::Element;
using ktsvc::FormatMessage;
using ktsvc::KtWString;
using ktsvc::Property;
using ktsvc::PropertyList;

constexpr std::uint32_t kListBit = 0x80000000U;

constexpr std::array<std::uint32_t, 27> kTypes{TYPE_BOOLEAN, TYPE_INT32,    TYPE_UINT32,
                                               TYPE_INT64,   TYPE_UINT64,   TYPE_STR,
                                               TYPE_WSTR,    TYPE_BINARY,   TYPE_GUID,
                                               TYPE_PROPSET, TYPE_KTOBJID,  TYPE_I18N,
                                               TYPE_TIME,    TYPE_BOOLEANZ, TYPE_I18NFORMATSTRING,
                                               TYPE_INT32Z,  TYPE_UINT32Z,  TYPE_INT64Z,
                                               TYPE_UINT64Z, TYPE_STRZ,     TYPE_WSTRZ,
                                               TYPE_GUIDZ,   TYPE_PROPSETZ, TYPE_KTOBJIDZ,
                                               TYPE_I18NZ,   TYPE_TIMEZ,    TYPE_I18NFORMATSTRINGZ};

bool SameElement(const Element& left, const Element& right) {
  if (left.index() != right.index()) {
    return false;
  }
  return std::visit(
      [&right](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        const T& other = std::get<T>(right);
        if constexpr (std::is_same_v<T, KtGuid>) {
          return ktsvc::SameGuid(value, other);
        } else if constexpr (std::is_same_v<T, PropertyList>) {
          return Same(value, other);
        } else if constexpr (std::is_same_v<T, ktsvc::Message>) {
          return ktsvc::SameGuid(value.catalog, other.catalog) && value.id == other.id &&
                 value.name == other.name;
        } else if constexpr (std::is_same_v<T, FormatMessage>) {
          return SameElement(value.message, other.message) &&
                 value.insertions.has_value() == other.insertions.has_value() &&
                 (!value.insertions || Same(*value.insertions, *other.insertions));
        } else {
          return value == other;
        }
      },
      left);
}

}  // namespace

std::uint64_t RandomProperties::Below(std::uint64_t bound) {
  return random_() % bound;
}

std::uint64_t RandomProperties::Number() {
  constexpr std::array<std::uint64_t, 8> kEnds{
      0,           1,           0x7FFFFFFFU,           0x80000000U,
      0xFFFFFFFFU, 1ULL << 53U, 0x8000000000000000ULL, 0xFFFFFFFFFFFFFFFFULL};
  return Below(2) == 0 ? kEnds.at(Below(kEnds.size())) : random_();
}

std::string RandomProperties::Text() {
  constexpr std::array<const char*, 10> kParts{
      "a", "\"", "\\", "\n", "\xC3\xA9", "\x7F", "\xF0\x9F\x92\xBE", "\xFF", "%1", "\xC0\x80"};
  std::string text;
  const std::uint64_t parts = Below(6);
  const bool wellFormed = Below(3) != 0;
  for (std::uint64_t i = 0; i < parts; ++i) {
    const std::string part = kParts.at(Below(kParts.size()));
    if (!wellFormed || (part != "\xFF" && part != "\xC0\x80")) {
      text += part;
    }
  }
  return text;
}

KtWString RandomProperties::WideText() {
  constexpr std::array<unsigned, 6> kUnits{'a', 0xE9, 0xD83D, 0xDCBE, 0xFFFF, 1};
  KtWString text;
  const std::uint64_t units = Below(5);
  for (std::uint64_t i = 0; i < units; ++i) {
    text += static_cast<KtWchar>(kUnits.at(Below(kUnits.size())));
  }
  return text;
}

KtGuid RandomProperties::Guid() {
  KtGuid guid{};
  guid.Data1 = static_cast<std::uint32_t>(Number());
  guid.Data2 = static_cast<std::uint16_t>(Number());
  guid.Data3 = static_cast<std::uint16_t>(Number());
  for (std::uint8_t& byte : guid.Data4) {
    byte = static_cast<std::uint8_t>(random_());
  }
  return guid;
}

ktsvc::Message RandomProperties::Message() {
  return {Guid(), static_cast<std::uint32_t>(Number()), Text()};
}

Element RandomProperties::Value(std::uint32_t scalarType, unsigned depth) {
  switch (scalarType) {
    case TYPE_BOOLEAN:
      return Below(2) == 0;
    case TYPE_INT32:
      return static_cast<std::int32_t>(Number());
    case TYPE_UINT32:
      return static_cast<std::uint32_t>(Number());
    case TYPE_INT64:
      return static_cast<std::int64_t>(Number());
    case TYPE_UINT64:
    case TYPE_TIME:
      return Number();
    case TYPE_STR:
      return Text();
    case TYPE_WSTR:
      return WideText();
    case TYPE_BINARY: {
      std::vector<std::uint8_t> bytes(Below(9));
      std::generate(bytes.begin(), bytes.end(),
                    [this] { return static_cast<std::uint8_t>(random_()); });
      return bytes;
    }
    case TYPE_GUID:
    case TYPE_KTOBJID:
      return Guid();
    case TYPE_I18N:
      return Message();
    case TYPE_I18NFORMATSTRING: {
      FormatMessage message{Message(), std::nullopt};
      if (depth != 0 && Below(4) != 0) {
        message.insertions = List(depth - 1);
      }
      return message;
    }
    default:
      return depth == 0 || Below(5) == 0 ? Element() : Element(List(depth - 1));
  }
}

Property RandomProperties::Of(std::uint32_t type, std::string name, unsigned depth) {
  Property property;
  property.name = std::move(name);
  property.type = type;
  property.flags = Below(4) == 0 ? static_cast<std::uint32_t>(Number()) : 0;
  const std::uint64_t count = ktsvc::IsListType(type) ? Below(4) : 1;
  for (std::uint64_t i = 0; i < count; ++i) {
    property.elements.push_back(Value(type & ~kListBit, depth));
  }
  return property;
}

PropertyList RandomProperties::List(unsigned depth) {
  PropertyList list;
  const std::uint64_t count = Below(13);
  for (std::uint64_t i = 0; i < count; ++i) {
    list.push_back(Of(kTypes.at(Below(kTypes.size())), std::to_string(i) + Text(), depth));
  }
  return list;
}

bool Same(const PropertyList& left, const PropertyList& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](const Property& a, const Property& b) {
                      return a.name == b.name && a.type == b.type && a.flags == b.flags &&
                             std::equal(a.elements.begin(), a.elements.end(), b.elements.begin(),
                                        b.elements.end(), SameElement);
                    });
}

}  // namespace ktsvc_test
