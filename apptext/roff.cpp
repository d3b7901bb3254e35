#include "apptext/roff.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include "apptext/command_text.h"
#include "base/utf8.h"

namespace apptext {
namespace {

constexpr std::size_t kLongestLine = 79;  // of the page's own lines
constexpr std::size_t kIndent = 2;        // of lines that stay as they are

std::string_view EscapeOf(char byte) {
  switch (byte) {
    case '\\':
      return "\\e";
    case '-':
      return "\\-";
    case '\'':
      return "\\(aq";
    case '"':
      return "\\(dq";
    case '`':
      return "\\(ga";
    case '^':
      return "\\(ha";
    case '~':
      return "\\(ti";
    default:
      return {};
  }
}

// "\[u20AC]" for the character, which is well formed and longer than a byte.
std::string NameOf(std::string_view character) {
  constexpr std::array<std::uint32_t, 5> kFirstByteBits{0, 0, 0x1F, 0x0F, 0x07};
  std::uint32_t value =
      static_cast<unsigned char>(character.front()) & kFirstByteBits.at(character.size());
  for (const char byte : character.substr(1)) {
    value = (value << 6U) | (static_cast<unsigned char>(byte) & 0x3FU);
  }
  std::array<char, 16> text{};
  const int length = std::snprintf(text.data(), text.size(), "\\[u%04X]", value);
  return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace

std::string RoffText(std::string_view text) {
  std::string escaped;
  const std::string mended = kt::WellFormed(text);
  for (std::string_view rest = mended; !rest.empty();) {
    const std::size_t length = kt::Utf8Length(rest);
    const std::string_view character = rest.substr(0, length);
    rest.remove_prefix(length);
    if (length > 1) {
      escaped += NameOf(character);
    } else if (const std::string_view escape = EscapeOf(character.front()); !escape.empty()) {
      escaped += escape;
    } else {
      // A dot that begins a line would begin a macro.
      const bool begins = escaped.empty() || escaped.back() == '\n';
      escaped += begins && character.front() == '.' ? "\\&." : character;
    }
  }
  return escaped;
}

void Roff::Line(std::string_view escaped) {
  page_ += escaped;
  page_ += '\n';
}

void Roff::Prose(const std::string& text) {
  bool literal = false;
  bool paragraph = false;
  const auto leave = [this, &literal] {
    if (literal) {
      Line(".fi");
      Line(".RE");
      literal = false;
    }
  };
  for (const std::string& line : Lines(text)) {
    const std::size_t first = line.find_first_not_of(' ');
    if (first == std::string::npos) {
      paragraph = true;
      continue;
    }
    const bool indented = first > 0;
    if (!indented) {
      leave();
    }
    if (paragraph && !literal) {
      Line(".PP");
    } else if (paragraph) {
      Line(".sp");
    }
    paragraph = false;
    if (indented && !literal) {
      Line(".RS 2");
      Line(".nf");
      literal = true;
    }
    if (literal) {
      Line(RoffText(std::string_view(line).substr(std::min(first, kIndent))));
    } else {
      Wrapped(line);
    }
  }
  leave();
}

void Roff::Wrapped(const std::string& line) {
  std::string current;
  std::size_t end = 0;
  for (std::size_t at = 0; (at = line.find_first_not_of(' ', at)) != std::string::npos; at = end) {
    end = std::min(line.find(' ', at), line.size());
    const std::string word = RoffText(std::string_view(line).substr(at, end - at));
    if (!current.empty() && current.size() + 1 + word.size() > kLongestLine) {
      Line(current);
      current.clear();
    }
    // Only a dot that begins a line is escaped by intention.
    current += current.empty() ? word : " " + (word.rfind("\\&.", 0) == 0 ? word.substr(2) : word);
  }
  if (!current.empty()) {
    Line(current);
  }
}

void Roff::Argument(std::string_view text) {
  page_ += " \"";
  page_ += RoffText(text);
  page_ += '"';
}

}  // namespace apptext
