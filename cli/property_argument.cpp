#include "property_argument.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <set>

#include "exit_status.h"
#include "property_text.h"

namespace ktctl {
namespace {

constexpr const char* kForm = "Write NAME:TYPE=VALUE, such as who:STR=alice or count:UINT32=3.";

std::size_t CharactersIn(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char unit) {
    return (static_cast<unsigned char>(unit) & 0xC0U) != 0x80U;
  }));
}

// A word that is being read.
struct Word {
  const std::string& text;

  [[noreturn]] void Fail(std::size_t at, const std::string& reason,
                         const std::string& advice = kForm) const {
    throw Refusal(kExitWrongWords,
                  ktsvc::QuotedText(text) + ", column " +
                      std::to_string(CharactersIn(std::string_view(text).substr(0, at)) + 1) +
                      ": " + reason,
                  advice);
  }
};

struct Parts {
  std::string name;
  std::string type;
  std::string value;
  std::size_t valueAt = 0;
};

std::string UpperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char unit) {
    return unit >= 'a' && unit <= 'z' ? static_cast<char>(unit - 'a' + 'A') : unit;
  });
  return text;
}

// Hexadecimal after 0x as decimal text; any other text as it is.
std::string DecimalText(const std::string& text) {
  constexpr int kHexadecimal = 16;
  if (!text.starts_with("0x") && !text.starts_with("0X")) {
    return text;
  }
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data() + 2, end, number, kHexadecimal);
  return read.ec == std::errc() && read.ptr == end ? std::to_string(number) : text;
}

// A number that is too large for what the argument means; any other text is looked at with its
// type.
void CheckRange(const Word& word, const Parts& parts, const KnownArgument& argument) {
  const std::string text = DecimalText(parts.value);
  std::uint64_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec == std::errc() && number > argument.most) {
    word.Fail(parts.valueAt,
              std::string(argument.name) + " goes from 0 to " + std::to_string(argument.most));
  }
}

Parts Split(const Word& word, std::span<const KnownArgument> known) {
  const std::string& text = word.text;
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) {
    word.Fail(text.size(), "a = and a value are missing");
  }
  Parts parts;
  parts.value = text.substr(equals + 1);
  parts.valueAt = equals + 1;
  const std::size_t colon = text.substr(0, equals).rfind(':');
  if (colon == std::string::npos) {
    const std::string name = text.substr(0, equals);
    const auto row =
        std::find_if(known.begin(), known.end(), [&name](const KnownArgument& argument) {
          return argument.name == name || argument.property == name;
        });
    if (row == known.end()) {
      word.Fail(equals, "a type is missing here");
    }
    parts.name = row->property;
    parts.type = row->type;
    CheckRange(word, parts, *row);
    return parts;
  }
  parts.name = text.substr(0, colon);
  parts.type = UpperCase(text.substr(colon + 1, equals - colon - 1));
  if (parts.name.empty()) {
    word.Fail(0, "a name is missing here");
  }
  if (!ktsvc::TypeFromName(parts.type)) {
    word.Fail(colon + 1, ktsvc::QuotedText(parts.type) + " is no type of a property",
              "There are BOOLEAN, INT32, UINT32, INT64, UINT64, TIME, STR, WSTR, BINARY, GUID, "
              "KTOBJID, PROPSET, I18N, I18NFORMATSTRING, and all but BINARY with Z at the end.");
  }
  return parts;
}

// A JSON number for a whole number, text for anything else: the type then says what it expects.
Json NumberJson(const std::string& text) {
  const char* const end = text.data() + text.size();
  std::uint64_t number = 0;
  if (const auto read = std::from_chars(text.data(), end, number);
      read.ec == std::errc() && read.ptr == end) {
    return number;
  }
  std::int64_t negative = 0;
  const auto read = std::from_chars(text.data(), end, negative);
  return read.ec == std::errc() && read.ptr == end ? Json(negative) : Json(text);
}

Json ParseJson(const Word& word, const Parts& parts) {
  try {
    return Json::parse(parts.value);
  } catch (const Json::parse_error& error) {
    // The byte counts from 1 and is one behind the text where that ends too early.
    const std::size_t byte = std::min(std::max<std::size_t>(error.byte, 1) - 1, parts.value.size());
    word.Fail(parts.valueAt + byte, "this is no JSON, which " + parts.type + " is written in",
              "Lists, sets and messages are written as docs/api.md has them; quote them for the "
              "shell.");
  }
}

Json ValueJson(const Word& word, const Parts& parts) {
  switch (ktsvc::TypeFromName(parts.type).value_or(0)) {
    case TYPE_BOOLEAN:
      return parts.value == "true"    ? Json(true)
             : parts.value == "false" ? Json(false)
                                      : Json(parts.value);
    case TYPE_INT32:
    case TYPE_UINT32:
      return NumberJson(DecimalText(parts.value));
    case TYPE_INT64:
    case TYPE_UINT64:
    case TYPE_TIME:
      return DecimalText(parts.value);
    case TYPE_STR:
    case TYPE_WSTR:
    case TYPE_BINARY:
    case TYPE_GUID:
    case TYPE_KTOBJID:
      return parts.value;
    default:
      return ParseJson(word, parts);
  }
}

}  // namespace

Json ReadArgument(const std::string& text, std::span<const KnownArgument> known) {
  const Word word{text};
  if (!ktsvc::IsUtf8(text)) {
    throw Refusal(kExitWrongWords, ktsvc::PrintableText(text) + " is no UTF-8", kForm);
  }
  const Parts parts = Split(word, known);
  Json property = Json::object();
  property["name"] = parts.name;
  property["type"] = parts.type;
  property["value"] = ValueJson(word, parts);
  try {
    // Nothing is sent that the service would refuse.
    static_cast<void>(ktsvc::PropertyFromJson(property, ""));
  } catch (const ktsvc::JsonError& error) {
    constexpr std::string_view kValue = ".value";
    std::string reason = error.what();
    if (reason.starts_with(kValue)) {
      reason.erase(0, kValue.size());
    }
    if (reason.starts_with(": ")) {
      reason.erase(0, 2);
    }
    word.Fail(parts.valueAt, reason);
  }
  return property;
}

Json ReadArguments(std::span<const std::string> words, std::span<const KnownArgument> known) {
  Json properties = Json::array();
  std::set<std::string> names;
  for (const std::string& word : words) {
    Json property = ReadArgument(word, known);
    if (!names.insert(property["name"].get<std::string>()).second) {
      Word{word}.Fail(0, "a property of this name is there already");
    }
    properties.push_back(std::move(property));
  }
  return properties;
}

}  // namespace ktctl
