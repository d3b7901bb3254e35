#include "bus/trace_format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "bus/text.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {
namespace {

// A width or precision that a mistaken argument made absurd must not exhaust the memory.
constexpr int kWidest = 65536;

// Room for most lines, so that a line does not grow piece by piece.
constexpr std::size_t kUsualLine = 256;

enum class Size { kInt, kShort, kChar, kLong, kWide, kLongLong };

// One conversion as it stands in the format.
struct Conversion {
  bool left = false;
  bool plus = false;
  bool blank = false;
  bool alternate = false;
  bool zeros = false;
  bool width_argument = false;
  bool precision_argument = false;
  int width = 0;
  std::optional<int> precision;
  Size size = Size::kInt;
  char type = '\0';

  [[nodiscard]] bool wide_text() const noexcept {
    if (type == 's' || type == 'c') return size == Size::kLong || size == Size::kWide;
    return size != Size::kShort;
  }
};

int ReadNumber(const char*& at) noexcept {
  int number = 0;
  for (; *at >= '0' && *at <= '9'; ++at) number = std::min(number * 10 + (*at - '0'), kWidest);
  return number;
}

void ReadFlags(const char*& at, Conversion& conversion) noexcept {
  for (;; ++at) {
    switch (*at) {
      case '-':
        conversion.left = true;
        break;
      case '+':
        conversion.plus = true;
        break;
      case ' ':
        conversion.blank = true;
        break;
      case '#':
        conversion.alternate = true;
        break;
      case '0':
        conversion.zeros = true;
        break;
      default:
        return;
    }
  }
}

Size ReadSize(const char*& at) noexcept {
  // Most conversions have no prefix.
  if (std::strchr("hlIwjzt", *at) == nullptr) return Size::kInt;
  struct Prefix {
    std::string_view text;
    Size size;
  };
  static constexpr std::array kPrefixes{
      Prefix{"hh", Size::kChar},    Prefix{"h", Size::kShort},      Prefix{"ll", Size::kLongLong},
      Prefix{"l", Size::kLong},     Prefix{"I64", Size::kLongLong}, Prefix{"I32", Size::kInt},
      Prefix{"I", Size::kLongLong}, Prefix{"w", Size::kWide},       Prefix{"j", Size::kLongLong},
      Prefix{"z", Size::kLongLong}, Prefix{"t", Size::kLongLong}};
  for (const Prefix& prefix : kPrefixes) {
    if (std::strncmp(at, prefix.text.data(), prefix.text.size()) == 0) {
      at += prefix.text.size();
      return prefix.size;
    }
  }
  return Size::kInt;
}

// Reads the conversion behind a '%' and leaves `at` behind it; nothing when it is none. `at` then
// stands at the first character that did not fit, from where the text goes on.
std::optional<Conversion> ReadConversion(const char*& at) noexcept {
  Conversion conversion;
  ReadFlags(at, conversion);
  if (*at == '*') {
    conversion.width_argument = true;
    ++at;
  } else {
    conversion.width = ReadNumber(at);
  }
  if (*at == '.') {
    ++at;
    if (*at == '*') {
      conversion.precision_argument = true;
      ++at;
    } else {
      conversion.precision = ReadNumber(at);
    }
  }
  conversion.size = ReadSize(at);
  if (*at == '\0' || std::strchr("diuxXocCsSpeEfFgGaA", *at) == nullptr) return std::nullopt;
  conversion.type = *at++;
  return conversion;
}

// The analyzer does not see that KtTrace has started the list before it hands the arguments on.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized)
void ReadStars(Conversion& conversion, Arguments& arguments) {
  if (conversion.width_argument) {
    const int width = va_arg(arguments.list, int);
    conversion.left = conversion.left || width < 0;
    conversion.width = width < 0 ? -std::max(width, -kWidest) : std::min(width, kWidest);
  }
  if (conversion.precision_argument) {
    const int precision = va_arg(arguments.list, int);
    if (precision >= 0) conversion.precision = std::min(precision, kWidest);
  }
}

// Appends sign or base prefix and body, padded to the width.
// `counted` is how much of the width the body takes.
void Pad(const Conversion& conversion, std::string_view prefix, std::string_view body,
         std::size_t counted, bool zeros, std::string& out) {
  const std::size_t size = prefix.size() + counted;
  const auto width = static_cast<std::size_t>(conversion.width);
  const std::size_t padding = width > size ? width - size : 0;
  if (!conversion.left && !zeros) out.append(padding, ' ');
  out += prefix;
  if (!conversion.left && zeros) out.append(padding, '0');
  out += body;
  if (conversion.left) out.append(padding, ' ');
}

void Pad(const Conversion& conversion, std::string_view prefix, std::string_view body, bool zeros,
         std::string& out) {
  Pad(conversion, prefix, body, body.size(), zeros, out);
}

std::string_view SignOf(const Conversion& conversion, bool negative) noexcept {
  if (negative) return "-";
  if (conversion.plus) return "+";
  return conversion.blank ? " " : "";
}

void UpperCase(std::string& text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
}

void PrintInteger(const Conversion& conversion, Arguments& arguments, std::string& out) {
  const bool is_signed = conversion.type == 'd' || conversion.type == 'i';
  // Every argument narrower than 64 bits is read as 32 bits: that is what a caller passes for
  // them, also for %lu on targets where a long is wider.
  std::uint64_t value = conversion.size == Size::kLongLong ? va_arg(arguments.list, std::uint64_t)
                                                           : va_arg(arguments.list, std::uint32_t);
  bool negative = false;
  if (is_signed) {
    auto number = static_cast<std::int64_t>(value);
    if (conversion.size != Size::kLongLong) number = static_cast<std::int32_t>(value);
    if (conversion.size == Size::kShort) number = static_cast<std::int16_t>(value);
    // NOLINTNEXTLINE(bugprone-signed-char-misuse,cert-str34-c): a number, and its sign counts.
    if (conversion.size == Size::kChar) number = static_cast<std::int8_t>(value);
    negative = number < 0;
    value = static_cast<std::uint64_t>(number);
    if (negative) value = 0 - value;
  } else if (conversion.size == Size::kShort) {
    value = static_cast<std::uint16_t>(value);
  } else if (conversion.size == Size::kChar) {
    value = static_cast<std::uint8_t>(value);
  }

  int base = 10;
  if (conversion.type == 'x' || conversion.type == 'X') base = 16;
  if (conversion.type == 'o') base = 8;
  std::array<char, 24> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base).ptr;
  std::string body(digits.data(), end);
  if (value == 0 && conversion.precision == 0) body.clear();
  if (conversion.type == 'X') UpperCase(body);
  const auto least = static_cast<std::size_t>(conversion.precision.value_or(0));
  if (body.size() < least) body.insert(0, least - body.size(), '0');

  std::string_view prefix = is_signed ? SignOf(conversion, negative) : "";
  if (conversion.alternate && base == 16 && value != 0) {
    prefix = conversion.type == 'X' ? "0X" : "0x";
  }
  if (conversion.alternate && base == 8 && (body.empty() || body.front() != '0')) {
    body.insert(0, 1, '0');
  }
  Pad(conversion, prefix, body, conversion.zeros && !conversion.precision, out);
}

void PrintPointer(const Conversion& conversion, Arguments& arguments, std::string& out) {
  std::array<char, 16> digits{};
  const auto value = va_arg(arguments.list, std::uint64_t);
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
  std::string body(digits.data(), end);
  UpperCase(body);
  body.insert(0, digits.size() - body.size(), '0');
  Pad(conversion, "", body, false, out);
}

// What '#' does to a number: a point stands in it in any case, and the general form keeps the zeros
// at its end up to `digits`, the digits that count.
void KeepPoint(char type, std::size_t digits, std::string& body) {
  const std::size_t end = std::min(body.find_first_of("ep"), body.size());
  std::string mantissa = body.substr(0, end);
  if (mantissa.find('.') == std::string::npos) mantissa += '.';
  if (type == 'g') {
    // Zeros in front count for nothing, unless there is nothing else.
    const std::size_t first = std::min(mantissa.find_first_of("123456789"), mantissa.size());
    const std::string_view counted = std::string_view(mantissa).substr(first);
    const std::size_t points = counted.find('.') == std::string_view::npos ? 0 : 1;
    const std::size_t there = counted.empty() ? mantissa.size() - 1 : counted.size() - points;
    if (there < digits) mantissa.append(digits - there, '0');
  }
  body.replace(0, end, mantissa);
}

void PrintFloating(const Conversion& conversion, Arguments& arguments, std::string& out) {
  const double value = va_arg(arguments.list, double);
  const bool negative = std::signbit(value);
  const double magnitude = std::fabs(value);
  const char type = static_cast<char>(conversion.type | 0x20);
  auto form = std::chars_format::general;
  if (type == 'f') form = std::chars_format::fixed;
  if (type == 'e') form = std::chars_format::scientific;
  if (type == 'a') form = std::chars_format::hex;
  const int precision = conversion.precision.value_or(6);
  // The longest double has 309 digits before the point.
  std::string body(static_cast<std::size_t>(precision) + 400, '\0');
  char* const end = body.data() + body.size();
  const auto result = type == 'a' && !conversion.precision
                          ? std::to_chars(body.data(), end, magnitude, form)
                          : std::to_chars(body.data(), end, magnitude, form, precision);
  body.resize(static_cast<std::size_t>(result.ptr - body.data()));
  const bool finite = std::isfinite(value);
  if (conversion.alternate && finite) {
    KeepPoint(type, static_cast<std::size_t>(std::max(precision, 1)), body);
  }
  std::string prefix(SignOf(conversion, negative));
  if (type == 'a' && finite) prefix += "0x";
  if (conversion.type != type) {
    UpperCase(body);
    UpperCase(prefix);
  }
  Pad(conversion, prefix, body, conversion.zeros && finite, out);
}

// The text of a wide conversion: width and precision of it count UTF-16 units, as the conversion
// that is imitated does.
void PrintWideText(const Conversion& conversion, const KtWchar* text, std::string& out) {
  constexpr KtWchar kFirstHigh = 0xD800;
  constexpr KtWchar kLastHigh = 0xDBFF;
  std::size_t units = 0;
  if (conversion.precision) {
    // A text with a precision need not be terminated.
    const auto most = static_cast<std::size_t>(*conversion.precision);
    while (units < most && text[units] != 0) ++units;
    // Cut between characters.
    const bool cut = units == most && units != 0;
    if (cut && text[units - 1] >= kFirstHigh && text[units - 1] <= kLastHigh) --units;
  } else {
    units = std::char_traits<KtWchar>::length(text);
  }
  Pad(conversion, "", ReadableUtf8({text, units}), units, false, out);
}

void PrintText(const Conversion& conversion, Arguments& arguments, std::string& out) {
  const void* const text = va_arg(arguments.list, const void*);
  if (text == nullptr) {
    const std::string_view none = "(null)";
    const auto most = static_cast<std::size_t>(conversion.precision.value_or(6));
    Pad(conversion, "", none.substr(0, most), false, out);
    return;
  }
  if (conversion.wide_text()) {
    PrintWideText(conversion, static_cast<const KtWchar*>(text), out);
    return;
  }
  const char* const narrow = static_cast<const char*>(text);
  std::size_t size = 0;
  if (conversion.precision) {
    const auto most = static_cast<std::size_t>(*conversion.precision);
    while (size < most && narrow[size] != '\0') ++size;
  } else {
    size = std::strlen(narrow);
  }
  Pad(conversion, "", {narrow, size}, false, out);
}

void PrintCharacter(const Conversion& conversion, Arguments& arguments, std::string& out) {
  const auto value = va_arg(arguments.list, std::uint32_t);
  std::string body;
  if (conversion.wide_text()) {
    const auto unit = static_cast<KtWchar>(value);
    body = ReadableUtf8({&unit, 1});
  } else {
    body.assign(1, static_cast<char>(value));
  }
  // A zero would end the line for every reader of C text.
  if (body.size() == 1 && body.front() == '\0') body.clear();
  Pad(conversion, "", body, false, out);
}

void AppendNumber(std::uint32_t number, int base, std::string& out) {
  std::array<char, 16> digits{};
  char* const first = digits.data();
  const char* const last = std::to_chars(first, first + digits.size(), number, base).ptr;
  out.append(first, static_cast<std::size_t>(last - first));
}

// Nearly all conversions are one letter, without flags, width, precision and size: those that are
// most frequent are printed here, as Print() would do it. False for any other.
bool PrintPlain(char type, Arguments& arguments, std::string& out) {
  constexpr std::string_view kNone = "(null)";
  switch (type) {
    case 's':
      if (const auto* const text = va_arg(arguments.list, const char*)) {
        out.append(text);
      } else {
        out += kNone;
      }
      return true;
    case 'S':
      if (const auto* const text = va_arg(arguments.list, const KtWchar*)) {
        AppendReadableUtf8({text, std::char_traits<KtWchar>::length(text)}, out);
      } else {
        out += kNone;
      }
      return true;
    case 'd': {
      const auto number = static_cast<std::int32_t>(va_arg(arguments.list, std::uint32_t));
      if (number < 0) out += '-';
      const auto magnitude = static_cast<std::uint32_t>(number);
      AppendNumber(number < 0 ? 0 - magnitude : magnitude, 10, out);
      return true;
    }
    case 'u':
      AppendNumber(va_arg(arguments.list, std::uint32_t), 10, out);
      return true;
    case 'x':
      AppendNumber(va_arg(arguments.list, std::uint32_t), 16, out);
      return true;
    case '%':
      out += '%';
      return true;
    default:
      return false;
  }
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)

void Print(Conversion& conversion, Arguments& arguments, std::string& out) {
  ReadStars(conversion, arguments);
  switch (conversion.type) {
    case 's':
    case 'S':
      PrintText(conversion, arguments, out);
      break;
    case 'c':
    case 'C':
      PrintCharacter(conversion, arguments, out);
      break;
    case 'p':
      PrintPointer(conversion, arguments, out);
      break;
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
      PrintInteger(conversion, arguments, out);
      break;
    default:
      PrintFloating(conversion, arguments, out);
      break;
  }
}

}  // namespace

std::string FormatTrace(const char* format, Arguments& arguments) {
  std::string out;
  out.reserve(kUsualLine);
  const char* const end = format + std::strlen(format);
  const char* at = format;
  for (;;) {
    const auto* const found =
        static_cast<const char*>(std::memchr(at, '%', static_cast<std::size_t>(end - at)));
    if (found == nullptr) break;
    out.append(at, static_cast<std::size_t>(found - at));
    at = found + 1;
    if (PrintPlain(*at, arguments, out)) {
      ++at;
    } else if (auto conversion = ReadConversion(at)) {
      Print(*conversion, arguments, out);
    } else {
      out.append(found, at);
    }
  }
  out.append(at, static_cast<std::size_t>(end - at));
  return out;
}

}  // namespace kt::bus
