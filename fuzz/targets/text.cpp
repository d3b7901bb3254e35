// Text conversion with whatever bytes and units: the framework's, the module's and the service's
// against a plain one.
//
// Input: a byte, even for UTF-8 and odd for UTF-16; a byte, how much room there is; the text.

#include <algorithm>
#include <memory>
#include <string>

#include "access/line_reader.h"
#include "base/text.h"
#include "base/utf8.h"
#include "bus_text.h"
#include "support/byte_source.h"
#include "support/plain_text.h"
#include "support/require.h"

namespace {

using kt::fuzz::AsUtf16;
using kt::fuzz::AsUtf8;
using kt::fuzz::Characters;
using kt::fuzz::Require;
using kt::fuzz::RequireSame;
using kt::fuzz::RequireSameNumber;
using kt::fuzz::UnitBytes;

constexpr std::size_t kMalformed = static_cast<std::size_t>(-1);

std::string BytesOf(const std::string& text) {
  return text;
}

std::string BytesOf(const KtWString& text) {
  return UnitBytes(text);
}

// As many whole characters as there is room for.
template <typename Text, typename Form>
Text Fitting(const Characters& characters, std::size_t room, Form form) {
  Text text;
  for (const char32_t c : characters.list) {
    const Text next = form({c});
    if (text.size() + next.size() > room) break;
    text += next;
  }
  return text;
}

// One direction of the framework's conversion: measured, and into a block of just that room.
template <typename To, typename From, typename Form>
void TryConversion(std::size_t (*convert)(To*, const From*, std::size_t),
                   const std::basic_string<From>& text, const Characters& characters,
                   std::size_t room, Form form) {
  const std::basic_string<To> whole = form(characters.list);
  const std::size_t needed = convert(nullptr, text.c_str(), 0);
  const auto filler = static_cast<To>(0xEE);
  const std::unique_ptr<To[]> to(new To[room]);
  std::fill_n(to.get(), room, filler);
  const std::size_t written = convert(to.get(), text.c_str(), room);
  if (characters.malformed) {
    RequireSameNumber(kMalformed, needed, "malformed text is refused when it is measured");
    RequireSameNumber(kMalformed, written, "malformed text is refused when it is converted");
    Require(std::all_of(to.get(), to.get() + room, [=](To unit) { return unit == filler; }),
            "nothing is written of malformed text");
    return;
  }
  RequireSameNumber(whole.size(), needed, "the measure is that of the whole text");
  std::basic_string<To> expected = Fitting<std::basic_string<To>>(characters, room, form);
  RequireSameNumber(expected.size(), written, "what is written is counted");
  if (expected.size() < room) expected += To{};
  expected.resize(room, filler);
  RequireSame(BytesOf(expected), BytesOf(std::basic_string<To>(to.get(), room)),
              "whole characters are written, and the terminator where it fits");
}

void TryUtf8(const std::string& bytes, std::size_t room) {
  const std::string text = bytes.c_str();
  const Characters characters = kt::fuzz::FromUtf8(text);
  TryConversion<KtWchar, char>(&Ktmbstowcs, text, characters, room, &AsUtf16);
  RequireSame(UnitBytes(AsUtf16(characters.list)), UnitBytes(kt::Widen(bytes)),
              "kt::Widen keeps what is well-formed and marks the rest");
  if (!characters.malformed) {
    RequireSame(text, kt::Narrow(kt::Widen(text)), "well-formed text comes back as it was");
  }

  // The service's, which know no terminator.
  const Characters all = kt::fuzz::FromUtf8(bytes);
  RequireSame(AsUtf8(all.list), kt::WellFormed(bytes), "kt::WellFormed marks what is malformed");
  Require(ktsvc::IsUtf8(bytes) == !all.malformed, "ktsvc::IsUtf8 answers as the plain reader");
  const auto wide = ktsvc::ToUtf16(bytes);
  Require(wide.has_value() == !all.malformed, "ktsvc::ToUtf16 refuses malformed text alone");
  if (wide) {
    RequireSame(UnitBytes(AsUtf16(all.list)), UnitBytes(*wide), "ktsvc::ToUtf16 converts");
    RequireSame(bytes, ktsvc::ToUtf8(*wide).value_or("(nothing)"), "and ktsvc::ToUtf8 back");
  }
  const std::size_t first = ktsvc::access::FirstMalformedByte(bytes);
  Require(!kt::fuzz::FromUtf8(bytes.substr(0, first)).malformed,
          "what stands before the first malformed byte is well-formed");
  Require((first == bytes.size()) == !all.malformed, "the first malformed byte is found");
}

void TryUtf16(const KtWString& units, std::size_t room) {
  const KtWString text = units.c_str();
  const Characters characters = kt::fuzz::FromUtf16(text);
  TryConversion<char, KtWchar>(&Ktwcstombs, text, characters, room, &AsUtf8);
  RequireSame(AsUtf8(characters.list), kt::Narrow(units),
              "kt::Narrow keeps what is well-formed and marks the rest");
  if (!characters.malformed) {
    RequireSame(UnitBytes(text), UnitBytes(kt::Widen(kt::Narrow(text))),
                "well-formed text comes back as it was");
  }
  const Characters all = kt::fuzz::FromUtf16(units);
  const auto narrow = ktsvc::ToUtf8(units);
  Require(narrow.has_value() == !all.malformed, "ktsvc::ToUtf8 refuses malformed text alone");
  if (narrow) RequireSame(AsUtf8(all.list), *narrow, "ktsvc::ToUtf8 converts");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kt::fuzz::ByteSource source(data, size);
  const bool wide = source.Flag();
  const std::size_t room = source.Byte();
  const std::string rest = source.Rest();
  if (!wide) {
    TryUtf8(rest, room);
    return 0;
  }
  KtWString units;
  for (std::size_t i = 0; i + 1 < rest.size(); i += 2) {
    units += static_cast<KtWchar>(static_cast<unsigned char>(rest[i]) |
                                  (static_cast<unsigned char>(rest[i + 1]) << 8U));
  }
  TryUtf16(units, room);
  return 0;
}
