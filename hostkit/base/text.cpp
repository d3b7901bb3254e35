#include "base/text.h"

#include <limits>

#include "base/owned.h"
#include "base/status.h"
#include "base/trace.h"

namespace kt {
namespace {

constexpr std::size_t kMalformed = static_cast<std::size_t>(-1);

// The two directions differ in the function and the unit only.
template <auto Convert, typename To, typename From>
std::basic_string<To> Converted(const From* text) {
  const std::size_t count = Convert(nullptr, text, 0);
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

}  // namespace

std::string Narrow(const KtWchar* text) {
  if (text == nullptr || *text == 0) return {};
  return Converted<Ktwcstombs, char>(text);
}

std::string Narrow(const KtWString& text) {
  return Narrow(text.c_str());
}

KtWString Widen(const char* text) {
  if (text == nullptr || *text == 0) return {};
  return Converted<Ktmbstowcs, KtWchar>(text);
}

KtWString Widen(const std::string& text) {
  return Widen(text.c_str());
}

std::string GuidText(const KtGuid& guid) {
  const FrameworkText text(KtGUIDToString(&guid));
  return text == nullptr ? std::string() : std::string(text.get());
}

}  // namespace kt
