#include "base/text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/owned.h"
#include "base/status.h"
#include "base/trace.h"
#include "base/utf8.h"

namespace kt {
namespace {

constexpr std::size_t kMalformed = static_cast<std::size_t>(-1);

// ---- Text made well-formed: what is no character becomes U+FFFD, one mark for each byte or unit.

std::string Mended(std::string_view text) {
  return WellFormed(text);
}

KtWString Mended(std::basic_string_view<KtWchar> text) {
  constexpr KtWchar kMark = 0xFFFD;
  const auto is_high = [](KtWchar unit) { return (unit & 0xFC00) == 0xD800; };
  const auto is_low = [](KtWchar unit) { return (unit & 0xFC00) == 0xDC00; };
  KtWString result(text);
  for (std::size_t i = 0; i < result.size(); ++i) {
    if (is_high(result[i]) && i + 1 < result.size() && is_low(result[i + 1])) {
      ++i;
    } else if (is_high(result[i]) || is_low(result[i])) {
      result[i] = kMark;
    }
  }
  return result;
}

// ---- The framework's conversion. The two directions differ in the function and the unit only.

template <auto Convert, typename To, typename From>
std::basic_string<To> Converted(const From* text, std::size_t count) {
  if (count == kMalformed || count == 0) return {};
  FrameworkBlock<To> buffer(static_cast<To*>(_KtAlloc((count + 1) * sizeof(To))));
  if (buffer == nullptr) {
    TraceAndThrow(E_OUTOFMEMORY, kError, "%S: ERROR: no memory to convert a text of %I64u units",
                  static_cast<unsigned long long>(count));
  }
  const std::size_t written = Convert(buffer.get(), text, count + 1);
  if (written == kMalformed) return {};
  return std::basic_string<To>(buffer.get(), written < count ? written : count);
}

template <auto Convert, typename To, typename From>
std::basic_string<To> ConvertedReadably(const From* text) {
  const std::size_t count = Convert(nullptr, text, 0);
  if (count != kMalformed) return Converted<Convert, To>(text, count);
  const std::basic_string<From> mended = Mended(std::basic_string_view<From>(text));
  return Converted<Convert, To>(mended.c_str(), Convert(nullptr, mended.c_str(), 0));
}

}  // namespace

std::string Narrow(const KtWchar* text) {
  if (text == nullptr || *text == 0) return {};
  return ConvertedReadably<Ktwcstombs, char>(text);
}

std::string Narrow(const KtWString& text) {
  return Narrow(text.c_str());
}

KtWString Widen(const char* text) {
  if (text == nullptr || *text == 0) return {};
  return ConvertedReadably<Ktmbstowcs, KtWchar>(text);
}

KtWString Widen(const std::string& text) {
  return Widen(text.c_str());
}

std::string GuidText(const KtGuid& guid) {
  const FrameworkText text(KtGUIDToString(&guid));
  return text == nullptr ? std::string() : std::string(text.get());
}

KtStatus GiveText(std::basic_string_view<KtWchar> text, KtWchar** out) noexcept {
  FrameworkWideText copy(static_cast<KtWchar*>(_KtAlloc((text.size() + 1) * sizeof(KtWchar))));
  if (copy == nullptr) return E_OUTOFMEMORY;
  *std::copy(text.begin(), text.end(), copy.get()) = 0;
  *out = copy.release();
  return 0;
}

}  // namespace kt
