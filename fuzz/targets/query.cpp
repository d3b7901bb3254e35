// What stands behind the method of a request: path and query, against a plain reader.
//
// Input: the target.

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "api/http_error.h"
#include "api/target.h"
#include "support/byte_source.h"
#include "support/plain_text.h"
#include "support/require.h"

namespace {

using kt::fuzz::Require;
using kt::fuzz::RequireSame;
using kt::fuzz::RequireSameNumber;

struct PlainTarget {
  std::vector<std::string> path;
  std::vector<std::pair<std::string, std::string>> query;
};

// Nothing for a text with an escape that is none, with bytes that are no UTF-8, or with a zero.
std::optional<std::string> Decoded(const std::string& text, bool plus_is_blank) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '%') {
      const std::string digits = text.substr(at + 1, 2);
      if (digits.size() != 2 ||
          digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        return std::nullopt;
      }
      result += static_cast<char>(std::stoul(digits, nullptr, 16));
      at += 2;
    } else {
      result += plus_is_blank && text[at] == '+' ? ' ' : text[at];
    }
  }
  if (kt::fuzz::FromUtf8(result).malformed || result.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  return result;
}

std::vector<std::string> Cut(const std::string& text, char mark) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == mark) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  if (text.empty()) parts.clear();
  return parts;
}

std::optional<PlainTarget> PlainParse(std::string target) {
  if (target.rfind("http://", 0) == 0) {
    std::size_t end = 7;
    while (end < target.size() && target[end] != '/' && target[end] != '?') ++end;
    target = end == target.size() ? "/" : target.substr(end);
  }
  if (target.empty() || target[0] != '/' || target.find('#') != std::string::npos) {
    return std::nullopt;
  }
  const std::size_t mark = target.find('?');
  PlainTarget result;
  for (const std::string& part :
       Cut(target.substr(1, mark == std::string::npos ? mark : mark - 1), '/')) {
    const auto decoded = Decoded(part, false);
    if (!decoded) return std::nullopt;
    result.path.push_back(*decoded);
  }
  if (mark == std::string::npos) return result;
  for (const std::string& part : Cut(target.substr(mark + 1), '&')) {
    if (part.empty()) continue;
    const std::size_t equals = part.find('=');
    const auto name = Decoded(part.substr(0, equals), true);
    const auto value =
        equals == std::string::npos ? std::string() : Decoded(part.substr(equals + 1), true);
    if (!name || !value) return std::nullopt;
    result.query.emplace_back(*name, *value);
  }
  return result;
}

// A number as the manual has it: decimal, or hexadecimal behind 0x, 32 bits.
std::optional<std::uint32_t> PlainNumber(const std::string& text) {
  const bool hex = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
  const std::string digits = hex ? text.substr(2) : text;
  const char* const known = hex ? "0123456789abcdefABCDEF" : "0123456789";
  if (digits.empty() || digits.find_first_not_of(known) != std::string::npos) return std::nullopt;
  std::uint64_t number = 0;
  for (const char c : digits) {
    const std::uint64_t digit = std::stoul(std::string(1, c), nullptr, 16);
    number = number * (hex ? 16 : 10) + digit;
    if (number > 0xFFFFFFFFU) return std::nullopt;
  }
  return static_cast<std::uint32_t>(number);
}

void TryNumbers(const ktsvc::api::Query& query) {
  for (const auto& [name, value] : query.values()) {
    const std::string first = query.Find(name).value_or("");
    const auto expected = PlainNumber(first);
    try {
      const auto number = query.Number(name, 0, 0xFFFFFFFFU);
      Require(number == expected, "a number is read as the plain reader does");
    } catch (const ktsvc::api::HttpError&) {
      Require(!expected, "what is a number is taken for one");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = kt::fuzz::TextOf(data, size);
  const auto expected = PlainParse(text);
  try {
    const ktsvc::api::Target target = ktsvc::api::ParseTarget(text);
    Require(expected.has_value(), "a target that is malformed is refused");
    RequireSameNumber(expected->path.size(), target.path.size(), "the path has as many parts");
    for (std::size_t i = 0; i < target.path.size(); ++i) {
      RequireSame(expected->path[i], target.path[i], "a part of the path is decoded");
    }
    RequireSameNumber(expected->query.size(), target.query.values().size(), "as many values");
    for (std::size_t i = 0; i < expected->query.size(); ++i) {
      RequireSame(expected->query[i].first, target.query.values()[i].first, "a name is decoded");
      RequireSame(expected->query[i].second, target.query.values()[i].second, "and its value");
    }
    TryNumbers(target.query);
  } catch (const ktsvc::api::HttpError&) {
    Require(!expected, "a target that is well-formed is taken");
  }
  return 0;
}
