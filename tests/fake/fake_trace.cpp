// The trace: the Microsoft C run-time's format on every target.

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "fake/fake_state.h"

namespace fake {
namespace {

// One conversion of a format, from its percent sign on.
struct Conversion {
  bool minus = false, plus = false, blank = false, alternate = false, zero = false;
  int width = -1;      // -1 none, -2 an argument
  int precision = -1;  // the same
  bool wide_integer = false;
  bool wide_text = false;
  bool narrow_text = false;
  char kind = 0;
};

// Reads a conversion; null when it is none.
const char* ReadConversion(const char* at, Conversion& conversion) {
  for (;; ++at) {
    if (*at == '-') {
      conversion.minus = true;
    } else if (*at == '+') {
      conversion.plus = true;
    } else if (*at == ' ') {
      conversion.blank = true;
    } else if (*at == '#') {
      conversion.alternate = true;
    } else if (*at == '0') {
      conversion.zero = true;
    } else {
      break;
    }
  }
  const auto read_number = [&](int& number) {
    if (*at == '*') {
      number = -2;
      ++at;
      return;
    }
    for (; *at >= '0' && *at <= '9'; ++at) {
      number = std::min(std::max(number, 0) * 10 + (*at - '0'), 4096);
    }
  };
  read_number(conversion.width);
  if (*at == '.') {
    ++at;
    conversion.precision = 0;
    read_number(conversion.precision);
  }
  if (std::strncmp(at, "I64", 3) == 0) {
    conversion.wide_integer = true;
    at += 3;
  } else if (std::strncmp(at, "I32", 3) == 0) {
    at += 3;
  } else if (std::strncmp(at, "ll", 2) == 0) {
    conversion.wide_integer = true;
    at += 2;
  } else if (*at == 'l' || *at == 'w') {
    conversion.wide_text = true;
    ++at;
  } else if (*at == 'h') {
    conversion.narrow_text = true;
    ++at;
  } else if (*at == 'I' || *at == 'z') {
    conversion.wide_integer = true;
    ++at;
  }
  if (*at == '\0' || std::strchr("diuoxXcsSp", *at) == nullptr) return nullptr;
  conversion.kind = *at;
  return at + 1;
}

std::string Padded(std::string text, const Conversion& conversion, bool zeros_allowed = false) {
  const auto width = static_cast<std::size_t>(std::max(conversion.width, 0));
  if (text.size() >= width) return text;
  const std::size_t missing = width - text.size();
  if (conversion.minus) return text + std::string(missing, ' ');
  if (!conversion.zero || !zeros_allowed) return std::string(missing, ' ') + text;
  // Zeros stand between the sign or the prefix and the digits.
  std::size_t head = !text.empty() && std::strchr("+- ", text[0]) != nullptr ? 1 : 0;
  if (text.compare(head, 2, "0x") == 0 || text.compare(head, 2, "0X") == 0) head += 2;
  return text.insert(head, missing, '0');
}

std::string IntegerText(std::uint64_t magnitude, bool negative, const Conversion& conversion) {
  char buffer[32];
  const auto printed = static_cast<unsigned long long>(magnitude);
  if (conversion.kind == 'x') {
    static_cast<void>(std::snprintf(buffer, sizeof buffer, "%llx", printed));
  } else if (conversion.kind == 'X') {
    static_cast<void>(std::snprintf(buffer, sizeof buffer, "%llX", printed));
  } else if (conversion.kind == 'o') {
    static_cast<void>(std::snprintf(buffer, sizeof buffer, "%llo", printed));
  } else {
    static_cast<void>(std::snprintf(buffer, sizeof buffer, "%llu", printed));
  }
  std::string digits = buffer;
  const auto least = static_cast<std::size_t>(std::max(conversion.precision, 0));
  if (conversion.precision == 0 && magnitude == 0) digits.clear();
  if (digits.size() < least) digits.insert(0, least - digits.size(), '0');
  if (conversion.alternate && magnitude != 0) {
    if (conversion.kind == 'x') digits.insert(0, "0x");
    if (conversion.kind == 'X') digits.insert(0, "0X");
  }
  if (negative) {
    digits.insert(0, "-");
  } else if (conversion.kind == 'd' || conversion.kind == 'i') {
    if (conversion.plus) {
      digits.insert(0, "+");
    } else if (conversion.blank) {
      digits.insert(0, " ");
    }
  }
  return Padded(digits, conversion, conversion.precision < 0);
}

std::string WideText(const KtWchar* text, int precision) {
  if (text == nullptr) return "(null)";
  std::u16string units;
  while ((precision < 0 || units.size() < static_cast<std::size_t>(precision)) && *text != 0) {
    units.push_back(static_cast<char16_t>(*text++));
  }
  return WideToNarrow(units);
}

std::string NarrowText(const char* text, int precision) {
  if (text == nullptr) return "(null)";
  std::string copy;
  while ((precision < 0 || copy.size() < static_cast<std::size_t>(precision)) && *text != '\0') {
    copy.push_back(*text++);
  }
  return copy;
}

std::string Format(const char* format, va_list arguments) {
  std::string line;
  while (*format != '\0') {
    if (*format != '%') {
      line.push_back(*format++);
      continue;
    }
    if (format[1] == '%') {
      line.push_back('%');
      format += 2;
      continue;
    }
    Conversion conversion;
    const char* next = ReadConversion(format + 1, conversion);
    if (next == nullptr) {
      // No conversion: it stands for itself.
      line.push_back(*format++);
      continue;
    }
    format = next;
    if (conversion.width == -2) {
      conversion.width = va_arg(arguments, int);
      if (conversion.width < 0) {
        conversion.minus = true;
        conversion.width = -conversion.width;
      }
    }
    if (conversion.precision == -2) conversion.precision = va_arg(arguments, int);
    switch (conversion.kind) {
      case 's':
      case 'S': {
        const bool wide = conversion.kind == 'S' ? !conversion.narrow_text : conversion.wide_text;
        line += Padded(wide ? WideText(va_arg(arguments, const KtWchar*), conversion.precision)
                            : NarrowText(va_arg(arguments, const char*), conversion.precision),
                       conversion);
        break;
      }
      case 'c': {
        const auto unit = static_cast<char16_t>(va_arg(arguments, int));
        line += Padded(conversion.wide_text ? WideToNarrow(std::u16string_view(&unit, 1))
                                            : std::string(1, static_cast<char>(unit)),
                       conversion);
        break;
      }
      case 'p': {
        char buffer[32];
        static_cast<void>(
            std::snprintf(buffer, sizeof buffer, "%016llX",
                          static_cast<unsigned long long>(
                              reinterpret_cast<std::uintptr_t>(va_arg(arguments, void*)))));
        line += Padded(buffer, conversion);
        break;
      }
      case 'd':
      case 'i': {
        const std::int64_t value = conversion.wide_integer ? va_arg(arguments, std::int64_t)
                                                           : va_arg(arguments, std::int32_t);
        const std::uint64_t magnitude =
            value < 0 ? ~static_cast<std::uint64_t>(value) + 1 : static_cast<std::uint64_t>(value);
        line += IntegerText(magnitude, value < 0, conversion);
        break;
      }
      default: {
        const std::uint64_t value = conversion.wide_integer ? va_arg(arguments, std::uint64_t)
                                                            : va_arg(arguments, std::uint32_t);
        line += IntegerText(value, false, conversion);
      }
    }
  }
  return line;
}

}  // namespace
}  // namespace fake

extern "C" {

KT_BUS_API void KtTrace(uint32_t level, const char* format, ...) {
  fake::State& state = fake::State::Get();
  const fake::Guard guard(state.mutex);
  va_list arguments;
  va_start(arguments, format);
  std::string line = format != nullptr ? fake::Format(format, arguments) : "(null)";
  va_end(arguments);
  state.Note("KtTrace", level, line.c_str());
  state.traces.push_back({level, std::move(line)});
}

KT_BUS_API uint32_t KtSetTraceLevel(uint32_t level) {
  fake::State& state = fake::State::Get();
  const fake::Guard guard(state.mutex);
  state.Note("KtSetTraceLevel", level);
  const std::uint32_t previous = state.trace_level;
  state.trace_level = level;
  return previous;
}

}  // extern "C"
