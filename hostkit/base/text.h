// Wide text is UTF-16 everywhere; narrow text is UTF-8. The framework converts.
//
// Threads:   no state; any thread.
// Failure:   no memory for the framework's buffer is one trace line at level 6 and E_OUTOFMEMORY
//            thrown; the string that is returned may throw std::bad_alloc. Malformed text is no
//            failure: it stays readable, with U+FFFD for what is no character. A framework that
//            refuses well-formed text gives the empty text.
#pragma once

#include <string>
#include <string_view>

#include "ktbus3/ktbus3.h"

using KtWString = std::basic_string<KtWchar>;

namespace kt {

// Wide to narrow and back through the framework's Ktwcstombs and Ktmbstowcs: measured, converted in
// a _KtAlloc buffer, copied, buffer freed. Each byte, or unit, that belongs to no character becomes
// U+FFFD. The pointer forms read up to the terminating zero and take null as empty.
[[nodiscard]] std::string Narrow(const KtWchar* text);
[[nodiscard]] std::string Narrow(const KtWString& text);
[[nodiscard]] KtWString Widen(const char* text);
[[nodiscard]] KtWString Widen(const std::string& text);

// "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", by the framework's KtGUIDToString, whose buffer is
// freed. Where the framework has no memory for the text, the result is empty; nothing is traced.
[[nodiscard]] std::string GuidText(const KtGuid& guid);

// Stores a copy of the text in *out, a _KtAlloc block that the caller of the module frees.
// E_OUTOFMEMORY, and *out untouched, when there is no memory for it.
[[nodiscard]] KtStatus GiveText(std::basic_string_view<KtWchar> text, KtWchar** out) noexcept;

}  // namespace kt
