#include "api/target.h"

#include <charconv>

#include "access/line_reader.h"
#include "api/http_error.h"

namespace ktsvc::api {
namespace {

constexpr std::string_view kScheme = "http://";

std::optional<unsigned> HexDigit(char digit) {
  unsigned value = 0;
  const auto [rest, error] = std::from_chars(&digit, &digit + 1, value, 16);
  return error == std::errc() && rest == &digit + 1 ? std::optional(value) : std::nullopt;
}

std::string Decode(std::string_view text, bool plusIsBlank) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+' && plusIsBlank) {
      decoded += ' ';
    } else if (text[i] != '%') {
      decoded += text[i];
    } else {
      const std::optional<unsigned> high =
          i + 2 < text.size() ? HexDigit(text[i + 1]) : std::nullopt;
      const std::optional<unsigned> low = high ? HexDigit(text[i + 2]) : std::nullopt;
      if (!low) {
        throw HttpError(400, "the target has a % that begins no escape such as %20");
      }
      decoded += static_cast<char>(static_cast<unsigned char>(*high * 16U + *low));
      i += 2;
    }
  }
  if (access::FirstMalformedByte(decoded) != decoded.size()) {
    throw HttpError(400, "the target is no UTF-8");
  }
  if (decoded.find('\0') != std::string::npos) {
    throw HttpError(400, "the target has a zero character");
  }
  return decoded;
}

// Cuts the text at each mark; an empty text has no parts.
std::vector<std::string_view> Split(std::string_view text, char mark) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    const std::size_t end = text.find(mark);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      break;
    }
    text.remove_prefix(end + 1);
    if (text.empty()) {
      parts.emplace_back();
    }
  }
  return parts;
}

}  // namespace

Query::Query(std::vector<std::pair<std::string, std::string>> values)
    : values_(std::move(values)) {}

std::optional<std::string> Query::Find(std::string_view name) const {
  for (const auto& [known, value] : values_) {
    if (known == name) {
      return value;
    }
  }
  return std::nullopt;
}

std::optional<std::uint32_t> Query::Number(std::string_view name, std::uint32_t lowest,
                                           std::uint32_t highest) const {
  const std::optional<std::string> text = Find(name);
  if (!text) {
    return std::nullopt;
  }
  const bool hex = text->starts_with("0x") || text->starts_with("0X");
  const char* const begin = text->data() + (hex ? 2 : 0);
  const char* const end = text->data() + text->size();
  std::uint32_t number = 0;
  const auto [rest, error] = std::from_chars(begin, end, number, hex ? 16 : 10);
  if (error != std::errc() || rest != end || number < lowest || number > highest) {
    throw HttpError(400, "\"" + std::string(name) + "\" is no number from " +
                             std::to_string(lowest) + " to " + std::to_string(highest));
  }
  return number;
}

Target ParseTarget(std::string_view target) {
  if (target.starts_with(kScheme)) {
    const std::size_t path = target.find_first_of("/?", kScheme.size());
    target = path == std::string_view::npos ? std::string_view("/") : target.substr(path);
  }
  if (!target.starts_with('/')) {
    throw HttpError(400, "the target does not begin with /");
  }
  if (target.find('#') != std::string_view::npos) {
    throw HttpError(400, "the target has a fragment");
  }
  const std::size_t mark = target.find('?');
  Target parsed;
  for (const std::string_view part : Split(target.substr(1, mark - 1), '/')) {
    parsed.path.push_back(Decode(part, false));
  }
  std::vector<std::pair<std::string, std::string>> values;
  if (mark != std::string_view::npos) {
    for (const std::string_view part : Split(target.substr(mark + 1), '&')) {
      if (!part.empty()) {
        const std::size_t equals = part.find('=');
        values.emplace_back(Decode(part.substr(0, equals), true),
                            equals == std::string_view::npos
                                ? std::string()
                                : Decode(part.substr(equals + 1), true));
      }
    }
  }
  parsed.query = Query(std::move(values));
  return parsed;
}

}  // namespace ktsvc::api
