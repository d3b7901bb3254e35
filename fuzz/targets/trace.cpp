// The trace formatter: against the C library where both print the same, and with formats that are
// nothing but bytes.
//
// Input: a byte. Odd: pieces of a format, each with its argument (see Piece). Even: the format
// itself, whose conversions all take the address of an empty text.
//
// KtTrace takes what a variadic call passes. A call here passes more integers and doubles than any
// format asks for, and each is taken from the row of its kind: that is how both 64-bit conventions
// of the systems that this is fuzzed on (x86-64 and ARM64) hand them over.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "ktbus3/ktbus3_host.h"
#include "support/byte_source.h"
#include "support/plain_text.h"
#include "support/require.h"

namespace {

using kt::fuzz::ByteSource;
using kt::fuzz::RequireSame;
using kt::fuzz::WideText;

constexpr std::size_t kWords = 24;
constexpr std::size_t kDoubles = 8;

struct Arguments {
  std::vector<std::uint64_t> words;
  std::vector<double> doubles;
};

// What the formatter made of it, as the framework hands it to its host.
std::string Traced(const std::string& format, Arguments arguments) {
  arguments.words.resize(kWords);
  arguments.doubles.resize(kDoubles);
  const auto& w = arguments.words;
  const auto& d = arguments.doubles;
  std::string text;
  KtBusTraceToCallback([](std::uint32_t, const char* line,
                          void* context) { *static_cast<std::string*>(context) = line; },
                       &text);
  KtTrace(6, format.c_str(), w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7], w[8], w[9], w[10],
          w[11], w[12], w[13], w[14], w[15], w[16], w[17], w[18], w[19], w[20], w[21], w[22], w[23],
          d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
  KtBusTraceToCallback(nullptr, nullptr);
  return text;
}

// ---- The plain formatter ------------------------------------------------------------------------

// Flags, width and precision of one conversion, as they are written and as they count.
struct Field {
  std::string written;  // all between the percent sign and the size
  std::string flags;
  int width = 0;
  int precision = -1;
};

Field ReadField(ByteSource& source, Arguments& arguments, bool numeric) {
  Field field;
  const std::uint8_t flags = source.Byte();
  constexpr std::array kFlags{'-', '+', ' ', '#', '0'};
  for (std::size_t i = 0; i < kFlags.size(); ++i) {
    if ((flags >> i & 1U) != 0 && (numeric || i == 0)) field.flags += kFlags[i];
  }
  field.written = field.flags;
  const std::uint8_t form = source.Byte();
  if ((form & 1U) != 0) {
    field.width = static_cast<int>(source.Below(100));
    if ((form & 2U) != 0) {
      if ((form & 4U) != 0) {
        arguments.words.push_back(static_cast<std::uint32_t>(-field.width));
        field.flags += '-';
      } else {
        arguments.words.push_back(static_cast<std::uint32_t>(field.width));
      }
      field.written += '*';
    } else if (field.width != 0) {
      field.written += std::to_string(field.width);
    }
  }
  if ((form & 8U) != 0) {
    field.precision = static_cast<int>(source.Below(80));
    if ((form & 16U) != 0) {
      field.written += ".*";
      // A negative one is as good as none.
      if ((form & 32U) != 0) {
        arguments.words.push_back(static_cast<std::uint32_t>(-1 - field.precision));
        field.precision = -1;
      } else {
        arguments.words.push_back(static_cast<std::uint32_t>(field.precision));
      }
    } else {
      field.written += "." + (field.precision == 0 ? "" : std::to_string(field.precision));
    }
  }
  return field;
}

// The C library's format for the field; `type` with its size.
std::string LibraryFormat(const Field& field, const std::string& type) {
  std::string format = "%" + field.flags;
  if (field.width != 0) format += std::to_string(field.width);
  if (field.precision >= 0) format += "." + std::to_string(field.precision);
  return format + type;
}

template <typename T>
std::string Printed(const std::string& format, T value) {
  std::array<char, 1024> text{};
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-nonliteral"
  const int size = std::snprintf(text.data(), text.size(), format.c_str(), value);
#pragma clang diagnostic pop
  return {text.data(), static_cast<std::size_t>(std::max(size, 0))};
}

// A text in its field: width and precision count what `size` says.
std::string Padded(const Field& field, const std::string& text, std::size_t size) {
  const auto width = static_cast<std::size_t>(field.width);
  const std::string blanks(width > size ? width - size : 0, ' ');
  return field.flags.find('-') == std::string::npos ? blanks + text : text + blanks;
}

// ---- Pieces of a format -------------------------------------------------------------------------

class Format {
 public:
  explicit Format(ByteSource& source) : source_(source) {}

  // One more piece: plain text or a conversion.
  void Add() {
    switch (source_.Below(8)) {
      case 0:
        AddPlain();
        break;
      case 1:
      case 2:
        AddInteger();
        break;
      case 3:
        AddNarrow();
        break;
      case 4:
        AddWide();
        break;
      case 5:
        AddCharacter();
        break;
      case 6:
        AddPointer();
        break;
      default:
        AddFloating();
        break;
    }
  }

  // Three words at most go to one conversion.
  [[nodiscard]] bool Full() const {
    return arguments_.words.size() + 3 > kWords || arguments_.doubles.size() == kDoubles;
  }

  void Compare() const {
    RequireSame(expected_, Traced(format_, arguments_), "the format is printed as it should");
  }

 private:
  void AddPlain() {
    std::string text = source_.TextWithoutZero();
    for (const char c : text) format_ += c == '%' ? std::string("%%") : std::string(1, c);
    expected_ += text;
  }

  void AddInteger() {
    struct Size {
      const char* written;
      unsigned bits;
    };
    static constexpr std::array kSizes{Size{"", 32},    Size{"l", 32},  Size{"h", 16},
                                       Size{"hh", 8},   Size{"ll", 64}, Size{"I64", 64},
                                       Size{"I32", 32}, Size{"I", 64},  Size{"z", 64},
                                       Size{"j", 64},   Size{"t", 64}};
    static constexpr std::string_view kTypes = "diuxXo";
    const Field field = ReadField(source_, arguments_, true);
    const Size& size = kSizes[source_.Below(kSizes.size())];
    const char type = kTypes[source_.Below(kTypes.size())];
    const std::uint64_t word = source_.Number64();
    arguments_.words.push_back(word);
    format_ += "%" + field.written + size.written + type;
    const bool is_signed = type == 'd' || type == 'i';
    const std::string library = LibraryFormat(field, std::string("ll") + type);
    const unsigned unused = 64 - size.bits;
    if (is_signed) {
      expected_ += Printed(library, static_cast<long long>(word << unused) >> unused);
    } else {
      expected_ += Printed(library, static_cast<unsigned long long>(word << unused >> unused));
    }
  }

  // Of a text with a precision no more is there than the precision lets in.
  void AddNarrow() {
    const Field field = ReadField(source_, arguments_, false);
    std::string text = source_.TextWithoutZero();
    const bool none = source_.Below(16) == 0;
    const bool hs = source_.Flag();
    if (none) text = "(null)";
    const std::size_t shown =
        field.precision < 0
            ? text.size()
            : std::min<std::size_t>(text.size(), static_cast<std::size_t>(field.precision));
    format_ += "%" + field.written + (hs ? "hs" : "s");
    arguments_.words.push_back(none ? 0 : Kept(text, field.precision));
    expected_ += Padded(field, text.substr(0, shown), shown);
  }

  void AddWide() {
    const Field field = ReadField(source_, arguments_, false);
    WideText text = source_.WideTextWithoutZero();
    const bool none = source_.Below(16) == 0;
    static constexpr std::array kForms{"S", "ls", "ws"};
    format_ += "%" + field.written + kForms[source_.Below(kForms.size())];
    if (none) {
      const std::string shown = std::string("(null)").substr(
          0, field.precision < 0 ? 6 : static_cast<std::size_t>(field.precision));
      arguments_.words.push_back(0);
      expected_ += Padded(field, shown, shown.size());
      return;
    }
    arguments_.words.push_back(Kept(text, field.precision));
    if (field.precision >= 0 && text.size() >= static_cast<std::size_t>(field.precision)) {
      text.resize(static_cast<std::size_t>(field.precision));
      // Cut between characters: half a pair at the cut is left out.
      if (!text.empty() && (text.back() & 0xFC00) == 0xD800) text.pop_back();
    }
    expected_ += Padded(field, kt::fuzz::PlainNarrow(text), text.size());
  }

  void AddCharacter() {
    const Field field = ReadField(source_, arguments_, false);
    const std::uint32_t value = source_.Number32();
    arguments_.words.push_back(value);
    static constexpr std::array kForms{"c", "hc", "C", "lc"};
    const std::size_t form = source_.Below(kForms.size());
    format_ += "%" + field.written + kForms[form];
    std::string text;
    if (form < 2) {
      text.assign(1, static_cast<char>(value));
    } else {
      text = kt::fuzz::PlainNarrow(WideText(1, static_cast<KtWchar>(value)));
    }
    if (text == std::string(1, '\0')) text.clear();
    expected_ += Padded(field, text, text.size());
  }

  void AddPointer() {
    const Field field = ReadField(source_, arguments_, false);
    const std::uint64_t word = source_.Number64();
    arguments_.words.push_back(word);
    format_ += "%" + field.written + "p";
    const std::string text = Printed(std::string("%016llX"), static_cast<unsigned long long>(word));
    expected_ += Padded(field, text, text.size());
  }

  void AddFloating() {
    const Field field = ReadField(source_, arguments_, true);
    static constexpr std::string_view kTypes = "eEfFgG";
    const char type = kTypes[source_.Below(kTypes.size())];
    auto value = std::bit_cast<double>(source_.Number64());
    if (std::isnan(value)) value = std::bit_cast<double>(0x7FF8000000000000ULL);
    arguments_.doubles.push_back(value);
    format_ += "%" + field.written + type;
    expected_ += Printed(LibraryFormat(field, std::string(1, type)), value);
  }

  // The address of a block that ends where the formatter must stop reading.
  template <typename Unit>
  std::uint64_t Kept(const std::basic_string<Unit>& text, int precision) {
    const auto most = static_cast<std::size_t>(std::max(precision, 0));
    const bool terminated = precision < 0 || text.size() < most;
    const std::size_t size = (terminated ? text.size() + 1 : most) * sizeof(Unit);
    auto& block = texts_.emplace_back(new char[size == 0 ? 1 : size]);
    std::copy_n(reinterpret_cast<const char*>(text.c_str()), size, block.get());
    return std::bit_cast<std::uint64_t>(block.get());
  }

  ByteSource& source_;
  std::string format_;
  std::string expected_;
  Arguments arguments_;
  std::list<std::unique_ptr<char[]>> texts_;
};

// Any bytes as a format. Whatever it takes for a text is an empty one.
void TryBytes(std::string format) {
  format = format.c_str();
  static constexpr std::array<char, 16> kEmpty{};
  std::size_t conversions = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%' && format[i] != '*') continue;
    if (++conversions <= kWords - 4) continue;
    format.resize(i);
  }
  Arguments arguments;
  arguments.words.assign(kWords, std::bit_cast<std::uint64_t>(kEmpty.data()));
  const std::string text = Traced(format, arguments);
  if (format.find('%') == std::string::npos) {
    RequireSame(format, text, "a format without conversions is printed as it stands");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteSource source(data, size);
  if (!source.Flag()) {
    TryBytes(source.Rest());
    return 0;
  }
  Format format(source);
  while (!source.Empty() && !format.Full()) format.Add();
  format.Compare();
  return 0;
}
