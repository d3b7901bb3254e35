#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <limits>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "guid.h"
#include "property_json.h"
#include "value_from_text.h"

namespace ktsvc {
namespace {

constexpr std::uint32_t kListBit = 0x80000000U;
constexpr std::size_t kDeepestSets = 64;  // as the bus

// A part of the document, and where it stands.
struct Place {
  const Json& json;
  std::string name;
  std::size_t sets = 0;  // how many property sets it stands in

  [[noreturn]] void Fail(const std::string& reason) const { throw JsonError(name, reason); }

  [[nodiscard]] Place At(std::size_t index) const {
    return {json[index], name + "[" + std::to_string(index) + "]", sets};
  }

  // A member that must be there.
  [[nodiscard]] Place Member(const char* member) const {
    if (!json.contains(member)) {
      Fail(std::string("the member \"") + member + "\" is missing");
    }
    return {json[member], name + "." + member, sets};
  }
};

void RequireArray(const Place& place) {
  if (!place.json.is_array()) {
    place.Fail("an array is expected here");
  }
}

void RequireMembers(const Place& place, std::initializer_list<std::string_view> known) {
  if (!place.json.is_object()) {
    place.Fail("an object is expected here");
  }
  for (const auto& [name, value] : place.json.items()) {
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      std::string list;
      for (const std::string_view member : known) {
        list.append(list.empty() ? "" : ", ").append(member);
      }
      place.Fail(std::string("the member \"")
                     .append(name)
                     .append("\" is unknown; there are ")
                     .append(list));
    }
  }
}

std::vector<std::uint8_t> ReadBytes(const Place& place) {
  if (!place.json.is_string()) {
    place.Fail("base64 text is expected here");
  }
  std::optional<std::vector<std::uint8_t>> bytes =
      BytesFromBase64(place.json.get_ref<const std::string&>());
  if (!bytes) {
    place.Fail("this is no base64 text (standard alphabet, padded)");
  }
  return std::move(*bytes);
}

void RequireText(const Place& place) {
  if (place.json.is_object()) {
    RequireMembers(place, {"base64"});
  } else if (!place.json.is_string()) {
    place.Fail("text is expected here");
  }
}

std::string ReadText(const Place& place) {
  RequireText(place);
  std::string text;
  if (place.json.is_object()) {
    const std::vector<std::uint8_t> bytes = ReadBytes(place.Member("base64"));
    text.assign(bytes.begin(), bytes.end());
  } else {
    text = place.json.get<std::string>();
  }
  if (text.find('\0') != std::string::npos) {
    place.Fail("a text cannot hold a zero character");
  }
  return text;
}

KtWString ReadWideText(const Place& place) {
  RequireText(place);
  KtWString text;
  if (place.json.is_object()) {
    const std::vector<std::uint8_t> bytes = ReadBytes(place.Member("base64"));
    if (bytes.size() % 2 != 0) {
      place.Fail("wide text has two bytes for each unit, and this is an odd number of bytes");
    }
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
      text += static_cast<KtWchar>(bytes[i] | (bytes[i + 1] << 8U));
    }
    if (text.find(KtWchar()) != KtWString::npos) {
      place.Fail("a text cannot hold a zero character");
    }
  } else {
    std::optional<KtWString> wide = ToUtf16(ReadText(place));
    if (!wide) {
      place.Fail("this is no UTF-8");
    }
    text = std::move(*wide);
  }
  return text;
}

KtGuid ReadGuid(const Place& place) {
  const std::optional<KtGuid> guid = place.json.is_string()
                                         ? GuidFromText(place.json.get_ref<const std::string&>())
                                         : std::nullopt;
  if (!guid) {
    place.Fail("a GUID is expected here, as \"{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}\"");
  }
  return *guid;
}

template <typename T>
std::string RangeText() {
  return "from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
         std::to_string(std::numeric_limits<T>::max());
}

// A JSON number within the range of T, if it is one.
template <typename T>
std::optional<T> NumberOf(const Json& json) {
  if (json.is_number_unsigned()) {
    const auto value = json.get<std::uint64_t>();
    return value <= static_cast<std::uint64_t>(std::numeric_limits<T>::max())
               ? std::optional(static_cast<T>(value))
               : std::nullopt;
  }
  if (json.is_number_integer()) {
    const auto value = json.get<std::int64_t>();
    return std::numeric_limits<T>::is_signed &&
                   value >= static_cast<std::int64_t>(std::numeric_limits<T>::min()) &&
                   (value < 0 || static_cast<std::uint64_t>(value) <=
                                     static_cast<std::uint64_t>(std::numeric_limits<T>::max()))
               ? std::optional(static_cast<T>(value))
               : std::nullopt;
  }
  return std::nullopt;
}

template <typename T>
T ReadNumber(const Place& place) {
  const std::optional<T> number = NumberOf<T>(place.json);
  if (!number) {
    place.Fail("a whole number " + RangeText<T>() + " is expected here");
  }
  return *number;
}

// A number of 64 bits: decimal text, or a JSON number.
template <typename T>
T ReadLongNumber(const Place& place) {
  std::optional<T> number = NumberOf<T>(place.json);
  if (place.json.is_string()) {
    const auto& text = place.json.get_ref<const std::string&>();
    const char* const end = text.data() + text.size();
    T value{};
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc() && rest == end) {
      number = value;
    }
  }
  if (!number) {
    place.Fail("the decimal text of a whole number " + RangeText<T>() + " is expected here");
  }
  return *number;
}

Message ReadMessage(const Place& place) {
  RequireMembers(place, {"catalog", "messageId", "name"});
  Message message;
  message.catalog = ReadGuid(place.Member("catalog"));
  message.id = ReadNumber<std::uint32_t>(place.Member("messageId"));
  message.name = ReadText(place.Member("name"));
  return message;
}

PropertyList ReadList(const Place& place);

FormatMessage ReadFormatMessage(const Place& place) {
  RequireMembers(place, {"message", "insertions", "text"});
  FormatMessage message;
  message.message = ReadMessage(place.Member("message"));
  const Place insertions = place.Member("insertions");
  if (!insertions.json.is_null()) {
    message.insertions = ReadList(insertions);
  }
  return message;
}

Element ReadElement(std::uint32_t scalarType, const Place& place) {
  switch (scalarType) {
    case TYPE_BOOLEAN:
      if (!place.json.is_boolean()) {
        place.Fail("true or false is expected here");
      }
      return place.json.get<bool>();
    case TYPE_INT32:
      return ReadNumber<std::int32_t>(place);
    case TYPE_UINT32:
      return ReadNumber<std::uint32_t>(place);
    case TYPE_INT64:
      return ReadLongNumber<std::int64_t>(place);
    case TYPE_UINT64:
    case TYPE_TIME:
      return ReadLongNumber<std::uint64_t>(place);
    case TYPE_STR:
      return ReadText(place);
    case TYPE_WSTR:
      return ReadWideText(place);
    case TYPE_BINARY:
      return ReadBytes(place);
    case TYPE_GUID:
    case TYPE_KTOBJID:
      return ReadGuid(place);
    case TYPE_I18N:
      return ReadMessage(place);
    case TYPE_I18NFORMATSTRING:
      return ReadFormatMessage(place);
    default:  // TYPE_PROPSET, the one type whose value may be missing
      return place.json.is_null() ? Element() : Element(ReadList(place));
  }
}

Property ReadProperty(const Place& place) {
  RequireMembers(place, {"name", "type", "flags", "value"});
  Property property;
  property.name = ReadText(place.Member("name"));
  const Place type = place.Member("type");
  const std::optional<std::uint32_t> code =
      type.json.is_string() ? TypeFromName(type.json.get_ref<const std::string&>()) : std::nullopt;
  if (!code) {
    type.Fail("the name of a property type is expected here, such as UINT32 or STRZ");
  }
  property.type = *code;
  if (place.json.contains("flags")) {
    property.flags = ReadNumber<std::uint32_t>(place.Member("flags"));
  }
  const Place value = place.Member("value");
  if (!IsListType(property.type)) {
    property.elements.push_back(ReadElement(property.type, value));
    return property;
  }
  RequireArray(value);
  property.elements.reserve(value.json.size());
  for (std::size_t i = 0; i < value.json.size(); ++i) {
    property.elements.push_back(ReadElement(property.type & ~kListBit, value.At(i)));
  }
  return property;
}

PropertyList ReadList(const Place& place) {
  RequireArray(place);
  if (place.sets > kDeepestSets) {
    place.Fail("property sets are nested too deep");
  }
  PropertyList list;
  list.reserve(place.json.size());
  std::set<std::string, std::less<>> names;
  for (std::size_t i = 0; i < place.json.size(); ++i) {
    Place inner = place.At(i);
    ++inner.sets;
    list.push_back(ReadProperty(inner));
    if (!names.insert(list.back().name).second) {
      inner.Fail("the set has a property of this name already");
    }
  }
  return list;
}

}  // namespace

Property PropertyFromJson(const Json& json, const std::string& place) {
  return ReadProperty({json, place});
}

PropertyList PropertyListFromJson(const Json& json, const std::string& place) {
  return ReadList({json, place});
}

}  // namespace ktsvc
