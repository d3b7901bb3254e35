#include "document_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "property_text.h"
#include "status_text.h"
#include "value_from_text.h"

namespace ktctl {
namespace {

constexpr std::uint32_t kListBit = 0x80000000U;

std::string OneElement(std::uint32_t type, const ktsvc::Element& element) {
  if (const auto* const text = std::get_if<std::string>(&element)) {
    return ktsvc::PrintableText(*text);
  }
  if (const auto* const wide = std::get_if<ktsvc::KtWString>(&element)) {
    if (const std::optional<std::string> text = ktsvc::ToUtf8(*wide)) {
      return ktsvc::PrintableText(*text);
    }
  }
  return ktsvc::ValueText({"", type & ~kListBit, 0, {element}});
}

// The document itself, where the program knows nothing better.
std::string RawText(const Json& json) {
  return ktsvc::PrintableText(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

// The value of a property that this program cannot read: of a type that it does not know, or
// nested deeper than it follows.
std::string RawValue(const Json& property) {
  const Json& value = property.at("value");
  return value.is_null() ? "(none)" : RawText(value);
}

std::string Decimals(double value, const char* unit) {
  std::array<char, 32> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%.1f %s", value, unit));
  return text.data();
}

}  // namespace

std::string TextOf(const Json& json) {
  if (json.is_string()) {
    return ktsvc::PrintableText(json.get<std::string>());
  }
  if (json.is_object()) {
    const auto bytes = ktsvc::BytesFromBase64(json.at("base64").get<std::string>());
    return "(malformed text, bytes " + ktsvc::HexText(bytes.value_or(std::vector<std::uint8_t>())) +
           ")";
  }
  return json.is_null() ? std::string() : RawText(json);
}

std::uint64_t NumberOf(const Json& json) {
  // Turning a floating-point number that does not fit into a whole one is undefined.
  const bool whole =
      json.is_number_unsigned() || (json.is_number_integer() && json.get<std::int64_t>() >= 0);
  return whole ? json.get<std::uint64_t>() : json.get_ref<const Json::number_unsigned_t&>();
}

std::string ValueOf(const Json& property) {
  try {
    return ktsvc::ValueText(ktsvc::PropertyFromJson(property));
  } catch (const ktsvc::JsonError&) {
    return RawValue(property);
  }
}

std::vector<std::string> LinesOf(const Json& property) {
  try {
    const ktsvc::Property read = ktsvc::PropertyFromJson(property);
    std::vector<std::string> lines;
    for (const ktsvc::Element& element : read.elements) {
      lines.push_back(OneElement(read.type, element));
    }
    return lines;
  } catch (const ktsvc::JsonError&) {
    return {RawValue(property)};
  }
}

std::string SetOf(const Json& properties) {
  std::string text = "{";
  for (const Json& property : properties) {
    text += text.size() > 1 ? ", " : "";
    text +=
        TextOf(property.at("name")) + ":" + TextOf(property.at("type")) + "=" + ValueOf(property);
  }
  return text + "}";
}

std::string StatusOf(const Json& status) {
  return ktsvc::StatusText(static_cast<KtStatus>(NumberOf(status.at("code"))));
}

std::string NameOf(const Json& object) {
  for (const Json& property : object.at("properties")) {
    if (property.at("name") == "Name") {
      const Json& value = property.at("value");
      return value.is_string() || value.is_object() ? TextOf(value) : std::string();
    }
  }
  return {};
}

std::string InterfacesOf(const Json& interfaces) {
  std::string text;
  for (const Json& interface : interfaces) {
    text += text.empty() ? "" : ", ";
    text += TextOf(interface.at("name").is_null() ? interface.at("id") : interface.at("name"));
  }
  return text;
}

std::string DurationText(double seconds) {
  constexpr double kMinute = 60;
  constexpr double kMillisecond = 0.001;
  if (seconds < 1) {
    return Decimals(seconds / kMillisecond, "ms");
  }
  if (seconds < kMinute) {
    return Decimals(seconds, "s");
  }
  constexpr double kLongest = 1e6 * 24 * 60 * kMinute;
  seconds = std::min(seconds, kLongest);
  const auto minutes = static_cast<std::uint64_t>(seconds / kMinute);
  constexpr std::uint64_t kHour = 60;
  constexpr std::uint64_t kDay = 24 * kHour;
  if (minutes < kHour) {
    return std::to_string(minutes) + " min " +
           std::to_string(static_cast<std::uint64_t>(std::fmod(seconds, kMinute))) + " s";
  }
  if (minutes < kDay) {
    return std::to_string(minutes / kHour) + " h " + std::to_string(minutes % kHour) + " min";
  }
  return std::to_string(minutes / kDay) + " d " + std::to_string(minutes % kDay / kHour) + " h";
}

std::string CountText(const Json& number, const std::string& thing) {
  const std::uint64_t count = NumberOf(number);
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace ktctl
